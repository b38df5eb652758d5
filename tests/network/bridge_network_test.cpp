// Network loss and return fanned out by the bridge to its players, with a
// scripted engine standing in for buffer states the real one cannot be held in.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>

#include "network/event_log.h"
#include "network/fed_path_monitor.h"
#include "network/main_queue_sync.h"
#include "network/scripted_engine.h"
#include "player/zent_player.h"
#include "registry/bridge_player.h"
#include "registry/player_listener.h"
#include "support/internet_reachability.h"
#include "support/load_task.h"
#include "support/main_queue.h"

namespace zent {
namespace {

using namespace std::chrono_literals;
using testing::drainMainQueue;
using testing::EventLog;
using testing::FedPathSource;
using testing::HostEvent;
using testing::ScriptedEngine;
using testing::ScriptedItem;

constexpr int32_t kReady = 0;
constexpr int32_t kSeek = 6;
constexpr int32_t kNetworkFailed = 11;
constexpr int32_t kNetworkConnected = 14;
constexpr auto kWait = 5s;

// Addresses the scripted engine answers; the .mp4 names keep the loader from
// fetching a manifest.
const std::string kVodUrl = "http://127.0.0.1:9/vod.mp4";
const std::string kOtherVodUrl = "http://127.0.0.1:9/other.mp4";
const std::string kLiveUrl = "http://127.0.0.1:9/live.mp4";
const std::string kLocalPath = "/tmp/zent-network-test-local.mp4";

class BridgeNetworkTest : public ::testing::Test {
 protected:
  void SetUp() override {
    MainQueue::start();
    EventLog::instance().clear();
    reachability().resetForTesting();
    reachability().setPathMonitorFactory(source->factory());
    engine->scriptDuration("live", std::numeric_limits<double>::quiet_NaN());
    bridge = std::make_shared<BridgePlayer>(engine);
    bridge->SetPlayerListener(&EventLog::listener);
  }

  void TearDown() override {
    reachability().resetForTesting();
    if (bridge) {
      for (int64_t i = 0; i < bridge->GetTotalStreams(); ++i) bridge->Release(i);
    }
    LoadTask::cancelAndJoinAll();
    // Drained first: a loop told to quit before it has started running misses it.
    drainMainQueue();
    MainQueue::stop();
    storePlayerListener(nullptr);
    bridge.reset();
  }

  static InternetReachability& reachability() { return InternetReachability::shared(); }

  // Adds a player, opens the content in it and waits for its ready event; the
  // item and player the engine made for it come back.
  ScriptedEngine::Made openReady(const std::string& content, bool local = false) {
    bridge->AddStream(false);
    int64_t index = bridge->GetTotalStreams() - 1;
    std::size_t before = engine->made().size();
    if (local) {
      bridge->OpenLocalContent(content, index);
    } else {
      bridge->OpenURI(content, index, 0);
    }
    ScriptedEngine::Made made = engine->waitForPlayers(before + 1, kWait);
    // Thrown, so the test stops here (gtest reports it) instead of using a null item.
    if (!made.item) throw std::runtime_error("the engine made no player for " + content);
    made.item->becomeReady();
    if (!waitForReady(index, 1)) throw std::runtime_error("no ready event for " + content);
    return made;
  }

  bool waitForReady(int64_t index, std::size_t count) {
    return EventLog::instance().waitFor(
        [index](const HostEvent& e) { return e.type == kReady && e.playerIndex == index; }, count,
        kWait);
  }

  // Feeds one path state and waits until what it caused on the main queue has run.
  void pathBecomes(bool satisfied) {
    source->feed(satisfied);
    ASSERT_TRUE(drainMainQueue());
  }

  static std::vector<HostEvent> networkEvents() {
    std::vector<HostEvent> found;
    for (const HostEvent& e : EventLog::instance().events()) {
      if (e.type == kNetworkFailed || e.type == kNetworkConnected) found.push_back(e);
    }
    return found;
  }

  std::shared_ptr<FedPathSource> source = std::make_shared<FedPathSource>();
  std::shared_ptr<ScriptedEngine> engine = std::make_shared<ScriptedEngine>();
  std::shared_ptr<BridgePlayer> bridge;
};

TEST_F(BridgeNetworkTest, ListenerStartsTheMonitorOnce) {
  EXPECT_TRUE(reachability().hasMonitor());
  bridge->SetPlayerListener(&EventLog::listener);
  EXPECT_EQ(source->monitorsMade(), 1);
}

TEST_F(BridgeNetworkTest, NoStreamsNoEvents) {
  pathBecomes(false);
  pathBecomes(true);
  EXPECT_TRUE(EventLog::instance().events().empty());
}

TEST_F(BridgeNetworkTest, LossRaisesErrorElevenPerPlayerInSlotOrderWithEachBufferedEnd) {
  auto first = openReady(kVodUrl);
  auto second = openReady(kOtherVodUrl);
  first.item->setCurrentTime(3.0);
  first.item->setLoadedRanges({{0.0, 12.5}});
  second.item->setCurrentTime(4.0);
  second.item->setLoadedRanges({{2.0, 8.0}, {30.0, 5.0}});  // only the first range counts
  EventLog::instance().clear();

  pathBecomes(false);

  auto events = networkEvents();
  ASSERT_EQ(events.size(), 2u);
  for (std::size_t i = 0; i < events.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_TRUE(events[i].isError);
    EXPECT_EQ(events[i].type, kNetworkFailed);
    EXPECT_EQ(events[i].playerIndex, static_cast<int32_t>(i));
    EXPECT_EQ(events[i].param1, 0);
    EXPECT_EQ(events[i].param2, 0);
    EXPECT_EQ(events[i].param3, 0);
    EXPECT_EQ(events[i].text, "");
  }
  EXPECT_DOUBLE_EQ(bridge->playerAt(0)->msBeforeLostNetwork(), 12500.0);
  EXPECT_DOUBLE_EQ(bridge->playerAt(1)->msBeforeLostNetwork(), 10000.0);
}

TEST_F(BridgeNetworkTest, WithoutBufferedRangesTheCurrentTimeIsRecorded) {
  auto empty = openReady(kVodUrl);
  auto zeroEnd = openReady(kOtherVodUrl);
  empty.item->setCurrentTime(7.25);
  zeroEnd.item->setCurrentTime(2.5);
  zeroEnd.item->setLoadedRanges({{0.0, 0.0}});  // an end that is not past zero

  pathBecomes(false);

  EXPECT_DOUBLE_EQ(bridge->playerAt(0)->msBeforeLostNetwork(), 7250.0);
  EXPECT_DOUBLE_EQ(bridge->playerAt(1)->msBeforeLostNetwork(), 2500.0);
}

TEST_F(BridgeNetworkTest, ReportedTimeFreezesAtTheBufferedEndWhileTheNetworkIsDown) {
  auto streamed = openReady(kVodUrl);
  auto local = openReady(kLocalPath, true);
  for (auto* made : {&streamed, &local}) {
    made->item->setCurrentTime(11.0);
    made->item->setLoadedRanges({{0.0, 12.0}});
  }
  pathBecomes(false);
  // The player drains its buffer past the point where the network went.
  streamed.item->setCurrentTime(15.0);
  local.item->setCurrentTime(15.0);
  EXPECT_DOUBLE_EQ(bridge->getCurrentTime(0), 12000.0);
  EXPECT_DOUBLE_EQ(bridge->getCurrentTime(1), 15000.0);

  // Back online, the stream (played past its buffer) is opened again and the
  // time of the new item is reported as it is.
  pathBecomes(true);
  auto reopened = engine->waitForPlayers(3, kWait);
  ASSERT_TRUE(reopened.item);
  reopened.item->setCurrentTime(15.0);
  EXPECT_DOUBLE_EQ(bridge->getCurrentTime(0), 15000.0);
}

TEST_F(BridgeNetworkTest, ReturnRaisesFourteenPerPlayerInSlotOrder) {
  openReady(kVodUrl);
  openReady(kOtherVodUrl);
  pathBecomes(false);
  EventLog::instance().clear();

  pathBecomes(true);

  auto connected = EventLog::instance().ofType(kNetworkConnected);
  ASSERT_EQ(connected.size(), 2u);
  for (std::size_t i = 0; i < connected.size(); ++i) {
    EXPECT_EQ(connected[i].playerIndex, static_cast<int32_t>(i));
    EXPECT_EQ(connected[i].text,
              "ZENTPLAYER_EVENT_NETWORK_CONNECTED - The network has been connected");
  }
}

TEST_F(BridgeNetworkTest, StreamThatPlayedPastItsBufferReopensAndSeeksBackOnceReady) {
  auto vod = openReady(kVodUrl);
  vod.item->setCurrentTime(10.0);
  vod.item->setLoadedRanges({{0.0, 12.0}});
  pathBecomes(false);
  vod.item->setCurrentTime(14.0);  // drained the buffer and went on
  EventLog::instance().clear();

  pathBecomes(true);

  auto reopened = engine->waitForPlayers(2, kWait);
  ASSERT_TRUE(reopened.item) << "the stream was not opened again";
  EXPECT_EQ(reopened.item->url(), kVodUrl);
  EXPECT_TRUE(EventLog::instance().ofType(kSeek).empty()) << "seeked before the item was ready";

  reopened.item->becomeReady();
  ASSERT_TRUE(EventLog::instance().waitForType(kSeek, false, 1, kWait));
  auto seek = EventLog::instance().ofType(kSeek).front();
  EXPECT_EQ(seek.playerIndex, 0);
  EXPECT_EQ(seek.param2, 12000);
  EXPECT_EQ(reopened.player->seeks(), std::vector<int64_t>{12000});
  EXPECT_TRUE(vod.player->seeks().empty());
}

TEST_F(BridgeNetworkTest, StreamStillInsideItsBufferIsNotReopened) {
  auto vod = openReady(kVodUrl);
  vod.item->setCurrentTime(5.0);
  vod.item->setLoadedRanges({{0.0, 12.0}});
  pathBecomes(false);
  vod.item->setCurrentTime(9.0);

  pathBecomes(true);

  EXPECT_EQ(EventLog::instance().ofType(kNetworkConnected).size(), 1u);
  EXPECT_EQ(engine->made().size(), 1u);
  EXPECT_TRUE(vod.player->seeks().empty());
}

TEST_F(BridgeNetworkTest, LiveStreamReopensWithoutSeeking) {
  auto live = openReady(kLiveUrl);
  live.item->setCurrentTime(20.0);
  live.item->setLoadedRanges({{14.0, 8.0}});
  pathBecomes(false);
  live.item->setCurrentTime(25.0);

  pathBecomes(true);

  auto reopened = engine->waitForPlayers(2, kWait);
  ASSERT_TRUE(reopened.item) << "the live stream was not opened again";
  EXPECT_EQ(reopened.item->url(), kLiveUrl);
  reopened.item->becomeReady();
  ASSERT_TRUE(waitForReady(0, 2));
  ASSERT_TRUE(drainMainQueue());
  EXPECT_TRUE(EventLog::instance().ofType(kSeek).empty());
  EXPECT_TRUE(reopened.player->seeks().empty());
}

TEST_F(BridgeNetworkTest, LocalContentOnlyRaisesFourteen) {
  auto local = openReady(kLocalPath, true);
  local.item->setCurrentTime(14.0);
  local.item->setLoadedRanges({{0.0, 12.0}});
  pathBecomes(false);
  EventLog::instance().clear();

  pathBecomes(true);

  auto events = EventLog::instance().events();
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].type, kNetworkConnected);
  EXPECT_EQ(engine->made().size(), 1u);
  EXPECT_TRUE(local.player->seeks().empty());
}

TEST_F(BridgeNetworkTest, DroppedBridgeHearsNothing) {
  openReady(kVodUrl);
  // Teardown as NativeShutdown does it, minus the monitor: the handlers stay
  // installed and must find the bridge gone.
  bridge->Release(0);
  LoadTask::cancelAndJoinAll();
  bridge.reset();
  EventLog::instance().clear();

  pathBecomes(false);
  pathBecomes(true);

  EXPECT_TRUE(EventLog::instance().events().empty());
}

TEST_F(BridgeNetworkTest, StoppedMonitorReportsNoChange) {
  openReady(kVodUrl);
  bridge->StopNetworkMonitor();
  EventLog::instance().clear();

  pathBecomes(false);

  EXPECT_TRUE(EventLog::instance().events().empty());
  EXPECT_TRUE(reachability().isConnected());
}

}  // namespace
}  // namespace zent
