#pragma once

// Helpers of the engine tests: a delegate that records what an item reports,
// bounded polling, and the main queue running for the whole program.

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "player/media_player.h"
#include "support/main_queue.h"

namespace zent::enginetest {

using namespace std::chrono_literals;

// Polls condition every few milliseconds until it holds or the timeout passes.
inline bool eventually(const std::function<bool()>& condition,
                       std::chrono::milliseconds timeout = 10s) {
  for (auto deadline = std::chrono::steady_clock::now() + timeout;
       std::chrono::steady_clock::now() < deadline; std::this_thread::sleep_for(10ms)) {
    if (condition()) return true;
  }
  return condition();
}

// Runs a marker through the main queue: everything posted before has run by then.
inline bool drainMainQueue() {
  auto ran = std::make_shared<std::atomic<bool>>(false);
  return MainQueue::post([ran] { *ran = true; }) && eventually([&] { return ran->load(); });
}

// Records an item's status changes and ends, and whether one came off the main queue.
class RecordingDelegate : public PlayerItemDelegate {
 public:
  void itemStatusChanged(PlayerItem&, ItemStatus status) override { note(&statuses_, status); }
  void itemDidPlayToEnd(PlayerItem&) override { note(&ends_, ItemStatus::Unknown); }
  std::vector<ItemStatus> statuses() { return copy(statuses_); }
  std::size_t ends() { return copy(ends_).size(); }
  bool calledOffTheMainQueue() { return copy(offQueue_); }

 private:
  void note(std::vector<ItemStatus>* list, ItemStatus status) {
    std::lock_guard lock(mutex_);
    list->push_back(status);
    offQueue_ = offQueue_ || !MainQueue::isCurrentThread();
  }
  template <typename T>
  T copy(const T& field) {
    std::lock_guard lock(mutex_);
    return field;
  }
  std::mutex mutex_;
  std::vector<ItemStatus> statuses_, ends_;
  bool offQueue_ = false;
};

// An item with its player and a recording delegate, attached as the player logic does.
struct Playback {
  Playback(MediaEngine& engine, const std::string& url) : item(engine.makeItem(url)) {
    item->setDelegate(delegate);
    player = engine.makePlayer(item);
  }
  std::shared_ptr<PlayerItem> item;
  std::shared_ptr<MediaPlayer> player;
  std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>();

  // Waits until the position has moved on from where it was (the pipeline runs).
  bool advances(std::chrono::milliseconds timeout = 10s) const {
    double start = player->currentTimeSeconds();
    return eventually([&] { return player->currentTimeSeconds() > start + 0.1; }, timeout);
  }
};

class EngineEnvironment : public ::testing::Environment {
 public:
  void SetUp() override { MainQueue::start(); }
  void TearDown() override { MainQueue::stop(); }
};
inline ::testing::Environment* const gEngineEnvironment =
    ::testing::AddGlobalTestEnvironment(new EngineEnvironment());

}  // namespace zent::enginetest
