// Loss and return notifications from a path source fed by hand.
#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <vector>

#include "network/fed_path_monitor.h"
#include "network/main_queue_sync.h"
#include "support/internet_reachability.h"
#include "support/main_queue.h"

namespace zent {
namespace {

using testing::drainMainQueue;
using testing::FedPathSource;

// What the handlers saw: "lost" / "restored", and whether each ran on the main queue.
class Notifications {
 public:
  std::function<void()> recorder(const std::string& name) {
    return [this, name] {
      std::lock_guard<std::mutex> lock(mutex_);
      seen_.push_back(name);
      allOnMainQueue_ = allOnMainQueue_ && MainQueue::isCurrentThread();
    };
  }
  std::vector<std::string> seen() {
    std::lock_guard<std::mutex> lock(mutex_);
    return seen_;
  }
  bool allOnMainQueue() {
    std::lock_guard<std::mutex> lock(mutex_);
    return allOnMainQueue_;
  }

 private:
  std::mutex mutex_;
  std::vector<std::string> seen_;
  bool allOnMainQueue_ = true;
};

class ReachabilityTest : public ::testing::Test {
 protected:
  void SetUp() override {
    MainQueue::start();
    reachability().resetForTesting();
    reachability().setPathMonitorFactory(source->factory());
  }
  void TearDown() override {
    reachability().resetForTesting();
    // Drained first: a loop told to quit before it has started running misses it.
    drainMainQueue();
    MainQueue::stop();
  }
  static InternetReachability& reachability() { return InternetReachability::shared(); }
  void installBoth() {
    reachability().setOnLost(notifications.recorder("lost"));
    reachability().setOnRestored(notifications.recorder("restored"));
  }
  // Feeds the states and waits until the notifications they caused have run.
  void feed(std::initializer_list<bool> states) {
    for (bool satisfied : states) source->feed(satisfied);
    ASSERT_TRUE(drainMainQueue());
  }

  std::shared_ptr<FedPathSource> source = std::make_shared<FedPathSource>();
  Notifications notifications;
};

using Seen = std::vector<std::string>;

TEST_F(ReachabilityTest, ReportsEachChangeOnceOnTheMainQueue) {
  installBoth();
  reachability().start();
  feed({true, true, false, false, true});
  EXPECT_EQ(notifications.seen(), (Seen{"lost", "restored"}));
  EXPECT_TRUE(notifications.allOnMainQueue());
  EXPECT_TRUE(reachability().isConnected());
}

TEST_F(ReachabilityTest, UnsatisfiedFirstPathReportsLossAndKeepsTheStateOff) {
  installBoth();
  reachability().start();
  feed({false});
  EXPECT_EQ(notifications.seen(), (Seen{"lost"}));
  EXPECT_FALSE(reachability().isConnected());
}

TEST_F(ReachabilityTest, LossWithoutLostHandlerStillChangesStateAndReturnIsReported) {
  reachability().setOnRestored(notifications.recorder("restored"));
  reachability().start();
  feed({false});
  EXPECT_FALSE(reachability().isConnected());
  EXPECT_TRUE(notifications.seen().empty());
  feed({true});
  EXPECT_EQ(notifications.seen(), (Seen{"restored"}));
}

TEST_F(ReachabilityTest, HandlerInstalledAfterTheChangeButBeforeDeliveryIsTheOneCalled) {
  // The handler is read when the main queue runs the notification, not when the
  // path changed: hold the queue, change the path, then install the handler.
  std::promise<void> release;
  std::shared_future<void> released = release.get_future().share();
  ASSERT_TRUE(MainQueue::post([released] { released.wait(); }));
  reachability().start();
  source->feed(false);
  reachability().setOnLost(notifications.recorder("lost"));
  release.set_value();
  ASSERT_TRUE(drainMainQueue());
  EXPECT_EQ(notifications.seen(), (Seen{"lost"}));
}

TEST_F(ReachabilityTest, SecondStartKeepsTheFirstMonitor) {
  installBoth();
  reachability().start();
  reachability().start();
  EXPECT_EQ(source->monitorsMade(), 1);
  EXPECT_TRUE(reachability().hasMonitor());
  feed({false});
  EXPECT_EQ(notifications.seen(), (Seen{"lost"}));
}

TEST_F(ReachabilityTest, RestartAfterStopWhileDisconnectedReportsTheReturn) {
  installBoth();
  reachability().start();
  feed({false});
  reachability().stopMonitor();
  EXPECT_FALSE(reachability().hasMonitor());
  EXPECT_FALSE(reachability().isConnected());  // not reset by stopping

  reachability().start();
  EXPECT_EQ(source->monitorsMade(), 2);
  feed({true});
  EXPECT_EQ(notifications.seen(), (Seen{"lost", "restored"}));
}

TEST_F(ReachabilityTest, RestartWhileConnectedReportsNothingForASatisfiedPath) {
  installBoth();
  reachability().start();
  reachability().stopMonitor();
  reachability().start();
  feed({true});
  EXPECT_TRUE(notifications.seen().empty());
}

TEST_F(ReachabilityTest, StoppedMonitorReportsNothing) {
  installBoth();
  reachability().start();
  reachability().stopMonitor();
  EXPECT_FALSE(source->attached());
  feed({false, true, false});
  EXPECT_TRUE(notifications.seen().empty());
  EXPECT_TRUE(reachability().isConnected());
}

TEST_F(ReachabilityTest, StoppingKeepsTheHandlers) {
  installBoth();
  reachability().start();
  reachability().stopMonitor();
  reachability().start();
  feed({false});
  EXPECT_EQ(notifications.seen(), (Seen{"lost"}));
}

}  // namespace
}  // namespace zent
