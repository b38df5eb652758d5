// The system path source on GIO's GNetworkMonitor: its thread and lifecycle on
// any machine, and real route loss and return inside a private network namespace.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "network/command.h"
#include "network/main_queue_sync.h"
#include "support/internet_reachability.h"
#include "support/main_queue.h"
#include "support/path_monitor.h"

namespace zent {
namespace {

using namespace std::chrono_literals;
using testing::drainMainQueue;
using testing::runCommand;

// The reports one monitor made, and the threads they came on.
class Reports {
 public:
  std::function<void(bool)> handler() {
    return [this](bool satisfied) { add(satisfied); };
  }
  void add(bool satisfied) {
    std::lock_guard<std::mutex> lock(mutex_);
    values_.push_back(satisfied);
    threads_.push_back(std::this_thread::get_id());
    changed_.notify_all();
  }
  bool waitForCount(std::size_t count, std::chrono::milliseconds timeout = 10s) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] { return values_.size() >= count; });
  }
  // Waits for a report of `value` made after the first `after` reports.
  bool waitForValueAfter(bool value, std::size_t after, std::chrono::milliseconds timeout = 10s) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] {
      for (std::size_t i = after; i < values_.size(); ++i) {
        if (values_[i] == value) return true;
      }
      return false;
    });
  }
  std::vector<bool> values() {
    std::lock_guard<std::mutex> lock(mutex_);
    return values_;
  }
  std::vector<std::thread::id> threads() {
    std::lock_guard<std::mutex> lock(mutex_);
    return threads_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<bool> values_;
  std::vector<std::thread::id> threads_;
};

// ---- Any machine -------------------------------------------------------------

TEST(GioPathMonitor, ReportsTheStateAtStartFromItsOwnThread) {
  Reports reports;
  auto monitor = makeSystemPathMonitor();
  monitor->start(reports.handler());
  ASSERT_TRUE(reports.waitForCount(1)) << "no state reported at start";
  monitor->cancel();
  EXPECT_NE(reports.threads().front(), std::this_thread::get_id());
}

TEST(GioPathMonitor, SecondStartDoesNotStartAgain) {
  Reports reports;
  auto monitor = makeSystemPathMonitor();
  monitor->start(reports.handler());
  monitor->start(reports.handler());
  ASSERT_TRUE(reports.waitForCount(1));
  monitor->cancel();  // joins the thread: every report it will ever make is in
  EXPECT_EQ(reports.values().size(), 1u);
}

TEST(GioPathMonitor, RepeatedStartAndCancelEachGetTheirOwnMonitor) {
  for (int round = 0; round < 20; ++round) {
    SCOPED_TRACE(round);
    Reports reports;
    auto monitor = makeSystemPathMonitor();
    monitor->start(reports.handler());
    // Every other round cancels at once, possibly before the instance exists.
    if (round % 2 == 0) {
      ASSERT_TRUE(reports.waitForCount(1));
    }
    monitor->cancel();
    EXPECT_LE(reports.values().size(), 1u);
  }
}

TEST(GioPathMonitor, CancelWithoutStartAndTwiceIsHarmless) {
  auto idle = makeSystemPathMonitor();
  idle->cancel();
  idle->cancel();
  Reports reports;
  idle->start(reports.handler());  // a cancelled monitor stays cancelled
  idle.reset();
  EXPECT_TRUE(reports.values().empty());

  auto running = makeSystemPathMonitor();
  running->start(reports.handler());
  running->cancel();
  running->cancel();
}

TEST(GioPathMonitor, CancelWaitsForAReportInProgress) {
  std::mutex mutex;
  std::condition_variable changed;
  bool entered = false;
  bool released = false;
  std::atomic<bool> cancelReturned{false};
  std::atomic<bool> reportOutlivedCancel{false};
  auto monitor = makeSystemPathMonitor();
  monitor->start([&](bool) {
    std::unique_lock<std::mutex> lock(mutex);
    entered = true;
    changed.notify_all();
    changed.wait(lock, [&] { return released; });
    if (cancelReturned.load()) reportOutlivedCancel.store(true);
  });
  {
    std::unique_lock<std::mutex> lock(mutex);
    ASSERT_TRUE(changed.wait_for(lock, 10s, [&] { return entered; }));
  }
  std::thread canceller([&] {
    monitor->cancel();
    cancelReturned.store(true);
  });
  // Give the canceller a moment to reach the join; the check holds either way.
  std::this_thread::sleep_for(50ms);
  EXPECT_FALSE(cancelReturned.load());
  {
    std::lock_guard<std::mutex> lock(mutex);
    released = true;
  }
  changed.notify_all();
  canceller.join();
  EXPECT_FALSE(reportOutlivedCancel.load());
}

TEST(GioPathMonitor, CancelFromInsideTheHandlerEndsReporting) {
  Reports reports;
  auto monitor = makeSystemPathMonitor();
  PathMonitor* raw = monitor.get();
  monitor->start([&reports, raw](bool satisfied) {
    reports.add(satisfied);
    raw->cancel();  // must neither deadlock nor join itself
  });
  ASSERT_TRUE(reports.waitForCount(1));
  monitor.reset();
  EXPECT_EQ(reports.values().size(), 1u);
}

TEST(GioPathMonitor, CanBeDestroyedFromInsideTheHandler) {
  std::mutex mutex;
  std::unique_ptr<PathMonitor> monitor = makeSystemPathMonitor();
  std::promise<void> destroyed;
  PathMonitor* raw = monitor.get();
  raw->start([&](bool) {
    std::unique_ptr<PathMonitor> gone;
    {
      std::lock_guard<std::mutex> lock(mutex);
      gone = std::move(monitor);
    }
    if (!gone) return;
    gone.reset();  // must not join its own thread
    destroyed.set_value();
  });
  EXPECT_EQ(destroyed.get_future().wait_for(10s), std::future_status::ready);
}

// ---- Inside a private network namespace -----------------------------------------

// Set by the parent test in the child it runs inside the namespace.
constexpr const char* kChildFlag = "ZENT_NETNS_CHILD";
constexpr const char* kGateway = "10.213.0.1";
constexpr const char* kDevice = "zentv0";

bool insideTestNamespace() {
  return std::getenv(kChildFlag) != nullptr;
}

// The namespace's default route, removed and put back by the child tests; a test
// that ends with it removed puts it back for the next.
class DefaultRoute {
 public:
  ~DefaultRoute() {
    if (removed_) restore();
  }
  ::testing::AssertionResult remove() {
    auto result = runCommand("ip route del default");
    if (result.exitCode != 0) return ::testing::AssertionFailure() << result.output;
    removed_ = true;
    return ::testing::AssertionSuccess();
  }
  ::testing::AssertionResult restore() {
    auto result =
        runCommand(std::string("ip route add default via ") + kGateway + " dev " + kDevice);
    if (result.exitCode != 0) return ::testing::AssertionFailure() << result.output;
    removed_ = false;
    return ::testing::AssertionSuccess();
  }

 private:
  bool removed_ = false;
};

class NetnsChild : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!insideTestNamespace()) {
      GTEST_SKIP() << "runs only inside the namespace that GioNetworkNamespace sets up";
    }
  }
};

TEST_F(NetnsChild, SourceReportsRouteLossAndReturn) {
  Reports reports;
  auto monitor = makeSystemPathMonitor();
  monitor->start(reports.handler());
  ASSERT_TRUE(reports.waitForCount(1));
  ASSERT_TRUE(reports.values().front()) << "the namespace's default route was not seen";

  DefaultRoute route;
  std::size_t before = reports.values().size();
  ASSERT_TRUE(route.remove());
  EXPECT_TRUE(reports.waitForValueAfter(false, before)) << "loss of the default route not reported";

  before = reports.values().size();
  ASSERT_TRUE(route.restore());
  EXPECT_TRUE(reports.waitForValueAfter(true, before))
      << "return of the default route not reported";
  monitor->cancel();
}

TEST_F(NetnsChild, MonitorStartedAfterAnotherWasCancelledHearsChanges) {
  Reports first;
  auto earlier = makeSystemPathMonitor();
  earlier->start(first.handler());
  ASSERT_TRUE(first.waitForCount(1));
  earlier->cancel();
  std::size_t firstCount = first.values().size();

  Reports second;
  auto later = makeSystemPathMonitor();
  later->start(second.handler());
  ASSERT_TRUE(second.waitForCount(1));
  DefaultRoute route;
  ASSERT_TRUE(route.remove());
  EXPECT_TRUE(second.waitForValueAfter(false, 1));
  ASSERT_TRUE(route.restore());
  EXPECT_TRUE(second.waitForValueAfter(true, 1));
  later->cancel();
  EXPECT_EQ(first.values().size(), firstCount);
}

// Counts onLost / onRestored as the main queue runs them.
struct Notified {
  std::mutex mutex;
  std::condition_variable changed;
  int lost = 0;
  int restored = 0;
  bool onMainQueue = true;

  void note(int Notified::*counter) {
    std::lock_guard<std::mutex> lock(mutex);
    ++(this->*counter);
    onMainQueue = onMainQueue && MainQueue::isCurrentThread();
    changed.notify_all();
  }
  bool waitFor(int Notified::*counter, int count) {
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_for(lock, 10s, [&] { return this->*counter >= count; });
  }
};

TEST_F(NetnsChild, ReachabilityReportsLossAndReturnAcrossAMainQueueRestart) {
  InternetReachability& reachability = InternetReachability::shared();
  reachability.resetForTesting();  // the system source
  Notified notified;
  reachability.setOnLost([&] { notified.note(&Notified::lost); });
  reachability.setOnRestored([&] { notified.note(&Notified::restored); });

  // As NativeInit, NativeShutdown, NativeInit would leave it.
  MainQueue::start();
  reachability.start();
  reachability.stopMonitor();
  ASSERT_TRUE(drainMainQueue());  // a loop told to quit before it runs misses it
  MainQueue::stop();
  MainQueue::start();
  reachability.start();

  DefaultRoute route;
  ASSERT_TRUE(route.remove());
  EXPECT_TRUE(notified.waitFor(&Notified::lost, 1));
  ASSERT_TRUE(route.restore());
  EXPECT_TRUE(notified.waitFor(&Notified::restored, 1));
  reachability.stopMonitor();
  ASSERT_TRUE(drainMainQueue());
  {
    std::lock_guard<std::mutex> lock(notified.mutex);
    EXPECT_EQ(notified.lost, 1);
    EXPECT_EQ(notified.restored, 1);
    EXPECT_TRUE(notified.onMainQueue);
  }
  reachability.resetForTesting();
  MainQueue::stop();
}

// Creates a namespace with a veth pair, an address and a default route, runs the
// NetnsChild tests of this binary inside it, and deletes it again.
class TestNamespace {
 public:
  TestNamespace() : name_("zent-net-" + std::to_string(getpid())) {}
  ~TestNamespace() {
    if (created_) runCommand("ip netns del " + name_);
  }
  const std::string& name() const { return name_; }

  // Empty on success, else why the namespace could not be made.
  std::string create() {
    auto added = runCommand("ip netns add " + name_);
    if (added.exitCode != 0) return "ip netns add failed: " + added.output;
    created_ = true;
    const std::string in = "ip -n " + name_ + " ";
    const std::string device = kDevice;
    for (const std::string& step :
         {in + "link set lo up", in + "link add " + device + " type veth peer name zentv1",
          in + "link set " + device + " up", in + "link set zentv1 up",
          in + "addr add 10.213.0.2/24 dev " + device,
          in + "route add default via " + kGateway + " dev " + device}) {
      auto result = runCommand(step);
      if (result.exitCode != 0) return "\"" + step + "\" failed: " + result.output;
    }
    return "";
  }

 private:
  std::string name_;
  bool created_ = false;
};

TEST(GioNetworkNamespace, RealSourceReportsRouteLossAndReturn) {
  if (insideTestNamespace()) GTEST_SKIP() << "already inside the test namespace";
  if (geteuid() != 0) GTEST_SKIP() << "creating a network namespace needs root";
  if (runCommand("ip netns list").exitCode != 0) {
    GTEST_SKIP() << "the ip tool with netns support is not available";
  }
  TestNamespace ns;
  std::string problem = ns.create();
  if (!problem.empty()) GTEST_SKIP() << "cannot set up a network namespace: " << problem;

  std::string self = std::filesystem::read_symlink("/proc/self/exe");
  // GIO's netlink monitor is the one that follows the namespace's routes; one
  // that asks a system service would answer for the host instead.
  auto child =
      runCommand("ip netns exec " + ns.name() + " env " + kChildFlag +
                 "=1 GIO_USE_NETWORK_MONITOR=netlink " + self + " --gtest_filter='NetnsChild.*'");
  EXPECT_EQ(child.exitCode, 0) << child.output;
  EXPECT_NE(child.output.find("[  PASSED  ] 3 tests"), std::string::npos) << child.output;
}

}  // namespace
}  // namespace zent
