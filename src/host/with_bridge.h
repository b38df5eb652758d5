#pragma once

#include "host/bridge_holder.h"
#include "registry/bridge_player.h"

namespace zent {

// Runs call(bridge) when a bridge exists; otherwise answers the export's no-bridge value.
template <typename R, typename F>
R withBridge(R noBridge, F&& call) {
  auto bridge = currentBridge();
  return bridge ? call(*bridge) : noBridge;
}

template <typename F>
void withBridge(F&& call) {
  if (auto bridge = currentBridge()) call(*bridge);
}

}  // namespace zent
