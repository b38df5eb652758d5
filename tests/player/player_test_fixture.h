#pragma once

// A bridge over the scripted engine and the fed path source, its events and log lines recorded.

#include <gtest/gtest.h>

#include "player/scripted_engine.h"
#include "player/zent_player.h"
#include "registry/bridge_player.h"
#include "registry/player_listener.h"
#include "support/event_recorder.h"
#include "support/internet_reachability.h"
#include "support/library_log.h"
#include "support/load_task.h"
#include "support/logger.h"
#include "support/main_queue.h"

namespace zent::testing {

using namespace std::chrono_literals;
using test::eventRecorder;
using test::isEvent;
using test::logRecorder;

class PlayerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Logger::resetForTesting();
    Logger::setShowTimestamp(false);
    test::recordLibraryLog();
    eventRecorder().clear();
    InternetReachability::shared().resetForTesting();
    InternetReachability::shared().setPathMonitorFactory(path->factory());
    MainQueue::start();
    bridge = std::make_shared<BridgePlayer>(engine);
    bridge->SetPlayerListener(&eventRecorderListener);
  }
  void TearDown() override {
    InternetReachability::shared().resetForTesting();
    bridge.reset();
    LoadTask::cancelAndJoinAll();
    drainMainQueue();
    storePlayerListener(nullptr);
    Logger::resetForTesting();
  }

  // Opens the content at `index`, makes its item ready and waits for the ready event.
  std::shared_ptr<ScriptedItem> openReady(int64_t index, const std::string& url,
                                          bool local = false) {
    std::size_t n = engine->itemCount(), mark = eventRecorder().size();
    local ? bridge->OpenLocalContent(url, index) : bridge->OpenURI(url, index, 0);
    auto item = engine->item(n);
    if (!item || !engine->player(n)) return nullptr;  // the load attached and observes it
    item->resolve(ItemStatus::ReadyToPlay);
    EXPECT_TRUE(eventRecorder().waitFor(isEvent(index, 0), 10s, mark))
        << eventRecorder().describe();
    return item;
  }
  std::vector<int32_t> types(std::size_t from = 0, int32_t player = 0) {
    return eventRecorder().typesFor(player, from);
  }

  std::shared_ptr<ScriptedEngine> engine = std::make_shared<ScriptedEngine>();
  std::shared_ptr<FedPathSource> path = std::make_shared<FedPathSource>();
  std::shared_ptr<BridgePlayer> bridge;
};

}  // namespace zent::testing
