// Host callbacks never run under a library lock: a listener that waits for the
// host's own lock cannot deadlock a host thread that is calling the library.
#include <future>

#include "player/player_test_fixture.h"

namespace zent::testing {
namespace {

std::mutex gHostMutex;
std::promise<void>* gListenerEntered = nullptr;

void blockingListener(bool, int32_t, int32_t type, int32_t, int32_t, int32_t, int32_t,
                      const char*) {
  if (type != 0) return;
  gListenerEntered->set_value();
  std::lock_guard<std::mutex> hostLock(gHostMutex);  // the host's own lock
}

using HostCallbackTest = PlayerTest;

TEST_F(HostCallbackTest, AListenerWaitingOnTheHostDoesNotBlockTheHostsCalls) {
  bridge->AddStream(false);
  std::promise<void> entered;
  gListenerEntered = &entered;
  bridge->SetPlayerListener(&blockingListener);

  std::unique_lock<std::mutex> hostLock(gHostMutex);
  bridge->OpenURI("http://example.test/a.mp4", 0, 0);
  auto item = engine->item(0);
  engine->player(0);
  // The ready event is raised on another thread and its listener blocks on the
  // host's lock, which this thread holds while it calls into the library.
  std::thread readyThread([&] { item->resolve(ItemStatus::ReadyToPlay); });
  ASSERT_EQ(entered.get_future().wait_for(std::chrono::seconds(10)), std::future_status::ready);
  auto call = std::async(std::launch::async, [&] { return bridge->getCurrentTime(0); });
  bool returned = call.wait_for(std::chrono::seconds(5)) == std::future_status::ready;
  hostLock.unlock();
  readyThread.join();
  EXPECT_TRUE(returned) << "the player's lock was held while the listener ran";
  storePlayerListener(nullptr);
}

TEST_F(HostCallbackTest, ALogCallbackMayCallBackIntoTheLibrary) {
  bridge->AddStream(false);
  static BridgePlayer* target = nullptr;
  static int64_t seenState = -2;
  target = bridge.get();
  Logger::setCallback([](int32_t, const char* line) {
    if (std::string(line).find("| Pause") != std::string::npos) {
      seenState = target->getPlayerState(0);
    }
  });
  bridge->Pause(0);
  EXPECT_EQ(seenState, 0);
}

// A host that pauses from its ready callback: the events it gets keep the order
// they were raised in (ready, autoplay's play, its own pause), and the last one
// names the state the player is in.
std::mutex gTypesMutex;
std::condition_variable gTypesChanged;
std::vector<int32_t> gTypes;
BridgePlayer* gPausingBridge = nullptr;

void pausingListener(bool, int32_t player, int32_t type, int32_t, int32_t, int32_t, int32_t,
                     const char*) {
  {
    std::lock_guard<std::mutex> lock(gTypesMutex);
    gTypes.push_back(type);
  }
  gTypesChanged.notify_all();
  if (type == 0) gPausingBridge->Pause(player);
}

TEST_F(HostCallbackTest, AListenerThatCallsBackInGetsEventsInTheOrderRaised) {
  bridge->AddStream(true);
  gPausingBridge = bridge.get();
  bridge->SetPlayerListener(&pausingListener);
  bridge->OpenURI("http://example.test/a.mp4", 0, 0);
  auto item = engine->item(0);
  engine->player(0);
  item->resolve(ItemStatus::ReadyToPlay);
  std::unique_lock<std::mutex> lock(gTypesMutex);
  gTypesChanged.wait_for(lock, std::chrono::seconds(10), [] { return gTypes.size() >= 3; });
  EXPECT_EQ(gTypes, (std::vector<int32_t>{0, 3, 4}));
  EXPECT_EQ(bridge->getPlayerState(0), static_cast<int64_t>(ZentPlayerStatus::PAUSE));
  storePlayerListener(nullptr);
}

}  // namespace
}  // namespace zent::testing
