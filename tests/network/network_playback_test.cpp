// Network loss and return on the real engine, end to end through the exported
// functions: real HLS from a loopback server that stops answering, real local
// files. The library is linked in-process so the path states can be fed by hand
// (the system's path cannot be dropped on demand outside a network namespace).
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "host/bridge_holder.h"
#include "network/fed_path_monitor.h"
#include "network/main_queue_sync.h"
#include "player/zent_player.h"
#include "registry/bridge_player.h"
#include "support/event_recorder.h"
#include "support/http_server.h"
#include "support/internet_reachability.h"
#include "support/live_hls_playlist.h"
#include "support/log_recorder.h"
#include "support/media_fixtures.h"
#include "zentplayer.h"

namespace zent {
namespace {

using namespace std::chrono_literals;
using test::eventRecorder;
using test::isError;
using test::isEvent;
using testing::drainMainQueue;
using testing::FedPathSource;

constexpr int32_t kReady = 0;
constexpr int32_t kPlay = 3;
constexpr int32_t kSeek = 6;
constexpr int32_t kNetworkFailed = 11;
constexpr int32_t kNetworkConnected = 14;
constexpr int32_t kEnd = 20;

// Bytes of the media segments of an HLS directory.
uint64_t segmentBytes(const std::string& directory) {
  uint64_t total = 0;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    if (entry.path().extension() == ".ts") total += entry.file_size();
  }
  return total;
}

class NetworkPlaybackTest : public ::testing::Test {
 protected:
  void SetUp() override {
    InternetReachability::shared().resetForTesting();
    InternetReachability::shared().setPathMonitorFactory(source->factory());
    eventRecorder().clear();
    test::logRecorder().clear();
    NativeSetLogCallback(logRecorderCallback);
    NativeInit(eventRecorderListener);
  }
  void TearDown() override {
    NativeShutdown();
    NativeSetLogCallback(nullptr);
    InternetReachability::shared().resetForTesting();
  }

  // The network goes (the path source reports it) and the server stops answering.
  void networkGoes(test::HttpServer* server) {
    if (server != nullptr) server->setPaused(true);
    source->feed(false);
  }
  void networkReturns(test::HttpServer* server) {
    if (server != nullptr) server->setPaused(false);
    source->feed(true);
  }

  static double recordedPosition(int64_t index) {
    auto bridge = currentBridge();
    auto player = bridge ? bridge->playerAt(index) : nullptr;
    return player ? player->msBeforeLostNetwork() : -1.0;
  }

  // Waits until the player reports at least `ms`.
  static bool waitForPosition(int32_t index, int64_t ms, std::chrono::milliseconds timeout) {
    auto deadline = std::chrono::steady_clock::now() + timeout;
    while (std::chrono::steady_clock::now() < deadline) {
      if (NativeGetCurrentTime(index) >= ms) return true;
      std::this_thread::sleep_for(20ms);
    }
    return false;
  }

  static std::string failureLines() {
    return std::to_string(test::logRecorder().count(" failed: ", 3)) + " engine failures\n" +
           test::logRecorder().describe(60);
  }

  std::shared_ptr<FedPathSource> source = std::make_shared<FedPathSource>();
};

TEST_F(NetworkPlaybackTest, VodFreezesAtTheBufferedEndThenReopensAndPlaysOnFromThere) {
  // 60 s of 1 s segments served a little faster than their own rate: the buffer
  // stays a few seconds ahead of playback, however long the start took.
  const std::string media = test::hls_live_segments();
  test::HttpServer server;
  server.setBytesPerSecond(segmentBytes(media) * 21 / 1200);
  ASSERT_EQ(NativeAddStream(1), 0);
  ASSERT_EQ(NativeOpenURI(0, server.url(media + "/index.m3u8").c_str(), 1), 0);
  ASSERT_TRUE(eventRecorder().waitFor(isEvent(0, kPlay), 30s)) << eventRecorder().describe();

  ASSERT_TRUE(waitForPosition(0, 4000, 20s)) << "playback did not reach 4 s";
  std::size_t lossMark = eventRecorder().size();
  networkGoes(&server);
  ASSERT_TRUE(eventRecorder().waitFor(isError(0, kNetworkFailed), 5s, lossMark));
  const double recorded = recordedPosition(0);
  ASSERT_GT(recorded, 4000.0);
  ASSERT_LT(recorded, 30000.0) << "the buffered end is not where the download stood";

  // The player drains its buffer; the reported time runs up to the buffered end
  // and stays there, never beyond it.
  auto deadline = std::chrono::steady_clock::now() + 30s;
  int64_t reported = 0;
  while (std::chrono::steady_clock::now() < deadline) {
    reported = NativeGetCurrentTime(0);
    ASSERT_LE(reported, static_cast<int64_t>(recorded));
    if (reported == static_cast<int64_t>(recorded)) break;
    std::this_thread::sleep_for(20ms);
  }
  ASSERT_EQ(reported, static_cast<int64_t>(recorded)) << "the player never drained its buffer";
  EXPECT_EQ(eventRecorder().count(isEvent(0, kEnd), lossMark), 0u) << "ended during the outage";
  EXPECT_EQ(test::logRecorder().count(" failed: ", 3), 0u) << failureLines();

  std::size_t returnMark = eventRecorder().size();
  networkReturns(&server);
  server.setBytesPerSecond(0);
  ASSERT_TRUE(eventRecorder().waitFor(isEvent(0, kNetworkConnected), 5s, returnMark));
  auto seek = eventRecorder().waitFor(isEvent(0, kSeek), 30s, returnMark);
  ASSERT_TRUE(seek) << eventRecorder().describe();
  EXPECT_EQ(seek->params[1], static_cast<int32_t>(recorded));
  // The seek comes after the re-opened stream was ready, not before.
  EXPECT_EQ(eventRecorder().typesFor(0, returnMark),
            (std::vector<int32_t>{kNetworkConnected, kReady, kPlay, kSeek}));

  EXPECT_TRUE(waitForPosition(0, static_cast<int64_t>(recorded) + 1000, 15s))
      << "playback did not continue from the recorded position";
  // And on to the end (skipping most of the minute that is left).
  NativeSeek(0, static_cast<int32_t>(NativeGetTotalTime(0)) - 1500);
  EXPECT_TRUE(eventRecorder().waitFor(isEvent(0, kEnd), 30s, returnMark))
      << eventRecorder().describe();
}

TEST_F(NetworkPlaybackTest, FullyBufferedVodPlaysToItsEndThroughTheOutage) {
  // Served at full speed, the whole presentation is downloaded long before 4 s.
  const std::string media = test::hls_single_variant();
  test::HttpServer server;
  ASSERT_EQ(NativeAddStream(1), 0);
  ASSERT_EQ(NativeOpenURI(0, server.url(media + "/index.m3u8").c_str(), 1), 0);
  ASSERT_TRUE(eventRecorder().waitFor(isEvent(0, kPlay), 30s)) << eventRecorder().describe();
  ASSERT_TRUE(waitForPosition(0, 4000, 20s));

  std::size_t lossMark = eventRecorder().size();
  networkGoes(&server);
  ASSERT_TRUE(eventRecorder().waitFor(isError(0, kNetworkFailed), 5s, lossMark));
  EXPECT_NEAR(recordedPosition(0), 10000.0, 100.0)
      << "the buffered end is not the presentation's end";
  EXPECT_TRUE(eventRecorder().waitFor(isEvent(0, kEnd), 15s, lossMark))
      << "the buffered presentation did not play to its end";

  std::size_t returnMark = eventRecorder().size();
  networkReturns(&server);
  ASSERT_TRUE(eventRecorder().waitFor(isEvent(0, kNetworkConnected), 5s, returnMark));
  // Nothing was missed, so nothing is opened again: no second ready event (a
  // re-open of this stream is ready within a second on the loopback server).
  EXPECT_FALSE(eventRecorder().waitFor(isEvent(0, kReady), 3s, returnMark))
      << eventRecorder().describe();
  EXPECT_EQ(eventRecorder().typesFor(0, returnMark), std::vector<int32_t>{kNetworkConnected});
}

TEST_F(NetworkPlaybackTest, EngineErrorsDuringTheOutageLeaveThePlayerWaiting) {
  // A 60 s presentation: downloads are still going when the network goes, and
  // the refused connections make the demuxer give up on its fragments.
  const std::string media = test::hls_live_segments();
  test::HttpServer server;
  server.setBytesPerSecond(segmentBytes(media) * 11 / 600);
  ASSERT_EQ(NativeAddStream(1), 0);
  ASSERT_EQ(NativeOpenURI(0, server.url(media + "/index.m3u8").c_str(), 1), 0);
  ASSERT_TRUE(eventRecorder().waitFor(isEvent(0, kPlay), 30s)) << eventRecorder().describe();
  ASSERT_TRUE(waitForPosition(0, 4000, 20s));

  std::size_t lossMark = eventRecorder().size();
  std::size_t logMark = test::logRecorder().size();
  server.setRefuseConnections(true);
  server.dropConnections();
  source->feed(false);
  ASSERT_TRUE(eventRecorder().waitFor(isError(0, kNetworkFailed), 5s, lossMark));
  const double recorded = recordedPosition(0);
  ASSERT_LT(recorded, 60000.0) << "the buffered end is not inside the presentation";
  // The demuxer gives up on its downloads; the item must not fail for it.
  ASSERT_TRUE(test::logRecorder().waitFor("waiting for the network", 20s, logMark))
      << failureLines();
  EXPECT_EQ(test::logRecorder().count(" failed: ", 3, logMark), 0u) << failureLines();

  // Playback stops where the buffer runs out, and stays there.
  int64_t stalledAt = -1;
  for (auto deadline = std::chrono::steady_clock::now() + 20s;
       std::chrono::steady_clock::now() < deadline;) {
    int64_t before = NativeGetCurrentTime(0);
    std::this_thread::sleep_for(1s);
    if (NativeGetCurrentTime(0) == before) {
      stalledAt = before;
      break;
    }
  }
  ASSERT_GE(stalledAt, 4000) << "playback never stopped while the network was away";
  EXPECT_LE(stalledAt, static_cast<int64_t>(recorded));

  server.setRefuseConnections(false);
  source->feed(true);
  EXPECT_TRUE(waitForPosition(0, stalledAt + 2000, 20s))
      << "playback did not go on after the network returned; at " << NativeGetCurrentTime(0) << "\n"
      << failureLines();
  EXPECT_EQ(test::logRecorder().count(" failed: ", 3, logMark), 0u) << failureLines();
}

TEST_F(NetworkPlaybackTest, LiveStreamReopensWithoutSeeking) {
  test::HttpServer server;
  test::LiveHlsPlaylist live(test::hls_live_segments());
  live.start();
  ASSERT_EQ(NativeAddStream(1), 0);
  ASSERT_EQ(NativeOpenURI(0, server.url(live.playlistPath()).c_str(), 1), 0);
  ASSERT_TRUE(eventRecorder().waitFor(isEvent(0, kPlay), 30s)) << eventRecorder().describe();

  networkGoes(&server);
  ASSERT_TRUE(eventRecorder().waitFor(isError(0, kNetworkFailed), 5s));
  std::size_t returnMark = eventRecorder().size();
  networkReturns(&server);

  ASSERT_TRUE(eventRecorder().waitFor(isEvent(0, kReady), 30s, returnMark))
      << "the live stream was not opened again\n"
      << eventRecorder().describe();
  ASSERT_TRUE(drainMainQueue());
  EXPECT_EQ(eventRecorder().typesFor(0, returnMark),
            (std::vector<int32_t>{kNetworkConnected, kReady, kPlay}));
  // The re-opened stream plays.
  int64_t at = NativeGetCurrentTime(0);
  EXPECT_TRUE(waitForPosition(0, at + 1000, 15s));
}

TEST_F(NetworkPlaybackTest, LocalContentOnlyHearsTheReturn) {
  ASSERT_EQ(NativeAddStream(1), 0);
  ASSERT_EQ(NativeOpenLocalContent(0, test::mp4_rotated().c_str()), 0);  // 4 s
  ASSERT_TRUE(eventRecorder().waitFor(isEvent(0, kPlay), 30s)) << eventRecorder().describe();

  std::size_t mark = eventRecorder().size();
  networkGoes(nullptr);
  ASSERT_TRUE(eventRecorder().waitFor(isError(0, kNetworkFailed), 5s, mark));
  // Local content is not frozen: its time runs on while the network is away.
  int64_t atLoss = NativeGetCurrentTime(0);
  EXPECT_TRUE(waitForPosition(0, atLoss + 500, 10s));
  networkReturns(nullptr);

  ASSERT_TRUE(eventRecorder().waitFor(isEvent(0, kEnd), 30s, mark)) << eventRecorder().describe();
  EXPECT_EQ(eventRecorder().typesFor(0, mark),
            (std::vector<int32_t>{kNetworkFailed, kNetworkConnected, kEnd}));
}

}  // namespace
}  // namespace zent
