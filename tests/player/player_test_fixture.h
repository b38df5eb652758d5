#pragma once

// White-box fixture: a bridge over the scripted engine, with the listener and
// the log callback recording into this test.

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "player/scripted_engine.h"
#include "player/zent_player.h"
#include "registry/bridge_player.h"
#include "support/internet_reachability.h"
#include "support/logger.h"
#include "support/main_queue.h"

namespace zent::testing {

struct Event {
  bool isError;
  int32_t index, type, p1, p2, p3, p4;
  std::string text;
};

// Everything the library told the host, in arrival order.
class HostRecord {
 public:
  static HostRecord& instance() {
    static HostRecord record;
    return record;
  }
  static void listener(bool isError, int32_t index, int32_t type, int32_t p1, int32_t p2,
                       int32_t p3, int32_t p4, const char* text) {
    instance().add(Event{isError, index, type, p1, p2, p3, p4, text ? text : ""});
  }
  static void logSink(int32_t, const char* line) { instance().addLine(line); }

  void clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    events_.clear();
    lines_.clear();
  }
  std::vector<Event> events() {
    std::lock_guard<std::mutex> lock(mutex_);
    return events_;
  }
  std::vector<std::string> lines() {
    std::lock_guard<std::mutex> lock(mutex_);
    return lines_;
  }
  // Waits until an event of that type (and error flag) has arrived.
  bool waitForEvent(int32_t type, bool isError = false, int count = 1) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(10), [&] {
      int seen = 0;
      for (const Event& e : events_) seen += (e.type == type && e.isError == isError);
      return seen >= count;
    });
  }
  bool hasLineContaining(const std::string& text) {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& line : lines_) {
      if (line.find(text) != std::string::npos) return true;
    }
    return false;
  }

 private:
  void add(Event event) {
    std::lock_guard<std::mutex> lock(mutex_);
    events_.push_back(std::move(event));
    changed_.notify_all();
  }
  void addLine(std::string line) {
    std::lock_guard<std::mutex> lock(mutex_);
    lines_.push_back(std::move(line));
    changed_.notify_all();
  }
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Event> events_;
  std::vector<std::string> lines_;
};

class PlayerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Logger::resetForTesting();
    Logger::setShowTimestamp(false);
    Logger::setCallback(&HostRecord::logSink);
    HostRecord::instance().clear();
    InternetReachability::shared().resetForTesting();
    InternetReachability::shared().setPathMonitorFactory([] { return nullptr; });
    MainQueue::start();
    engine = std::make_shared<ScriptedEngine>();
    bridge = std::make_shared<BridgePlayer>(engine);
    bridge->SetPlayerListener(&HostRecord::listener);
  }
  void TearDown() override {
    bridge.reset();
    LoadTask::cancelAndJoinAll();
    storePlayerListener(nullptr);
    InternetReachability::shared().resetForTesting();
    Logger::resetForTesting();
  }

  // Adds a player, opens a URL on it and makes its item ready; returns the item.
  std::shared_ptr<ScriptedItem> openReady(int64_t index, const std::string& url,
                                          std::size_t itemNumber) {
    int readyBefore = 0;
    for (const Event& e : HostRecord::instance().events()) readyBefore += (e.type == 0);
    bridge->OpenURI(url, index, 0);
    auto item = engine->item(itemNumber);
    engine->player(itemNumber);  // the load has attached the item and observes it
    item->resolve(ItemStatus::ReadyToPlay);
    EXPECT_TRUE(HostRecord::instance().waitForEvent(0, false, readyBefore + 1));
    return item;
  }

  std::vector<int32_t> eventTypes() {
    std::vector<int32_t> types;
    for (const Event& e : HostRecord::instance().events()) types.push_back(e.type);
    return types;
  }

  std::shared_ptr<ScriptedEngine> engine;
  std::shared_ptr<BridgePlayer> bridge;
};

}  // namespace zent::testing
