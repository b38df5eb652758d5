// Host callbacks never run under a library lock; a host may call back in from them.
#include <future>

#include "player/player_test_fixture.h"

namespace zent::testing {
namespace {

std::mutex gHostMutex;
std::promise<void>* gListenerEntered = nullptr;
BridgePlayer* gBridge = nullptr;

void blockingListener(bool, int32_t, int32_t type, int32_t, int32_t, int32_t, int32_t,
                      const char*) {
  if (type != 0) return;
  gListenerEntered->set_value();
  std::lock_guard<std::mutex> hostLock(gHostMutex);
}

void pausingListener(bool isError, int32_t player, int32_t type, int32_t p1, int32_t p2, int32_t p3,
                     int32_t p4, const char* text) {
  eventRecorderListener(isError, player, type, p1, p2, p3, p4, text);
  if (type == 0) gBridge->Pause(player);
}

using HostCallbackTest = PlayerTest;

TEST_F(HostCallbackTest, AListenerWaitingOnTheHostDoesNotBlockTheHostsCalls) {
  bridge->AddStream(false);
  std::promise<void> entered;
  gListenerEntered = &entered;
  bridge->SetPlayerListener(&blockingListener);
  std::unique_lock<std::mutex> hostLock(gHostMutex);
  bridge->OpenURI("http://example.test/a.mp4", 0, 0);
  ASSERT_TRUE(engine->player(0));
  engine->item(0)->resolve(ItemStatus::ReadyToPlay);
  ASSERT_EQ(entered.get_future().wait_for(10s), std::future_status::ready);
  auto call = std::async(std::launch::async, [&] { return bridge->getCurrentTime(0); });
  bool returned = call.wait_for(5s) == std::future_status::ready;
  hostLock.unlock();
  EXPECT_TRUE(returned) << "the player's lock was held while the listener ran";
}

TEST_F(HostCallbackTest, ALogCallbackMayCallBackIntoTheLibrary) {
  bridge->AddStream(false);
  static int64_t seenState = -2;
  gBridge = bridge.get();
  Logger::setCallback([](int32_t, const char* line) {
    if (std::string(line).find("| Pause") != std::string::npos)
      seenState = gBridge->getPlayerState(0);
  });
  bridge->Pause(0);
  EXPECT_EQ(seenState, 0);
}

// Pausing from the ready callback: ready, autoplay's play, the pause, in that order.
TEST_F(HostCallbackTest, AListenerThatCallsBackInGetsEventsInTheOrderRaised) {
  bridge->AddStream(true);
  gBridge = bridge.get();
  bridge->SetPlayerListener(&pausingListener);
  openReady(0, "http://example.test/a.mp4");
  ASSERT_TRUE(eventRecorder().waitFor(isEvent(0, 4), 10s));
  EXPECT_EQ(types(), (std::vector<int32_t>{0, 3, 4}));
  EXPECT_EQ(bridge->getPlayerState(0), static_cast<int64_t>(ZentPlayerStatus::PAUSE));
}

}  // namespace
}  // namespace zent::testing
