// Real content on the real engine, through the exported functions only.
#include <array>
#include <cmath>

#include "playback/playback_fixture.h"

namespace zent::test {
namespace {

constexpr int64_t kFrameMs = 34;  // one frame at 30 fps, rounded up

enum class Source { LocalMp4, HttpMp4, Hls, Dash };

std::string sourceName(const ::testing::TestParamInfo<Source>& info) {
  return std::array{"LocalMp4", "HttpMp4", "Hls", "Dash"}[static_cast<int>(info.param)];
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

TEST_P(SourcePlaybackTest, PlaysSeeksToTheRequestedPositionAndEndsOnce) {
  HttpServer server;
  open(server);
  ASSERT_TRUE(waitForEvent(0, 0, seconds(30))) << describe();
  ASSERT_TRUE(waitForEvent(0, 3, seconds(5))) << describe();
  EXPECT_EQ(api().NativeGetPlayerState(0), 3);
  EXPECT_NEAR(api().NativeGetTotalTime(0), 10000, kFrameMs);
  // Only a stall fails here: the speed itself is measured in bench/.
  EXPECT_TRUE(pollUntil([&] { return api().NativeGetCurrentTime(0) >= 2000; }, seconds(20)))
      << "position " << api().NativeGetCurrentTime(0);

  ASSERT_EQ(api().NativePause(0), 0);
  size_t mark = eventRecorder().events().size();
  ASSERT_EQ(api().NativeSeek(0, 5000), 0);
  auto seek =
      eventRecorder().waitFor([](const RecordedEvent& e) { return e.type == 6; }, seconds(1), mark);
  ASSERT_TRUE(seek.has_value());
  EXPECT_LT(seek->params[0], 5000) << "from";
  EXPECT_EQ(seek->params[1], 5000) << "to";
  EXPECT_TRUE(pollUntil(
      [&] { return std::llabs(api().NativeGetCurrentTime(0) - 5000) <= kFrameMs; }, seconds(10)))
      << "position " << api().NativeGetCurrentTime(0);

  // Play the rest: the end of content is reported once.
  ASSERT_EQ(api().NativeSeek(0, 8500), 0);
  ASSERT_EQ(api().NativeResume(0), 0);
  auto end = eventRecorder().waitFor(isEvent(0, kEndEvent), seconds(15), mark);
  ASSERT_TRUE(end) << describe();
  EXPECT_FALSE(
      eventRecorder().waitFor(isEvent(0, kEndEvent), milliseconds(1500), end->sequence + 1));
}

INSTANTIATE_TEST_SUITE_P(Sources, SourcePlaybackTest,
                         ::testing::Values(Source::LocalMp4, Source::HttpMp4, Source::Hls,
                                           Source::Dash),
                         sourceName);

}  // namespace
}  // namespace zent::test
