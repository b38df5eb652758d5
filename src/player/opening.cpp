// Opening content: the asynchronous load of a URL or a local file.
#include <string>

#include "platform/manifest/manifest_reader.h"
#include "player/zent_player.h"
#include "registry/bridge_player.h"
#include "support/invariant.h"
#include "support/logger.h"
#include "support/main_queue.h"
#include "support/url.h"

namespace zent {
namespace {

// How long a load waits for the engine to know the content's streams before it
// builds the rendition lists from what it has.
constexpr double kResolveTimeoutSeconds = 30.0;

}  // namespace

int64_t ZentPlayer::OpenURI(const std::string& uri, int64_t mime) {
  LibraryLock lock(mutex_);
  mimeType = mime;
  startLoad(uri, false);
  return 0;
}

int64_t ZentPlayer::OpenLocalContent(const std::string& localUri) {
  LibraryLock lock(mutex_);
  mimeType = 0;
  startLoad(localUri, true);
  return 0;
}

void ZentPlayer::startLoad(const std::string& source, bool local) {
  // The task's body starts by taking this player's lock, which the caller
  // holds, so the handle is stored before the load can clear it.
  std::weak_ptr<ZentPlayer> weakSelf = weak_from_this();
  auto task = LoadTask::start([weakSelf, source, local](LoadTask& running) {
    auto self = weakSelf.lock();
    return self ? self->runLoad(running, source, local) : -1;
  });
  (local ? openlocalContentTask : openUriTask) = std::move(task);
}

int ZentPlayer::runLoad(LoadTask& task, const std::string& source, bool local) {
  std::shared_ptr<LoadTask>& handle = local ? openlocalContentTask : openUriTask;
  std::shared_ptr<PlayerItem> item;
  std::string url;
  int64_t selector = 0;
  {
    LibraryLock lock(mutex_);
    // A released player has no metadata delegate: opening makes it usable again.
    if (!metadataDelegate) {
      auto bridge = bridgePlayer.lock();
      if (!bridge) {
        reportBrokenInvariant(playerLine(playerIndex_, " | Open"), "the player has no bridge");
        return -1;
      }
      if (Init(playerIndex_, bridge) == -1) return -1;
    }
    InitVideoOutput(source);
    if (local) isLocalContent = true;
    std::optional<std::string> parsed = local ? fileUrlFromPath(source) : parseUrl(source);
    if (!parsed) {
      reportBrokenInvariant(playerLine(playerIndex_, " | Open"),
                            "\"" + source + "\" does not parse as a URL");
      handle.reset();
      return -1;
    }
    url = *parsed;
    avPlayerItem = engine_->makeItem(url);
    if (playerStatus_ == ZentPlayerStatus::CLOSE || !output || !itemMetadataOutput ||
        !legibleOutput_) {
      handle.reset();
      return -1;
    }
    avPlayerItem->addOutput(output);
    avPlayerItem->addOutput(itemMetadataOutput);
    avPlayerItem->addOutput(legibleOutput_);
    InitObservers();
    avPlayer = engine_->makePlayer(avPlayerItem);
    avPlayer->setVolume(1.0f);
    mediaCharacteristics = true;
    item = avPlayerItem;
    selector = mimeType;
  }

  // The slow steps run without the lock: the manifest download and the wait for
  // the engine to know the content's streams.
  FetchOptions options;
  options.cancelFlag = &task.cancelFlag();
  ManifestInfo manifest = readManifest(url, selector, options);
  item->waitUntilResolved(kResolveTimeoutSeconds, &task.cancelFlag());

  LibraryLock lock(mutex_);
  finishLoadTables(item, manifest);
  handle.reset();
  return 0;
}

void ZentPlayer::finishLoadTables(const std::shared_ptr<PlayerItem>& item,
                                  const ManifestInfo& manifest) {
  if (item != avPlayerItem) return;  // a later load has replaced this item
  initTracks(manifest);
  initAudio(manifest);
  initSubtitles(manifest);
  tablesReadFor_ = item;
  // When the item became ready while the tables were read, its ready event is
  // raised now, on the main queue like every other ready event.
  std::weak_ptr<ZentPlayer> weakSelf = weak_from_this();
  MainQueue::post([weakSelf] {
    if (auto self = weakSelf.lock()) {
      LibraryLock selfLock(self->mutex_);
      self->raiseReadyWhenTablesRead();
    }
  });
}

}  // namespace zent
