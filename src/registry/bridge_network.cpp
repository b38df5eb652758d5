// The listener and the fan-out of network loss and return to every player.
#include <string>

#include "player/zent_player.h"
#include "registry/bridge_player.h"
#include "support/internet_reachability.h"
#include "support/invariant.h"

namespace zent {

void BridgePlayer::SetPlayerListener(PlayerListener l) {
  storePlayerListener(l);
  InternetReachability& reachability = InternetReachability::shared();
  reachability.start();
  // Weak references: a bridge dropped at shutdown is not kept alive by the
  // monitor, and a change reported afterwards does nothing.
  std::weak_ptr<BridgePlayer> weakSelf = weak_from_this();
  reachability.setOnLost([weakSelf] {
    if (auto self = weakSelf.lock()) self->HandleNetworkFailed();
  });
  reachability.setOnRestored([weakSelf] {
    if (auto self = weakSelf.lock()) self->HandleNetworkRestored();
  });
}

// The players of slots 0 .. totalStreams-1 in order; an empty slot shows as null.
std::vector<std::shared_ptr<ZentPlayer>> BridgePlayer::playersForWalk() const {
  std::lock_guard<std::mutex> lock(mutex_);
  std::vector<std::shared_ptr<ZentPlayer>> players;
  for (int64_t i = 0; i < totalStreams; ++i) {
    if (static_cast<uint64_t>(i) >= player.size() || !player[static_cast<std::size_t>(i)]) {
      players.push_back(nullptr);
      continue;
    }
    players.push_back(player[static_cast<std::size_t>(i)]);
  }
  return players;
}

void BridgePlayer::HandleNetworkFailed() {
  auto players = playersForWalk();
  for (std::size_t i = 0; i < players.size(); ++i) {
    if (!players[i]) {
      reportBrokenInvariant("HandleNetworkFailed",
                            "slot " + std::to_string(i) + " holds no player");
      return;
    }
    players[i]->playerNetworkFailed();
  }
}

void BridgePlayer::HandleNetworkRestored() {
  auto players = playersForWalk();
  for (std::size_t i = 0; i < players.size(); ++i) {
    if (!players[i]) {
      reportBrokenInvariant("HandleNetworkRestored",
                            "slot " + std::to_string(i) + " holds no player");
      return;
    }
    players[i]->playerNetworkRestored();
  }
}

void BridgePlayer::StopNetworkMonitor() {
  InternetReachability::shared().stopMonitor();
}

}  // namespace zent
