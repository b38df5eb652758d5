// Network loss and return on the real engine through the exports: HLS from a loopback
// server that stops answering; in-process so the path states can be fed by hand.
#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

#include "host/bridge_holder.h"
#include "player/scripted_engine.h"
#include "player/zent_player.h"
#include "registry/bridge_player.h"
#include "support/event_recorder.h"
#include "support/http_server.h"
#include "support/internet_reachability.h"
#include "support/media_fixtures.h"

namespace zent {
namespace {

using namespace std::chrono_literals;
using test::eventRecorder;
using test::isEvent;
constexpr int32_t kReady = 0, kPlay = 3, kSeek = 6, kNetworkFailed = 11, kNetworkConnected = 14,
                  kEnd = 20;

class NetworkPlaybackTest : public ::testing::Test {
 protected:
  void SetUp() override {
    InternetReachability::shared().resetForTesting();
    InternetReachability::shared().setPathMonitorFactory(path->factory());
    eventRecorder().clear();
    NativeInit(eventRecorderListener);
    ASSERT_EQ(NativeAddStream(1), 0);
  }
  void TearDown() override {
    NativeShutdown();
    InternetReachability::shared().resetForTesting();
  }
  void playPastFourSeconds(const std::string& media) {
    ASSERT_EQ(NativeOpenURI(0, server.url(media + "/index.m3u8").c_str(), 1), 0);
    ASSERT_TRUE(eventRecorder().waitFor(isEvent(0, kPlay), 30s)) << eventRecorder().describe();
    ASSERT_TRUE(waitForPosition(4000, 20s)) << "playback did not reach 4 s";
  }
  double networkGoes() {
    std::size_t mark = eventRecorder().size();
    server.setPaused(true);
    path->feed(false);
    EXPECT_TRUE(eventRecorder().waitFor(test::isError(0, kNetworkFailed), 5s, mark));
    return currentBridge()->playerAt(0)->msBeforeLostNetwork();
  }
  std::size_t networkReturns() {
    std::size_t mark = eventRecorder().size();
    server.setPaused(false);
    path->feed(true);
    EXPECT_TRUE(eventRecorder().waitFor(isEvent(0, kNetworkConnected), 5s, mark));
    return mark;
  }
  static bool waitForPosition(int64_t ms, std::chrono::milliseconds timeout) {
    for (auto end = std::chrono::steady_clock::now() + timeout; NativeGetCurrentTime(0) < ms;
         std::this_thread::sleep_for(20ms)) {
      if (std::chrono::steady_clock::now() > end) return false;
    }
    return true;
  }

  std::shared_ptr<testing::FedPathSource> path = std::make_shared<testing::FedPathSource>();
  test::HttpServer server;
};

TEST_F(NetworkPlaybackTest, VodFreezesAtTheBufferedEndThenReopensAndPlaysOnFromThere) {
  // 60 s of 1 s segments served a little faster than real time: the buffer stays ahead.
  const std::string media = test::hls_live_segments();
  uint64_t bytes = 0;
  for (const auto& entry : std::filesystem::directory_iterator(media)) {
    if (entry.path().extension() == ".ts") bytes += entry.file_size();
  }
  server.setBytesPerSecond(bytes * 21 / 1200);
  playPastFourSeconds(media);
  const double recorded = networkGoes();
  ASSERT_GT(recorded, 4000.0);
  ASSERT_LT(recorded, 30000.0) << "the buffered end is not where the download stood";

  // The time runs up to the buffered end and stays there.
  ASSERT_TRUE(waitForPosition(static_cast<int64_t>(recorded), 30s)) << "never drained";
  EXPECT_EQ(NativeGetCurrentTime(0), static_cast<int64_t>(recorded));
  EXPECT_EQ(eventRecorder().count(isEvent(0, kEnd)), 0u) << "ended during the outage";

  server.setBytesPerSecond(0);
  std::size_t mark = networkReturns();
  auto seek = eventRecorder().waitFor(isEvent(0, kSeek), 30s, mark);
  ASSERT_TRUE(seek) << eventRecorder().describe();
  EXPECT_EQ(seek->params[1], static_cast<int32_t>(recorded));
  EXPECT_EQ(eventRecorder().typesFor(0, mark),
            (std::vector<int32_t>{kNetworkConnected, kReady, kPlay, kSeek}));
  EXPECT_TRUE(waitForPosition(static_cast<int64_t>(recorded) + 1000, 15s))
      << "playback did not continue from the recorded position";
}

TEST_F(NetworkPlaybackTest, FullyBufferedVodPlaysToItsEndThroughTheOutageAndIsNotReopened) {
  playPastFourSeconds(test::hls_single_variant());  // downloaded whole long before 4 s
  EXPECT_NEAR(networkGoes(), 10000.0, 100.0) << "the buffered end is not the presentation's end";
  EXPECT_TRUE(eventRecorder().waitFor(isEvent(0, kEnd), 15s)) << "did not play to its end";
  std::size_t mark = networkReturns();
  // A re-open of this stream is ready within a second on the loopback server.
  EXPECT_FALSE(eventRecorder().waitFor(isEvent(0, kReady), 3s, mark)) << eventRecorder().describe();
  EXPECT_EQ(eventRecorder().typesFor(0, mark), std::vector<int32_t>{kNetworkConnected});
}

}  // namespace
}  // namespace zent
