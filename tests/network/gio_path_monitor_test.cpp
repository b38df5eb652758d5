// The system path source on GIO's GNetworkMonitor: its thread and lifecycle on
// any machine, and real route loss and return inside a private network namespace.
#include <gtest/gtest.h>
#include <unistd.h>

#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "player/scripted_engine.h"
#include "support/internet_reachability.h"
#include "support/main_queue.h"
#include "support/path_monitor.h"
#include "support/subprocess.h"

namespace zent {
namespace {

using namespace std::chrono_literals;

// The reports one monitor made, and the threads they came on.
struct Reports {
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<std::thread::id> threads;
  std::function<void(bool)> handler() {
    return [this](bool) {
      std::lock_guard<std::mutex> lock(mutex);
      threads.push_back(std::this_thread::get_id());
      changed.notify_all();
    };
  }
  bool waitForCount(std::size_t count) {
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_for(lock, 10s, [&] { return threads.size() >= count; });
  }
};

TEST(GioPathMonitor, ReportsTheStateAtStartOnceFromItsOwnThread) {
  Reports reports;
  auto monitor = makeSystemPathMonitor();
  monitor->start(reports.handler());
  monitor->start(reports.handler());  // a second start does not start again
  ASSERT_TRUE(reports.waitForCount(1)) << "no state reported at start";
  monitor->cancel();  // joins the thread: every report it will make is in
  monitor->cancel();
  ASSERT_EQ(reports.threads.size(), 1u);
  EXPECT_NE(reports.threads.front(), std::this_thread::get_id());
}

TEST(GioPathMonitor, CanBeCancelledAndDestroyedFromInsideTheHandler) {
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
    gone->cancel();  // must neither deadlock nor join itself
    gone.reset();
    destroyed.set_value();
  });
  EXPECT_EQ(destroyed.get_future().wait_for(10s), std::future_status::ready);
}

constexpr const char* kChildFlag = "ZENT_NETNS_CHILD";

bool run(const std::string& command, std::string* output = nullptr) {
  auto result = test::runProcess({"sh", "-c", command}, 60s);
  if (output) *output = result.out + result.err;
  return result.ok();
}

// Runs inside the namespace that the test below sets up: the reachability on
// the system source hears the default route go and come back, across a main
// queue restart as NativeInit, NativeShutdown, NativeInit leave it.
TEST(NetnsChild, ReachabilityReportsRouteLossAndReturnAcrossAMainQueueRestart) {
  if (!std::getenv(kChildFlag)) GTEST_SKIP() << "runs inside the namespace only";
  InternetReachability& reachability = InternetReachability::shared();
  reachability.resetForTesting();
  std::mutex mutex;
  std::condition_variable changed;
  int lost = 0, restored = 0;
  bool onMainQueue = true;
  auto note = [&](int* counter) {
    std::lock_guard<std::mutex> lock(mutex);
    ++*counter;
    onMainQueue = onMainQueue && MainQueue::isCurrentThread();
    changed.notify_all();
  };
  auto waitFor = [&](int* counter) {
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_for(lock, 10s, [&] { return *counter >= 1; });
  };
  reachability.setOnLost([&] { note(&lost); });
  reachability.setOnRestored([&] { note(&restored); });
  MainQueue::start();
  reachability.start();
  reachability.stopMonitor();
  ASSERT_TRUE(testing::drainMainQueue());  // a loop told to quit before it runs misses it
  MainQueue::stop();
  MainQueue::start();
  reachability.start();

  ASSERT_TRUE(run("ip route del default"));
  EXPECT_TRUE(waitFor(&lost));
  ASSERT_TRUE(run("ip route add default via 10.213.0.1 dev zentv0"));
  EXPECT_TRUE(waitFor(&restored));
  reachability.stopMonitor();
  ASSERT_TRUE(testing::drainMainQueue());
  std::lock_guard<std::mutex> lock(mutex);
  EXPECT_EQ(lost, 1);
  EXPECT_EQ(restored, 1);
  EXPECT_TRUE(onMainQueue);
}

TEST(GioNetworkNamespace, RealSourceReportsRouteLossAndReturn) {
  if (std::getenv(kChildFlag)) GTEST_SKIP() << "already inside the test namespace";
  if (geteuid() != 0 || !run("ip netns list")) GTEST_SKIP() << "needs root and ip netns";
  const std::string ns = "zent-net-" + std::to_string(getpid()), in = "ip -n " + ns + " ";
  std::string output;
  if (!run("ip netns add " + ns, &output)) GTEST_SKIP() << "no network namespace: " << output;
  struct Drop {
    std::string ns;
    ~Drop() { run("ip netns del " + ns); }
  } drop{ns};
  for (const std::string& step :
       {in + "link set lo up", in + "link add zentv0 type veth peer name zentv1",
        in + "link set zentv0 up", in + "link set zentv1 up",
        in + "addr add 10.213.0.2/24 dev zentv0",
        in + "route add default via 10.213.0.1 dev zentv0"}) {
    ASSERT_TRUE(run(step, &output)) << step << ": " << output;
  }
  // GIO's netlink monitor follows the namespace's routes; one that asks a
  // system service would answer for the host instead.
  std::string self = std::filesystem::read_symlink("/proc/self/exe");
  bool passed =
      run("ip netns exec " + ns + " env " + kChildFlag + "=1 GIO_USE_NETWORK_MONITOR=netlink " +
              self + " --gtest_filter='NetnsChild.*'",
          &output);
  EXPECT_TRUE(passed) << output;
  EXPECT_NE(output.find("[  PASSED  ] 1 test"), std::string::npos) << output;
}

}  // namespace
}  // namespace zent
