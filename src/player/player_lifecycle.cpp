// Construction, Init, outputs and observers, and the item's ready and end handlers.
#include <string>

#include "metadata/metadata_delegate.h"
#include "player/zent_player.h"
#include "registry/player_listener.h"
#include "render/texture_renderer.h"
#include "subtitles/srt_subtitles.h"
#include "support/invariant.h"
#include "support/logger.h"
#include "support/main_queue.h"
#include "support/numeric.h"

namespace zent {

ZentPlayer::ZentPlayer(std::shared_ptr<MediaEngine> engine) : engine_(std::move(engine)) {}

ZentPlayer::~ZentPlayer() = default;

int64_t ZentPlayer::Init(int64_t index, std::shared_ptr<BridgePlayer> bridge) {
  LibraryLock lock(mutex_);
  playerIndex_ = index;
  bridgePlayer = bridge;
  playerStatus_ = ZentPlayerStatus::NONE;
  SRTsubs.reset();
  metadataDelegate = std::make_shared<MetadataDelegate>();
  if (renderManager) return 1;
  renderManager = makeRenderer();
  return renderManager->metalInit() == 0 ? 0 : -1;
}

void ZentPlayer::InitVideoOutput(const std::string& videoURL) {
  LibraryLock lock(mutex_);
  if (playerStatus_ == ZentPlayerStatus::CLOSE) return;
  std::weak_ptr<ZentPlayer> weakSelf = weak_from_this();
  output = engine_->makeVideoOutput();
  itemMetadataOutput = engine_->makeMetadataOutput([weakSelf](const std::vector<uint8_t>& tag) {
    if (auto self = weakSelf.lock()) {
      LibraryLock selfLock(self->mutex_);
      if (self->metadataDelegate) self->metadataDelegate->metadataOutput(tag);
    }
  });
  legibleOutput_ = engine_->makeLegibleOutput([weakSelf](const std::vector<std::string>& strings) {
    if (auto self = weakSelf.lock()) self->legibleOutput(strings);
  });
  currentURL = videoURL;
}

void ZentPlayer::InitObservers() {
  LibraryLock lock(mutex_);
  if (playerStatus_ == ZentPlayerStatus::CLOSE) return;
  // The item reports its status changes and its end to this player on the main
  // queue; the end handler ignores items that are no longer current.
  if (avPlayerItem) {
    avPlayerItem->setDelegate(std::static_pointer_cast<PlayerItemDelegate>(shared_from_this()));
    observer = true;
  } else {
    observer = false;
  }
}

void ZentPlayer::itemStatusChanged(PlayerItem& item, ItemStatus status) {
  LibraryLock lock(mutex_);
  if (&item != avPlayerItem.get()) return;  // an item this player has replaced
  if (status == ItemStatus::Failed) {
    logPlayer(LogLevel::ERROR, playerIndex_,
              " | Cannot play " + item.url() + ": " + item.failureReason());
    return;
  }
  if (status == ItemStatus::ReadyToPlay) raiseReadyWhenTablesRead();
}

// Raises the ready event of the current item once it is ready and its tables
// have been read, whichever of the two comes last.
void ZentPlayer::raiseReadyWhenTablesRead() {
  if (!avPlayerItem || avPlayerItem->status() != ItemStatus::ReadyToPlay) return;
  if (tablesReadFor_.lock() != avPlayerItem || readyRaisedFor_.lock() == avPlayerItem) return;
  handleReady();
}

void ZentPlayer::handleReady() {
  readyRaisedFor_ = avPlayerItem;
  raiseEvent(0, 2, 0);
  initialized = true;
  if (autoPlay) {
    Play();
    playerStatus_ = ZentPlayerStatus::PLAY;
  }
  if (seekAfterRestoreNetwork) {
    auto position = truncateToInt64(msBeforeLostNetwork_);
    if (!position) {
      reportBrokenInvariant(playerLine(playerIndex_, " | seek after network restore"),
                            "the recorded position is not a finite number");
    } else {
      Seek(*position);
    }
    seekAfterRestoreNetwork = false;
  }
}

void ZentPlayer::itemDidPlayToEnd(PlayerItem& item) {
  LibraryLock lock(mutex_);
  if (!avPlayer || avPlayer->currentItem().get() != &item) return;
  raiseEvent(20);
}

ZentPlayerStatus ZentPlayer::playerStatus() const {
  LibraryLock lock(mutex_);
  return playerStatus_;
}

void ZentPlayer::setPlayerStatus(ZentPlayerStatus status) {
  LibraryLock lock(mutex_);
  playerStatus_ = status;
}

int64_t ZentPlayer::playerIndex() const {
  LibraryLock lock(mutex_);
  return playerIndex_;
}

void ZentPlayer::setPlayerIndex(int64_t index) {
  LibraryLock lock(mutex_);
  playerIndex_ = index;
}

void ZentPlayer::setAutoPlay(bool value) {
  LibraryLock lock(mutex_);
  autoPlay = value;
}

void ZentPlayer::setMimeType(int64_t value) {
  LibraryLock lock(mutex_);
  mimeType = value;
}

double ZentPlayer::msBeforeLostNetwork() const {
  LibraryLock lock(mutex_);
  return msBeforeLostNetwork_;
}

bool ZentPlayer::isInitialized() const {
  LibraryLock lock(mutex_);
  return initialized;
}

bool ZentPlayer::refuseUnlessInitialized(const char* operation) const {
  if (initialized) return false;
  logPlayer(LogLevel::ERROR, playerIndex_,
            std::string(" | Cannot perform ") + operation +
                " function because the content has not been loaded yet. Please wait until "
                "EventPlaybackReady is launched");
  return true;
}

void ZentPlayer::trace(const std::string& text) const {
  logPlayer(LogLevel::DEBUG, playerIndex_, text);
}

void ZentPlayer::raiseEvent(int64_t type, int64_t param1, int64_t param2,
                            const std::string& text) const {
  sendMsgToListener(false, playerIndex_, type, param1, param2, 0, 1, text);
}

void ZentPlayer::raiseError(int64_t type) const {
  sendMsgToListener(true, playerIndex_, type, 0, 0, 0, 1, "");
}

}  // namespace zent
