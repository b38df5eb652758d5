// Exports: lifecycle, version, log settings.
#include "host/host_text.h"
#include "host/with_bridge.h"
#include "support/load_task.h"
#include "support/logger.h"
#include "support/main_queue.h"
#include "zentplayer.h"

using namespace zent;

extern "C" {

const double ZentPlayeriOSVersionNumber = 1.0;
const unsigned char ZentPlayeriOSVersionString[] =
    "@(#)PROGRAM:ZentPlayeriOS  PROJECT:ZentPlayeriOS-1\n";

void NativeInit(ZentPlayerListener listener) {
  MainQueue::start();
  bridgeOrCreate()->SetPlayerListener(listener);
}

void NativeShutdown(void) {
  auto bridge = takeBridge();
  if (!bridge) return;
  bridge->StopNetworkMonitor();
  for (int64_t i = 0; bridge->GetTotalStreams() > i; ++i) {
    if (bridge->playerAt(i)) bridge->Release(i);
  }
  LoadTask::cancelAndJoinAll();
  bridge.reset();
  MainQueue::stop();
}

int64_t NativeAddStream(int32_t autoPlay) {
  // The player's initialisation result, as a 32-bit value widened again.
  return withBridge<int64_t>(-1, [&](BridgePlayer& b) {
    return static_cast<int64_t>(static_cast<int32_t>(b.AddStream(autoPlay != 0)));
  });
}

int64_t NativeGetTotalStreams(void) {
  return withBridge<int64_t>(-1, [](BridgePlayer& b) { return b.GetTotalStreams(); });
}

void NativeClose(int32_t idx) {
  withBridge([&](BridgePlayer& b) { b.SetPlayerStatusClose(idx); });
}

void NativeRemoveVideoContent(int32_t idx) {
  withBridge([&](BridgePlayer& b) { b.RemoveVideoContent(idx); });
}

void NativeRemoveStream(int32_t idx) {
  withBridge([&](BridgePlayer& b) { b.RemoveStream(idx); });
}

char* NativeGetVersion(void) {
  return withBridge<char*>(constantEmptyText(), [](BridgePlayer&) { return heapText("1.0"); });
}

void NativeSetLogSystemLevel(int32_t level) {
  withBridge([&](BridgePlayer& b) { b.setLogSystemLevel(level); });
}

void NativeSetLogSystemTimestamp(bool state) {
  withBridge([&](BridgePlayer& b) { b.setLogSystemTimestamp(state); });
}

void NativeSetLogSystemPlatform(bool state) {
  withBridge([&](BridgePlayer& b) { b.setLogSystemPlatform(state); });
}

// Works with or without a bridge: hosts install it before NativeInit to see every line.
void NativeSetLogCallback(ZentPlayerLogCallback callback) {
  Logger::setCallback(callback);
}

}  // extern "C"
