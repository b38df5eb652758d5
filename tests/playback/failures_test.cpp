// Content that cannot play, several players at once, stop.
#include <cmath>

#include "playback/playback_fixture.h"

namespace zent::test {
namespace {

using FailureTest = PlaybackTest;

// Opens url on player 0, expects one ERROR line naming the cause and no ready
// event, then proves the same player plays the next good content.
void expectFailureThenRecovery(const ZentApi& api, HttpServer& server, const std::string& url,
                               const std::string& cause) {
  size_t logMark = logRecorder().size();
  ASSERT_EQ(api.NativeOpenURI(0, url.c_str(), 0), 0);
  auto line = logRecorder().waitFor("| Cannot play " + url, seconds(30), logMark, 3);
  ASSERT_TRUE(line.has_value()) << logRecorder().describe(40);
  EXPECT_NE(line->line.find(cause), std::string::npos) << line->line;
  EXPECT_EQ(logRecorder().count("| Cannot play", 3, logMark), 1u) << logRecorder().describe(40);
  for (const RecordedEvent& e : eventRecorder().events()) EXPECT_NE(e.type, 0) << e.describe();

  ASSERT_EQ(api.NativeOpenURI(0, server.url(mp4_720p()).c_str(), 0), 0);
  EXPECT_TRUE(
      eventRecorder().waitFor([](const RecordedEvent& e) { return e.type == 3; }, seconds(30)))
      << eventRecorder().describe();
}

TEST_F(FailureTest, MissingUrlGarbageFileAndClosedPortEachFailAndThePlayerRecovers) {
  HttpServer server;
  ASSERT_EQ(api().NativeAddStream(1), 0);
  expectFailureThenRecovery(api(), server, server.url("no/such/file.mp4"), "404");

  api().NativeRemoveStream(0);
  eventRecorder().clear();
  ASSERT_EQ(api().NativeAddStream(1), 0);
  expectFailureThenRecovery(api(), server, server.url(garbage_file()),
                            "Could not determine type of stream");

  api().NativeRemoveStream(0);
  eventRecorder().clear();
  ASSERT_EQ(api().NativeAddStream(1), 0);
  std::string closed;
  {
    HttpServer gone;
    closed = gone.url(mp4_720p());
  }
  expectFailureThenRecovery(api(), server, closed, "Connection refused");
}

TEST_F(FailureTest, FourPlayersPlaySideBySideUntilShutdown) {
  HttpServer server;
  for (int i = 0; i < 4; ++i) ASSERT_EQ(api().NativeAddStream(1), 0);
  ASSERT_EQ(api().NativeOpenLocalContent(0, mp4_720p().c_str()), 0);
  ASSERT_EQ(api().NativeOpenURI(1, server.url(mp4_720p()).c_str(), 0), 0);
  ASSERT_EQ(api().NativeOpenURI(2, server.url(hls_multivariant() + "/master.m3u8").c_str(), 1), 0);
  ASSERT_EQ(api().NativeOpenURI(3, server.url(dash_vod() + "/manifest.mpd").c_str(), 2), 0);
  for (int i = 0; i < 4; ++i) ASSERT_TRUE(waitForEvent(i, 3, seconds(60))) << describe();
  for (int i = 0; i < 4; ++i) {
    EXPECT_TRUE(pollUntil([&] { return api().NativeGetCurrentTime(i) > 500; }, seconds(15)))
        << "player " << i;
  }
  api().NativeShutdown();
  EXPECT_EQ(api().NativeGetTotalStreams(), -1);
}

TEST_F(FailureTest, StopRewindsAndAPausedPlayerHandsOutNoTexture) {
  ASSERT_EQ(api().NativeAddStream(1), 0);
  ASSERT_EQ(api().NativeOpenLocalContent(0, mp4_720p().c_str()), 0);
  ASSERT_TRUE(waitForEvent(0, 3, seconds(30))) << describe();
  ASSERT_TRUE(pollUntil([&] { return api().NativeGetCurrentTime(0) > 1000; }, seconds(10)));
  size_t mark = eventRecorder().events().size();
  ASSERT_EQ(api().NativeStop(0), 0);
  EXPECT_EQ(eventRecorder().typesFor(0, mark), (std::vector<int32_t>{4, 5}));
  EXPECT_EQ(api().NativeGetPlayerState(0), 2);
  EXPECT_TRUE(pollUntil([&] { return api().NativeGetCurrentTime(0) <= 34; }, seconds(5)))
      << api().NativeGetCurrentTime(0);
  EXPECT_EQ(api().NativeGetTexture(0), nullptr);
}

}  // namespace
}  // namespace zent::test
