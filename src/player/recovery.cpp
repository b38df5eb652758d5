// Recovery of a stream after the network was lost and came back.
#include <cmath>

#include "player/zent_player.h"
#include "support/logger.h"

namespace zent {

double ZentPlayer::getBufferedTimeBeforeNetworkLost() {
  LibraryLock lock(mutex_);
  std::shared_ptr<PlayerItem> item = avPlayer ? avPlayer->currentItem() : nullptr;
  if (!item) return 0.0;
  std::vector<TimeRange> ranges = item->loadedTimeRanges();
  if (!ranges.empty()) {
    double end = ranges.front().startSeconds + ranges.front().durationSeconds;
    if (std::isfinite(end) && end > 0.0) return end * 1000.0;
  }
  // The position itself, not getCurrentTime(): the loss being recorded has
  // already marked the network down, so getCurrentTime() would answer the
  // position frozen at the previous loss (0 at the first one).
  if (refuseUnlessInitialized("Get Current Time")) return 0.0;
  return item->currentTimeSeconds() * 1000.0;
}

void ZentPlayer::playerNetworkFailed() {
  LibraryLock lock(mutex_);
  msBeforeLostNetwork_ = getBufferedTimeBeforeNetworkLost();
  raiseError(11);
}

void ZentPlayer::playerNetworkRestored() {
  LibraryLock lock(mutex_);
  raiseEvent(14, 0, 0, "ZENTPLAYER_EVENT_NETWORK_CONNECTED - The network has been connected");
  if (isLocalContent) return;
  std::shared_ptr<PlayerItem> item = avPlayer ? avPlayer->currentItem() : nullptr;
  if (!item || std::isnan(item->durationSeconds())) {
    // Live content starts again at the live edge: no seek back.
    prepareAgainAfterNetworkLost();
    return;
  }
  double position = item->currentTimeSeconds() * 1000.0;
  // Reopen only when playback ran past what had been buffered.
  if (msBeforeLostNetwork_ < position) prepareAgainAfterNetworkLost();
  seekAfterRestoreNetwork = true;
}

void ZentPlayer::prepareAgainAfterNetworkLost() {
  LibraryLock lock(mutex_);
  trace(" | prepareAgainAfterNetworkLost");
  if (currentURL.empty()) return;
  if (isLocalContent) mimeType = 0;
  // The old item stays until the new load replaces it.
  startLoad(currentURL, isLocalContent);
}

}  // namespace zent
