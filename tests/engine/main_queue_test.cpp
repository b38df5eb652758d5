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

// Collects values posted from work items and lets the test wait for a count.
class Recorder {
 public:
  void add(int value) {
    std::lock_guard lock(mutex_);
    values_.push_back(value);
    changed_.notify_all();
  }
  bool waitForCount(std::size_t count, std::chrono::milliseconds timeout = 5s) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] { return values_.size() >= count; });
  }
  std::vector<int> values() {
    std::lock_guard lock(mutex_);
    return values_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<int> values_;
};

class MainQueueTest : public ::testing::Test {
 protected:
  // The queue runs for the whole test program; tests that stop it start it again.
  void SetUp() override { MainQueue::start(); }
  void TearDown() override { MainQueue::start(); }
};

TEST_F(MainQueueTest, RunsPostedWorkInOrderOnItsOwnThread) {
  Recorder recorder;
  std::thread::id queueThread;
  std::mutex idMutex;
  for (int i = 0; i < 100; ++i) {
    ASSERT_TRUE(MainQueue::post([&, i] {
      if (i == 0) {
        std::lock_guard lock(idMutex);
        queueThread = std::this_thread::get_id();
      }
      EXPECT_TRUE(MainQueue::isCurrentThread());
      recorder.add(i);
    }));
  }
  ASSERT_TRUE(recorder.waitForCount(100));
  std::vector<int> values = recorder.values();
  for (int i = 0; i < 100; ++i) EXPECT_EQ(values[i], i);
  std::lock_guard lock(idMutex);
  EXPECT_NE(queueThread, std::this_thread::get_id());
  EXPECT_FALSE(MainQueue::isCurrentThread());
}

TEST_F(MainQueueTest, PostIsAsynchronousEvenFromTheQueueItself) {
  Recorder recorder;
  ASSERT_TRUE(MainQueue::post([&] {
    MainQueue::post([&] { recorder.add(2); });
    recorder.add(1);  // runs before the nested item although that was posted first
  }));
  ASSERT_TRUE(recorder.waitForCount(2));
  EXPECT_EQ(recorder.values(), (std::vector<int>{1, 2}));
}

TEST_F(MainQueueTest, SourcesOnTheExposedContextRunOnTheQueueThread) {
  Recorder recorder;
  GSource* source = g_timeout_source_new(1);
  auto* recorderPtr = &recorder;
  g_source_set_callback(
      source,
      [](gpointer data) -> gboolean {
        static_cast<Recorder*>(data)->add(MainQueue::isCurrentThread() ? 1 : 0);
        return G_SOURCE_REMOVE;
      },
      recorderPtr, nullptr);
  g_source_attach(source, mainQueueContext());
  g_source_unref(source);
  ASSERT_TRUE(recorder.waitForCount(1));
  EXPECT_EQ(recorder.values(), (std::vector<int>{1}));
}

TEST_F(MainQueueTest, StopDropsQueuedWorkAndRefusesNewWork) {
  std::mutex gate;
  std::unique_lock hold(gate);
  std::atomic<bool> firstRunning{false};
  Recorder recorder;
  // The first item blocks the loop until the test lets it go, so the second one is
  // still queued when stop() runs.
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
  EXPECT_EQ(recorder.values(), (std::vector<int>{1}));
  EXPECT_FALSE(MainQueue::post([] {}));
  EXPECT_FALSE(MainQueue::isRunning());
}

TEST_F(MainQueueTest, StopFromAWorkItemDoesNotSelfJoinAndTheQueueRestarts) {
  Recorder recorder;
  ASSERT_TRUE(MainQueue::post([&] {
    MainQueue::stop();
    recorder.add(1);
  }));
  ASSERT_TRUE(recorder.waitForCount(1));
  EXPECT_FALSE(MainQueue::isRunning());

  MainQueue::start();
  MainQueue::start();  // idempotent
  ASSERT_TRUE(MainQueue::post([&] { recorder.add(2); }));
  ASSERT_TRUE(recorder.waitForCount(2));
  EXPECT_EQ(recorder.values(), (std::vector<int>{1, 2}));
}

TEST_F(MainQueueTest, ManyThreadsPostingKeepEachThreadsOrder) {
  constexpr int kThreads = 4;
  constexpr int kPerThread = 200;
  Recorder recorder;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kPerThread; ++i) {
        MainQueue::post([&, t, i] { recorder.add(t * 1000 + i); });
      }
    });
  }
  for (auto& thread : threads) thread.join();
  ASSERT_TRUE(recorder.waitForCount(kThreads * kPerThread));
  std::vector<int> last(kThreads, -1);
  for (int value : recorder.values()) {
    int t = value / 1000;
    EXPECT_GT(value % 1000, last[t]);
    last[t] = value % 1000;
  }
}

}  // namespace
}  // namespace zent
