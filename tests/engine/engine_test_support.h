#pragma once

// Helpers of the engine tests: a delegate that records what an item reports,
// bounded polling, playback measurements. Media come from support/media_fixtures.h.

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
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

// Records an item's status changes and ends, and on which thread they came.
class RecordingDelegate : public PlayerItemDelegate {
 public:
  void itemStatusChanged(PlayerItem&, ItemStatus status) override {
    std::lock_guard lock(mutex_);
    statuses_.push_back(status);
    if (!MainQueue::isCurrentThread()) offQueue_ = true;
    changed_.notify_all();
  }
  void itemDidPlayToEnd(PlayerItem&) override {
    std::lock_guard lock(mutex_);
    ++ends_;
    if (!MainQueue::isCurrentThread()) offQueue_ = true;
    changed_.notify_all();
  }

  bool waitForStatus(ItemStatus status, std::chrono::milliseconds timeout = 20s) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] {
      for (ItemStatus s : statuses_) {
        if (s == status) return true;
      }
      return false;
    });
  }
  bool waitForEnds(int count, std::chrono::milliseconds timeout) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] { return ends_ >= count; });
  }
  std::vector<ItemStatus> statuses() {
    std::lock_guard lock(mutex_);
    return statuses_;
  }
  int ends() {
    std::lock_guard lock(mutex_);
    return ends_;
  }
  bool calledOffTheMainQueue() {
    std::lock_guard lock(mutex_);
    return offQueue_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<ItemStatus> statuses_;
  int ends_ = 0;
  bool offQueue_ = false;
};

// Polls condition every few milliseconds until it holds or the timeout passes.
inline bool eventually(const std::function<bool()>& condition,
                       std::chrono::milliseconds timeout = 10s) {
  auto deadline = std::chrono::steady_clock::now() + timeout;
  while (std::chrono::steady_clock::now() < deadline) {
    if (condition()) return true;
    std::this_thread::sleep_for(10ms);
  }
  return condition();
}

// Runs a no-op through the main queue and waits for it: everything posted before
// has run by then.
inline bool drainMainQueue() {
  std::mutex mutex;
  std::condition_variable done;
  bool ran = false;
  if (!MainQueue::post([&] {
        std::lock_guard lock(mutex);
        ran = true;
        done.notify_all();
      })) {
    return false;
  }
  std::unique_lock lock(mutex);
  return done.wait_for(lock, 10s, [&] { return ran; });
}

// 4 s of 320x240 H.264 in Matroska with one SubRip track: "Hello" / "World"
// from 0.5 to 1.5 s and "Second cue" from 2.0 to 3.0 s. Made once, in the
// shared media cache.
std::string subtitledMkv();

// The engine's main queue runs for the whole test program.
class EngineEnvironment : public ::testing::Environment {
 public:
  void SetUp() override;
  void TearDown() override;
};

}  // namespace zent::enginetest

namespace zent::enginetest {

// An item with its player and a recording delegate.
struct Playback {
  std::shared_ptr<PlayerItem> item;
  std::shared_ptr<MediaPlayer> player;
  std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>();
};

// Makes the item, installs the delegate and attaches it to a new player, as the
// player logic does.
Playback open(MediaEngine& engine, const std::string& url);

// Plays until the position has moved on from where it was (the pipeline runs).
bool waitUntilAdvancing(const Playback& playback, std::chrono::milliseconds timeout = 10s);

// Position advance divided by wall time over about `span` of wall time.
double measuredRate(const Playback& playback, std::chrono::milliseconds span);

}  // namespace zent::enginetest
