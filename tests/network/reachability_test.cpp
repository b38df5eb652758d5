// Loss and return notifications from a path source fed by hand.
#include <gtest/gtest.h>

#include <future>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "player/scripted_engine.h"
#include "support/internet_reachability.h"
#include "support/main_queue.h"

namespace zent::testing {
namespace {

using Seen = std::vector<std::string>;

class ReachabilityTest : public ::testing::Test {
 protected:
  void SetUp() override {
    MainQueue::start();
    reachability().resetForTesting();
    reachability().setPathMonitorFactory(source->factory());
  }
  void TearDown() override { reachability().resetForTesting(); }
  static InternetReachability& reachability() { return InternetReachability::shared(); }
  std::function<void()> recorder(const std::string& name) {
    return [this, name] {
      std::lock_guard<std::mutex> lock(mutex);
      seen.push_back(name + (MainQueue::isCurrentThread() ? "" : " off the main queue"));
    };
  }
  // Feeds the states and waits until the notifications they caused have run.
  Seen feed(std::initializer_list<bool> states) {
    for (bool satisfied : states) source->feed(satisfied);
    EXPECT_TRUE(drainMainQueue());
    std::lock_guard<std::mutex> lock(mutex);
    return std::exchange(seen, {});
  }

  std::shared_ptr<FedPathSource> source = std::make_shared<FedPathSource>();
  std::mutex mutex;
  Seen seen;
};

TEST_F(ReachabilityTest, StoppedMonitorReportsNothingAndARestartReportsTheReturn) {
  reachability().setOnLost(recorder("lost"));
  reachability().setOnRestored(recorder("restored"));
  reachability().start();
  reachability().start();  // keeps the first monitor
  EXPECT_EQ(feed({true, false, false}), (Seen{"lost"}));
  reachability().stopMonitor();
  EXPECT_FALSE(source->attached());
  EXPECT_EQ(feed({true, false}), Seen{});
  EXPECT_FALSE(reachability().isConnected());  // not reset by stopping
  reachability().start();
  EXPECT_EQ(source->monitorsMade(), 2);
  EXPECT_EQ(feed({true}), (Seen{"restored"}));
}

// The handler is read when the main queue runs the notification, not when the
// path changed: hold the queue, change the path, then install the handler.
TEST_F(ReachabilityTest, HandlerInstalledBeforeDeliveryIsTheOneCalled) {
  std::promise<void> release;
  ASSERT_TRUE(MainQueue::post([held = release.get_future().share()] { held.wait(); }));
  reachability().start();
  source->feed(false);
  reachability().setOnLost(recorder("lost"));
  release.set_value();
  EXPECT_EQ(feed({}), (Seen{"lost"}));
}

}  // namespace
}  // namespace zent::testing
