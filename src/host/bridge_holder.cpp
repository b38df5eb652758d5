#include "host/bridge_holder.h"

#include <mutex>

#include "registry/bridge_player.h"

namespace zent {
namespace {

std::mutex gBridgeMutex;
std::shared_ptr<BridgePlayer> gBridge;

}  // namespace

std::shared_ptr<BridgePlayer> currentBridge() {
  std::lock_guard<std::mutex> lock(gBridgeMutex);
  return gBridge;
}

std::shared_ptr<BridgePlayer> bridgeOrCreate() {
  std::lock_guard<std::mutex> lock(gBridgeMutex);
  if (!gBridge) gBridge = std::make_shared<BridgePlayer>(makeGstMediaEngine());
  return gBridge;
}

std::shared_ptr<BridgePlayer> takeBridge() {
  std::lock_guard<std::mutex> lock(gBridgeMutex);
  return std::move(gBridge);
}

}  // namespace zent
