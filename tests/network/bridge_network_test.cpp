// Network loss and return fanned out by the bridge to its players on the scripted engine.
#include <limits>
#include <tuple>

#include "player/player_test_fixture.h"

namespace zent::testing {
namespace {

constexpr int32_t kSeek = 6, kNetworkFailed = 11, kNetworkConnected = 14;
const std::string kVod = "http://127.0.0.1:9/vod.mp4";

class BridgeNetworkTest : public PlayerTest {
 protected:
  std::shared_ptr<ScriptedItem> addReady(const std::string& url, bool local = false) {
    bridge->AddStream(false);
    return openReady(bridge->GetTotalStreams() - 1, url, local);
  }
  void pathBecomes(bool satisfied) {
    path->feed(satisfied);
    ASSERT_TRUE(drainMainQueue());
  }
};

TEST_F(BridgeNetworkTest, LossAndReturnReachEveryPlayerInSlotOrderWithEachBufferedEnd) {
  struct Row {
    double position;
    std::vector<TimeRange> ranges;
    double recordedMs;
  } rows[] = {{3.0, {{0.0, 12.5}}, 12500.0},
              {4.0, {{2.0, 8.0}, {30.0, 5.0}}, 10000.0},  // only the first range counts
              {7.25, {}, 7250.0},                         // no range: the position
              {2.5, {{0.0, 0.0}}, 2500.0}};               // an end not past zero
  for (const Row& row : rows) addReady(kVod)->at(row.position, row.ranges);
  std::size_t mark = eventRecorder().size();
  pathBecomes(false);
  pathBecomes(false);  // each change is reported once
  pathBecomes(true);
  pathBecomes(true);
  auto events = eventRecorder().events();
  ASSERT_EQ(events.size(), mark + 8);
  for (std::size_t i = 0; i < 4; ++i) {
    const auto &lost = events[mark + i], &back = events[mark + 4 + i];
    EXPECT_EQ(std::tie(lost.isError, lost.type, lost.playerIndex, lost.text),
              std::tuple(true, kNetworkFailed, static_cast<int32_t>(i), std::string()));
    EXPECT_EQ(std::tie(back.type, back.playerIndex),
              std::tuple(kNetworkConnected, static_cast<int32_t>(i)));
    EXPECT_EQ(back.text, "ZENTPLAYER_EVENT_NETWORK_CONNECTED - The network has been connected");
    EXPECT_DOUBLE_EQ(bridge->playerAt(i)->msBeforeLostNetwork(), rows[i].recordedMs);
  }
}

TEST_F(BridgeNetworkTest, StreamThatPlayedPastItsBufferFreezesThenReopensAndSeeksBackOnceReady) {
  auto vod = addReady(kVod);
  auto local = addReady("/tmp/zent-network-test-local.mp4", true);
  for (auto* item : {vod.get(), local.get()}) item->at(10.0, {{{0.0, 12.0}}});
  pathBecomes(false);
  vod->at(14.0);  // drained the buffer and went on
  local->at(14.0);
  EXPECT_DOUBLE_EQ(bridge->getCurrentTime(0), 12000.0);
  EXPECT_DOUBLE_EQ(bridge->getCurrentTime(1), 14000.0);  // local content is not frozen
  std::size_t mark = eventRecorder().size();
  pathBecomes(true);
  auto reopened = engine->item(2);
  ASSERT_TRUE(reopened && engine->player(2)) << "the stream was not opened again";
  EXPECT_EQ(reopened->url(), kVod);
  EXPECT_EQ(engine->itemCount(), 3u) << "local content is not opened again";
  EXPECT_EQ(eventRecorder().count(isEvent(0, kSeek), mark), 0u) << "seeked before ready";
  reopened->resolve(ItemStatus::ReadyToPlay);
  auto seek = eventRecorder().waitFor(isEvent(0, kSeek), 10s, mark);
  ASSERT_TRUE(seek) << eventRecorder().describe();
  EXPECT_EQ(seek->params[1], 12000);
  EXPECT_EQ(engine->player(2)->calls("seek"), std::vector<std::string>{"seek:12000:exact"});
  EXPECT_TRUE(engine->player(0)->calls("seek").empty());
  EXPECT_EQ(types(mark, 1), std::vector<int32_t>{kNetworkConnected});
  reopened->at(15.0);
  EXPECT_DOUBLE_EQ(bridge->getCurrentTime(0), 15000.0);
}

// Not opened again, but the next content ready on that player starts from the recorded position.
TEST_F(BridgeNetworkTest, StreamStillInsideItsBufferIsNotReopenedAndTheSeekBackStaysArmed) {
  auto vod = addReady(kVod);
  vod->at(5.0, {{{0.0, 12.0}}});
  pathBecomes(false);
  vod->at(9.0);
  std::size_t mark = eventRecorder().size();
  pathBecomes(true);
  EXPECT_EQ(types(mark), std::vector<int32_t>{kNetworkConnected});
  EXPECT_EQ(engine->itemCount(), 1u);
  EXPECT_TRUE(engine->player(0)->calls("seek").empty());
  openReady(0, "http://127.0.0.1:9/next.mp4");
  auto seek = eventRecorder().waitFor(isEvent(0, kSeek), 10s, mark);
  ASSERT_TRUE(seek) << eventRecorder().describe();
  EXPECT_EQ(seek->params[1], 12000);
  EXPECT_EQ(engine->player(1)->calls("seek"), std::vector<std::string>{"seek:12000:exact"});
}

TEST_F(BridgeNetworkTest, LiveStreamReopensWithoutSeeking) {
  auto live = addReady("http://127.0.0.1:9/live.mp4");
  live->set(live->duration, std::numeric_limits<double>::quiet_NaN());
  live->at(20.0, {{{14.0, 8.0}}});
  pathBecomes(false);
  live->at(25.0);
  std::size_t mark = eventRecorder().size();
  pathBecomes(true);
  auto reopened = engine->item(1);
  ASSERT_TRUE(reopened && engine->player(1)) << "the live stream was not opened again";
  reopened->resolve(ItemStatus::ReadyToPlay);
  ASSERT_TRUE(eventRecorder().waitFor(isEvent(0, 0), 10s, mark));
  ASSERT_TRUE(drainMainQueue());
  EXPECT_EQ(types(mark), (std::vector<int32_t>{kNetworkConnected, 0}));
  EXPECT_TRUE(engine->player(1)->calls("seek").empty());
}

TEST_F(BridgeNetworkTest, AStoppedMonitorOrADroppedBridgeHearsNothing) {
  addReady(kVod);
  EXPECT_EQ(path->monitorsMade(), 1);
  bridge->StopNetworkMonitor();
  std::size_t mark = eventRecorder().size();
  pathBecomes(false);
  EXPECT_TRUE(InternetReachability::shared().isConnected());
  // Torn down as NativeShutdown does, the handlers left installed: they find no bridge.
  InternetReachability::shared().start();
  bridge->Release(0);
  LoadTask::cancelAndJoinAll();
  bridge.reset();
  pathBecomes(false);
  pathBecomes(true);
  EXPECT_EQ(eventRecorder().size(), mark);
}

}  // namespace
}  // namespace zent::testing
