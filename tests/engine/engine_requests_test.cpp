// A request stuck in the engine (a state change that never returns) is left to its
// thread: the requests after it run on a new one.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <vector>

#include "platform/gst/engine_requests.h"

namespace zent {
namespace {

using namespace std::chrono_literals;

TEST(EngineRequestsTest, AStuckRequestIsLeftBehindAndTheNextOnesRun) {
  std::promise<void> started, release, nextRan;
  std::shared_future<void> released = release.get_future().share();
  std::vector<std::function<void()>> joins;
  {
    EngineRequests requests("test", 3000ms, nullptr);
    requests.setJoiner([&](std::function<void()> join) { joins.push_back(std::move(join)); });
    EXPECT_FALSE(requests.replaceStuckThread(0ms)) << "nothing runs yet";
    requests.submit(EngineRequests::Slot::State, [&] {
      started.set_value();
      released.wait();
    });
    ASSERT_EQ(started.get_future().wait_for(10s), std::future_status::ready);
    EXPECT_FALSE(requests.replaceStuckThread(1h));
    requests.submit(EngineRequests::Slot::Audio, [&] { nextRan.set_value(); });
    EXPECT_TRUE(requests.replaceStuckThread(0ms));
    EXPECT_EQ(nextRan.get_future().wait_for(10s), std::future_status::ready);
  }
  release.set_value();
  ASSERT_EQ(joins.size(), 2u) << "both threads are handed over to be joined";
  for (auto& join : joins) join();
}

}  // namespace
}  // namespace zent
