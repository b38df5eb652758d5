// How an item's engine requests go out: one flushing request at a time, the
// latest of a kind replacing a waiting one, others not held back, and a bounded
// wait for a report that never comes.
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
using Entries = std::vector<std::string>;

// What ran, in order, with a way to wait for it.
struct Journal {
  std::mutex mutex;
  std::condition_variable changed;
  Entries entries;
  std::function<bool()> add(std::string entry, bool sent = true) {
    return [this, entry, sent] {
      std::lock_guard lock(mutex);
      entries.push_back(entry);
      changed.notify_all();
      return sent;
    };
  }
  Entries waitFor(std::size_t size) {
    std::unique_lock lock(mutex);
    changed.wait_for(lock, 5s, [&] { return entries.size() >= size; });
    return entries;
  }
};

TEST(EngineRequestsTest, FlushingRequestsGoOutOneAtATimeAndTheLatestWaitingOneWins) {
  Journal journal;
  EngineRequests requests("test", 10s, [&](Kind kind) {
    journal.add(kind == Kind::Seek ? "seek settled" : "selection settled")();
  });
  requests.submit(Kind::Seek, journal.add("seek 1"));
  ASSERT_EQ(journal.waitFor(1).size(), 1u);
  // While the first is in flight: two more seeks (the second replaces the first
  // of them), a selection, and a state change that is not held back.
  requests.submit(Kind::Seek, journal.add("seek 2"));
  requests.submit(Kind::Selection, journal.add("select"));
  requests.submit(Kind::Seek, journal.add("seek 3"));
  requests.submit(EngineRequests::Slot::State, [&] { journal.add("state")(); });
  ASSERT_EQ(journal.waitFor(2).size(), 2u);
  EXPECT_TRUE(requests.busy(Kind::Seek));
  EXPECT_TRUE(requests.busy(Kind::Selection));
  requests.completed(Kind::Selection);  // not the kind in flight: ignored
  requests.completed(Kind::Seek);
  ASSERT_EQ(journal.waitFor(3).size(), 3u);
  requests.completed(Kind::Seek);
  ASSERT_EQ(journal.waitFor(5).size(), 5u);
  requests.completed(Kind::Selection);
  EXPECT_EQ(journal.waitFor(6),
            (Entries{"seek 1", "state", "seek 3", "seek settled", "select", "selection settled"}));
  EXPECT_FALSE(requests.busy(Kind::Seek));
}

TEST(EngineRequestsTest, ARequestWithNoReportEndsAfterTheWaitAndOneNotSentAtOnce) {
  Journal journal;
  EngineRequests requests("test", 200ms, [&](Kind) { journal.add("settled")(); });
  requests.submit(Kind::Seek, journal.add("lost"));  // sent, but its report never comes
  ASSERT_EQ(journal.waitFor(1).size(), 1u);
  requests.submit(Kind::Selection, journal.add("refused", false));  // nothing went out
  requests.submit(Kind::Seek, journal.add("after", false));
  EXPECT_EQ(journal.waitFor(5), (Entries{"lost", "refused", "settled", "after", "settled"}));
}

TEST(EngineRequestsTest, ReleasingWhileARequestHangsDoesNotWaitForIt) {
  std::mutex gate;
  std::unique_lock hold(gate);
  Journal journal;
  auto requests = std::make_unique<EngineRequests>("test", 10s, nullptr);
  requests->submit(EngineRequests::Slot::State, [&] {
    journal.add("running")();
    std::lock_guard wait(gate);  // blocks like an engine call that never returns
  });
  ASSERT_EQ(journal.waitFor(1).size(), 1u);
  std::function<void()> join;
  requests->setJoiner([&](std::function<void()> job) { join = std::move(job); });
  requests.reset();  // returns at once; the thread is handed over
  ASSERT_TRUE(join);
  hold.unlock();
  join();
}

}  // namespace
}  // namespace zent
