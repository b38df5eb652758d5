// Total, current and program date-time, and the presented video size.
#include <cmath>
#include <limits>

#include "player/zent_player.h"
#include "render/texture_renderer.h"
#include "support/internet_reachability.h"
#include "support/invariant.h"
#include "support/logger.h"
#include "support/numeric.h"

namespace zent {

double ZentPlayer::getTotalTime() {
  LibraryLock lock(mutex_);
  if (refuseUnlessInitialized("Get Total Time")) return 0.0;
  std::shared_ptr<PlayerItem> item = avPlayer ? avPlayer->currentItem() : nullptr;
  // Live or unknown durations come back as NaN and are passed on as they are;
  // without an item the duration is 0/0 seconds.
  double seconds = item ? item->durationSeconds() : std::numeric_limits<double>::quiet_NaN();
  return seconds * 1000.0;
}

double ZentPlayer::getCurrentTime() {
  LibraryLock lock(mutex_);
  if (refuseUnlessInitialized("Get Current Time")) return 0.0;
  std::shared_ptr<PlayerItem> item = avPlayer ? avPlayer->currentItem() : nullptr;
  double value = item ? item->currentTimeSeconds() * 1000.0 : 0.0;
  // While the network is down, streamed content reports the position where its
  // buffer ended, so the host does not see time run past what can be played.
  if (!InternetReachability::shared().isConnected() && !isLocalContent &&
      msBeforeLostNetwork_ < value) {
    return msBeforeLostNetwork_;
  }
  return value;
}

double ZentPlayer::getProgramDateTimeEpoch() {
  LibraryLock lock(mutex_);
  trace(" | Get Program Date Time Epoch");
  if (refuseUnlessInitialized("Get Program Date Time Epoch")) return 0.0;
  std::shared_ptr<PlayerItem> item = avPlayer ? avPlayer->currentItem() : nullptr;
  std::optional<double> date = item ? item->currentDateEpochSeconds() : std::nullopt;
  if (!date) {
    logPlayer(LogLevel::ERROR, playerIndex_,
              " | Cannot get the PDT because the content is not HLS PDT or not available yet");
    return 0.0;
  }
  return *date;
}

PlayerInfo::videoSizeInfo ZentPlayer::getVideoSize() {
  LibraryLock lock(mutex_);
  if (!initialized || !renderManager) return {};
  std::shared_ptr<PlayerItem> item = avPlayer ? avPlayer->currentItem() : nullptr;
  Size2D size = item ? item->presentationSize() : Size2D{};
  auto height = truncateToInt64(size.height);
  auto width = truncateToInt64(size.width);
  if (!height || !width) {
    return brokenInvariant(playerLine(playerIndex_, " | getVideoSize"),
                           "the presented size is not a finite number",
                           PlayerInfo::videoSizeInfo{});
  }
  // The presented size overrides the size the renderer took from the last frame.
  auto& videoSize = renderManager->videoSize;
  if (!videoSize) {
    return brokenInvariant(playerLine(playerIndex_, " | getVideoSize"),
                           "the renderer has no video size", PlayerInfo::videoSizeInfo{});
  }
  videoSize->height = *height;
  videoSize->width = *width;
  return *videoSize;
}

}  // namespace zent
