// Real content on the real engine, through the exported functions only.
#include <cmath>

#include "playback/playback_fixture.h"

namespace zent::test {
namespace {

constexpr int64_t kFrameMs = 34;  // one frame at 30 fps, rounded up

enum class Source { LocalMp4, HttpMp4, Hls, Dash };

std::string sourceName(const ::testing::TestParamInfo<Source>& info) {
  switch (info.param) {
    case Source::LocalMp4:
      return "LocalMp4";
    case Source::HttpMp4:
      return "HttpMp4";
    case Source::Hls:
      return "Hls";
    case Source::Dash:
      return "Dash";
  }
  return "";
}

class SourcePlaybackTest : public PlaybackTest, public ::testing::WithParamInterface<Source> {
 protected:
  // Opens the source on a new auto-playing player 0.
  void open(HttpServer& server) {
    ASSERT_EQ(api().NativeAddStream(1), 0);
    switch (GetParam()) {
      case Source::LocalMp4:
        ASSERT_EQ(api().NativeOpenLocalContent(0, mp4_720p().c_str()), 0);
        break;
      case Source::HttpMp4:
        ASSERT_EQ(api().NativeOpenURI(0, server.url(mp4_720p()).c_str(), 0), 0);
        break;
      case Source::Hls:
        ASSERT_EQ(
            api().NativeOpenURI(0, server.url(hls_multivariant() + "/master.m3u8").c_str(), 1), 0);
        break;
      case Source::Dash:
        ASSERT_EQ(api().NativeOpenURI(0, server.url(dash_vod() + "/manifest.mpd").c_str(), 2), 0);
        break;
    }
  }
};

TEST_P(SourcePlaybackTest, BecomesReadyPlaysInRealTimeAndReportsItsLength) {
  HttpServer server;
  open(server);
  ASSERT_TRUE(waitForEvent(0, 0, seconds(30))) << describe();
  ASSERT_TRUE(waitForEvent(0, 3, seconds(5))) << describe();
  EXPECT_EQ(api().NativeGetPlayerState(0), 3);
  EXPECT_NEAR(api().NativeGetTotalTime(0), 10000, kFrameMs);

  // Position advances at real speed: measured over about two seconds of wall time.
  ASSERT_TRUE(pollUntil([&] { return api().NativeGetCurrentTime(0) > 300; }, seconds(10)));
  auto wallStart = std::chrono::steady_clock::now();
  int64_t mediaStart = api().NativeGetCurrentTime(0);
  ASSERT_TRUE(
      pollUntil([&] { return api().NativeGetCurrentTime(0) >= mediaStart + 2000; }, seconds(6)));
  double wallMs =
      std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - wallStart)
          .count();
  double mediaMs = static_cast<double>(api().NativeGetCurrentTime(0) - mediaStart);
  EXPECT_NEAR(mediaMs / wallMs, 1.0, 0.10) << "media " << mediaMs << " ms in " << wallMs << " ms";
}

TEST_P(SourcePlaybackTest, SeekSettlesOnTheRequestedPositionAndEndComesOnce) {
  HttpServer server;
  open(server);
  ASSERT_TRUE(waitForEvent(0, 3, seconds(30))) << describe();
  ASSERT_EQ(api().NativePause(0), 0);
  size_t mark = eventRecorder().events().size();
  ASSERT_EQ(api().NativeSeek(0, 5000), 0);
  auto seek =
      eventRecorder().waitFor([](const RecordedEvent& e) { return e.type == 6; }, seconds(1), mark);
  ASSERT_TRUE(seek.has_value());
  EXPECT_EQ(seek->params[1], 5000);
  EXPECT_TRUE(pollUntil(
      [&] { return std::llabs(api().NativeGetCurrentTime(0) - 5000) <= kFrameMs; }, seconds(10)))
      << "position " << api().NativeGetCurrentTime(0);

  // Play the rest: the end of content is reported once.
  ASSERT_EQ(api().NativeSeek(0, 8500), 0);
  ASSERT_EQ(api().NativeResume(0), 0);
  ASSERT_TRUE(waitForEvent(0, 20, seconds(15))) << describe();
  EXPECT_FALSE(eventRecorder().waitForCount([](const RecordedEvent& e) { return e.type == 20; }, 2,
                                            milliseconds(1500)));
}

INSTANTIATE_TEST_SUITE_P(Sources, SourcePlaybackTest,
                         ::testing::Values(Source::LocalMp4, Source::HttpMp4, Source::Hls,
                                           Source::Dash),
                         sourceName);

}  // namespace
}  // namespace zent::test
