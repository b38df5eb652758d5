// The system path source on GIO: real route loss and return in a private network
// namespace (when run as root).
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "player/scripted_engine.h"
#include "support/internet_reachability.h"
#include "support/main_queue.h"
#include "support/subprocess.h"

namespace zent {
namespace {

using namespace std::chrono_literals;

constexpr const char* kChildFlag = "ZENT_NETNS_CHILD";

bool run(const std::string& command, std::string* output = nullptr) {
  auto result = test::runProcess({"sh", "-c", command}, 60s);
  if (output) *output = result.out + result.err;
  return result.ok();
}

// Inside the namespace set up below: the default route goes and comes back, after a
// main queue restart as NativeInit, NativeShutdown, NativeInit leave it.
TEST(NetnsChild, ReachabilityReportsRouteLossAndReturnAcrossAMainQueueRestart) {
  if (!std::getenv(kChildFlag)) GTEST_SKIP() << "runs inside the namespace only";
  InternetReachability& reachability = InternetReachability::shared();
  reachability.resetForTesting();
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<std::string> seen;
  auto recorder = [&](std::string name) {
    return [&, name] {
      std::lock_guard<std::mutex> lock(mutex);
      seen.push_back(name + (MainQueue::isCurrentThread() ? "" : " off the main queue"));
      changed.notify_all();
    };
  };
  auto waitFor = [&](std::size_t count) {
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait_for(lock, 10s, [&] { return seen.size() >= count; });
    return seen;
  };
  reachability.setOnLost(recorder("lost"));
  reachability.setOnRestored(recorder("restored"));
  MainQueue::start();
  reachability.start();
  reachability.stopMonitor();
  ASSERT_TRUE(testing::drainMainQueue());  // a loop told to quit before it runs misses it
  MainQueue::stop();
  MainQueue::start();
  reachability.start();
  ASSERT_TRUE(run("ip route del default"));
  EXPECT_EQ(waitFor(1), std::vector<std::string>{"lost"});
  ASSERT_TRUE(run("ip route add default via 10.213.0.1 dev zentv0"));
  EXPECT_EQ(waitFor(2), (std::vector<std::string>{"lost", "restored"}));
  reachability.stopMonitor();
  ASSERT_TRUE(testing::drainMainQueue());
  std::lock_guard<std::mutex> lock(mutex);
  EXPECT_EQ(seen.size(), 2u);
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
  // The netlink monitor follows the namespace's routes; a system service would not.
  std::string self = std::filesystem::read_symlink("/proc/self/exe");
  EXPECT_TRUE(run("ip netns exec " + ns + " env " + kChildFlag +
                      "=1 GIO_USE_NETWORK_MONITOR=netlink " + self +
                      " --gtest_filter='NetnsChild.*'",
                  &output))
      << output;
  EXPECT_NE(output.find("[  PASSED  ] 1 test"), std::string::npos) << output;
}

}  // namespace
}  // namespace zent
