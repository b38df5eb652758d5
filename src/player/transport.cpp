// Play, seek, pause, resume, stop, release, mute, volume and rate.
#include <cmath>
#include <string>

#include "metadata/metadata_delegate.h"
#include "player/zent_player.h"
#include "render/texture_renderer.h"
#include "support/float_text.h"
#include "support/invariant.h"
#include "support/logger.h"
#include "support/numeric.h"

namespace zent {
namespace {

constexpr const char* kSeekEventText =
    "ZENTPLAYER_EVENT_PLAYBACK_SEEK - Parameter 1: OldPosition, Parameter 2: NewPosition";

}  // namespace

void ZentPlayer::Play() {
  LibraryLock lock(mutex_);
  trace(" | Play");
  if (refuseUnlessInitialized("Play")) return;
  // The rate requested by the host is applied by Resume and setPlaybackRate only.
  if (avPlayer) avPlayer->play();
  playerStatus_ = ZentPlayerStatus::PLAY;
  raiseEvent(3);
}

void ZentPlayer::Pause() {
  LibraryLock lock(mutex_);
  trace(" | Pause");
  if (refuseUnlessInitialized("Pause")) return;
  if (avPlayer) avPlayer->pause();
  playerStatus_ = ZentPlayerStatus::PAUSE;
  raiseEvent(4);
}

void ZentPlayer::Resume() {
  LibraryLock lock(mutex_);
  trace(" | Resume");
  if (refuseUnlessInitialized("Resume")) return;
  if (avPlayer) {
    avPlayer->play();
    avPlayer->setRate(speedRate);
  }
  playerStatus_ = ZentPlayerStatus::PLAY;
  raiseEvent(3);
}

void ZentPlayer::Seek(int64_t ms) {
  LibraryLock lock(mutex_);
  trace(" | Seek: " + std::to_string(ms));
  if (refuseUnlessInitialized("Seek")) return;
  double oldPosition = getCurrentTime();
  auto oldMs = truncateToInt64(oldPosition);
  if (!oldMs) {
    reportBrokenInvariant(playerLine(playerIndex_, " | Seek"),
                          "the current position is not a finite number");
    return;
  }
  if (avPlayer) avPlayer->seek(ms, true);
  // Reported at once, before the seek completes.
  raiseEvent(6, *oldMs, ms, kSeekEventText);
}

void ZentPlayer::Stop() {
  LibraryLock lock(mutex_);
  trace(" | Stop Playback");
  if (refuseUnlessInitialized("Stop")) return;
  if (avPlayer) avPlayer->seek(0, false);
  Pause();
  playerStatus_ = ZentPlayerStatus::STOP;
  raiseEvent(5);
}

void ZentPlayer::Release() {
  LibraryLock lock(mutex_);
  trace(" | Release");
  for (auto* task : {&openlocalContentTask, &openUriTask, &openDRMTask}) {
    if (*task) (*task)->cancel();
  }
  if (avPlayer) avPlayer->pause();
  if (avPlayer) {
    if (auto item = avPlayer->currentItem()) {
      if (!output || !itemMetadataOutput) {
        reportBrokenInvariant(playerLine(playerIndex_, " | Release"),
                              "the item has no video or metadata output to remove");
      } else {
        item->removeOutput(output);
        item->removeOutput(itemMetadataOutput);
      }
    }
    avPlayer.reset();
    avPlayerItem.reset();
  }
  if (metadataDelegate) {
    metadataDelegate->clear();
    metadataDelegate.reset();
  }
  if (renderManager) {
    renderManager->release();
    renderManager.reset();
  }
  playerStatus_ = ZentPlayerStatus::CLOSE;
  itemMetadataOutput.reset();
  output.reset();
  subtitleTextBuffer.reset();
  currentURL.clear();
  currentDRMToken.clear();
  isLocalContent = false;
}

void ZentPlayer::setMute(bool muted) {
  LibraryLock lock(mutex_);
  trace(std::string(" | SetMute: ") + (muted ? "true" : "false"));
  if (avPlayer) avPlayer->setMuted(muted);
}

void ZentPlayer::setVolume(float fVolume) {
  LibraryLock lock(mutex_);
  trace(" | SetVolume: " + floatText(fVolume));
  if (avPlayer) avPlayer->setVolume(fVolume);
}

void ZentPlayer::setPlaybackRate(float speed) {
  LibraryLock lock(mutex_);
  trace(" | setPlaybackRate: " + floatText(speed));
  if (refuseUnlessInitialized("setPlaybackRate")) return;
  speedRate = speed;
  if (playerStatus_ == ZentPlayerStatus::PLAY && avPlayer) avPlayer->setRate(speed);
}

float ZentPlayer::getPlaybackRate() {
  LibraryLock lock(mutex_);
  trace(" | getPlaybackRate");
  if (refuseUnlessInitialized("getPlaybackRate")) return 0.0f;
  return speedRate;
}

}  // namespace zent
