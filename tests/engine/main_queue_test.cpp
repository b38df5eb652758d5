// The main queue: the engine's one thread for callbacks and GLib sources.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/gst/main_queue_context.h"
#include "support/main_queue.h"

namespace zent {
namespace {

using namespace std::chrono_literals;

// Values posted from work items, with a way to wait for a count.
class Recorder {
 public:
  void add(int value) {
    std::lock_guard lock(mutex_);
    values_.push_back(value);
    onQueue_ = onQueue_ && MainQueue::isCurrentThread();
    changed_.notify_all();
  }
  std::vector<int> waitFor(std::size_t count) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, 5s, [&] { return values_.size() >= count; });
    return values_;
  }
  bool allOnTheQueue() {
    std::lock_guard lock(mutex_);
    return onQueue_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<int> values_;
  bool onQueue_ = true;
};

class MainQueueTest : public ::testing::Test {
 protected:
  // The queue runs for the whole test program; tests that stop it start it again.
  void SetUp() override { MainQueue::start(); }
  void TearDown() override { MainQueue::start(); }
};

TEST_F(MainQueueTest, RunsWorkAndSourcesInOrderOnItsOwnThreadAndPostsAsynchronously) {
  Recorder recorder;
  std::vector<int> expected;
  for (int i = 10; i < 20; ++i) {
    ASSERT_TRUE(MainQueue::post([&recorder, i] { recorder.add(i); }));
    expected.push_back(i);
  }
  ASSERT_TRUE(MainQueue::post([&] {
    MainQueue::post([&] { recorder.add(2); });
    recorder.add(1);  // runs before the nested item although that was posted first
  }));
  GSource* source = g_timeout_source_new(50);
  g_source_set_callback(
      source,
      [](gpointer data) -> gboolean {
        static_cast<Recorder*>(data)->add(4);
        return G_SOURCE_REMOVE;
      },
      &recorder, nullptr);
  g_source_attach(source, mainQueueContext());
  g_source_unref(source);
  std::vector<int> values = recorder.waitFor(13);
  ASSERT_EQ(std::erase(values, 4), 1u) << "the source did not run once";
  expected.insert(expected.end(), {1, 2});
  EXPECT_EQ(values, expected);
  EXPECT_TRUE(recorder.allOnTheQueue());
  EXPECT_FALSE(MainQueue::isCurrentThread());
}

TEST_F(MainQueueTest, StopDropsQueuedWorkRefusesNewWorkAndTheQueueRestarts) {
  std::mutex gate;
  std::unique_lock hold(gate);
  std::atomic<bool> firstRunning{false};
  Recorder recorder;
  // The first item blocks the loop, so the second is still queued at stop().
  ASSERT_TRUE(MainQueue::post([&] {
    firstRunning = true;
    std::lock_guard wait(gate);
    recorder.add(1);
  }));
  ASSERT_TRUE(MainQueue::post([&] { recorder.add(2); }));
  while (!firstRunning) std::this_thread::yield();
  std::thread stopper([] { MainQueue::stop(); });
  while (MainQueue::isRunning()) std::this_thread::yield();
  hold.unlock();
  stopper.join();
  EXPECT_FALSE(MainQueue::post([] {}));
  MainQueue::start();
  MainQueue::start();  // idempotent
  ASSERT_TRUE(MainQueue::post([&] { recorder.add(3); }));
  EXPECT_EQ(recorder.waitFor(2), (std::vector<int>{1, 3}));
}

TEST_F(MainQueueTest, StopFromAWorkItemDoesNotSelfJoin) {
  Recorder recorder;
  ASSERT_TRUE(MainQueue::post([&] {
    MainQueue::stop();
    recorder.add(1);
  }));
  EXPECT_EQ(recorder.waitFor(1), (std::vector<int>{1}));
  EXPECT_FALSE(MainQueue::isRunning());
}

}  // namespace
}  // namespace zent
