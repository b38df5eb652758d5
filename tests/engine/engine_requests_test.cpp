// The rules by which an item's engine requests go out: one flushing request at a
// time, the latest of a kind replacing a waiting one, other requests not held
// back, and a bounded wait for a report that never comes.
#include "platform/gst/engine_requests.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

namespace zent {
namespace {

using namespace std::chrono_literals;
using Kind = EngineRequests::Kind;
using Slot = EngineRequests::Slot;

// What ran, in order, with a way to wait for it.
class Journal {
 public:
  void add(std::string entry) {
    std::lock_guard lock(mutex_);
    entries_.push_back(std::move(entry));
    changed_.notify_all();
  }
  bool waitForSize(std::size_t size, std::chrono::milliseconds timeout = 5s) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] { return entries_.size() >= size; });
  }
  std::vector<std::string> entries() {
    std::lock_guard lock(mutex_);
    return entries_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> entries_;
};

TEST(EngineRequestsTest, FlushingRequestsGoOutOneAtATimeAndTheLatestWaitingOneWins) {
  Journal journal;
  EngineRequests requests("test", 10s, [&](Kind kind) {
    journal.add(kind == Kind::Seek ? "seek settled" : "selection settled");
  });
  auto seek = [&](std::string target) {
    requests.submit(Kind::Seek, [&journal, target] {
      journal.add("seek " + target);
      return true;
    });
  };
  seek("1");
  ASSERT_TRUE(journal.waitForSize(1));
  // While the first is in flight: two more seeks (the second replaces the first
  // of them), a selection, and a state change that is not held back.
  seek("2");
  requests.submit(Kind::Selection, [&] {
    journal.add("select");
    return true;
  });
  seek("3");
  requests.submit(Slot::State, [&] { journal.add("state"); });
  ASSERT_TRUE(journal.waitForSize(2));
  EXPECT_TRUE(requests.busy(Kind::Seek));
  EXPECT_TRUE(requests.busy(Kind::Selection));

  requests.completed(Kind::Selection);  // not the kind in flight: ignored
  requests.completed(Kind::Seek);
  ASSERT_TRUE(journal.waitForSize(3));
  requests.completed(Kind::Seek);
  ASSERT_TRUE(journal.waitForSize(5));
  requests.completed(Kind::Selection);
  ASSERT_TRUE(journal.waitForSize(6));
  EXPECT_EQ(journal.entries(),
            (std::vector<std::string>{"seek 1", "state", "seek 3", "seek settled", "select",
                                      "selection settled"}));
  EXPECT_FALSE(requests.busy(Kind::Seek));
  EXPECT_FALSE(requests.busy(Kind::Selection));
}

TEST(EngineRequestsTest, ARequestWithNoReportEndsAfterTheWaitAndOneNotSentAtOnce) {
  Journal journal;
  EngineRequests requests("test", 200ms, [&](Kind) { journal.add("settled"); });
  requests.submit(Kind::Seek, [&] {
    journal.add("lost");
    return true;  // sent, but its report never comes
  });
  ASSERT_TRUE(journal.waitForSize(1));
  requests.submit(Kind::Selection, [&] {
    journal.add("refused");
    return false;  // nothing went out: nothing to wait for
  });
  requests.submit(Kind::Seek, [&] {
    journal.add("after");
    return false;
  });
  ASSERT_TRUE(journal.waitForSize(5));
  EXPECT_EQ(journal.entries(),
            (std::vector<std::string>{"lost", "refused", "settled", "after", "settled"}));
}

TEST(EngineRequestsTest, ReleasingWhileARequestHangsDoesNotWaitForIt) {
  std::mutex gate;
  std::unique_lock hold(gate);
  Journal journal;
  auto requests = std::make_unique<EngineRequests>("test", 10s, nullptr);
  requests->submit(Slot::State, [&] {
    journal.add("running");
    std::lock_guard wait(gate);  // blocks like an engine call that never returns
  });
  ASSERT_TRUE(journal.waitForSize(1));
  std::function<void()> join;
  requests->setJoiner([&](std::function<void()> job) { join = std::move(job); });
  requests.reset();  // returns at once; the thread is handed over
  ASSERT_TRUE(join);
  hold.unlock();
  join();
}

}  // namespace
}  // namespace zent
