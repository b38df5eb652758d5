#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "player/media_player.h"
#include "player/player_info.h"
#include "player/track_info.h"
#include "support/deferred_delivery.h"
#include "support/load_task.h"

namespace zent {

class BridgePlayer;
class TextureRenderer;
class SRTSubtitles;
class MetadataDelegate;
struct ManifestInfo;

// The options of one media selection group (audible or legible), in the
// engine's order, with the names and language tags shown to the host.
struct MediaSelectionGroup {
  MediaCharacteristic characteristic = MediaCharacteristic::Audible;
  std::vector<MediaStreamInfo> options;
};

// The per-stream player: one per bridge slot, addressed by playerIndex.
//
// Threads: the host calls in on its own thread, item happenings and caption and
// metadata deliveries arrive on the main queue, loads run on worker threads.
// Every member function takes the player's lock; events and log lines made
// under it reach the host after it is released.
class ZentPlayer : public PlayerItemDelegate, public std::enable_shared_from_this<ZentPlayer> {
 public:
  explicit ZentPlayer(std::shared_ptr<MediaEngine> engine);
  ~ZentPlayer() override;

  // Lifecycle and observers.
  int64_t Init(int64_t index, std::shared_ptr<BridgePlayer> bridge);
  void InitVideoOutput(const std::string& videoURL);
  void InitObservers();
  void itemStatusChanged(PlayerItem& item, ItemStatus status) override;
  void itemDidPlayToEnd(PlayerItem& item) override;

  // Opening content.
  int64_t OpenURI(const std::string& uri, int64_t mimeType);
  int64_t OpenLocalContent(const std::string& localUri);

  // Transport.
  void Play();
  void Seek(int64_t ms);
  void Pause();
  void Resume();
  void Stop();
  void Release();
  void setMute(bool muted);
  void setVolume(float fVolume);
  void setPlaybackRate(float speed);
  float getPlaybackRate();

  // Network recovery.
  double getBufferedTimeBeforeNetworkLost();
  void playerNetworkFailed();
  void playerNetworkRestored();
  void prepareAgainAfterNetworkLost();

  // Time and video tracks.
  double getTotalTime();
  double getCurrentTime();
  double getProgramDateTimeEpoch();
  PlayerInfo::videoSizeInfo getVideoSize();
  int64_t getVideoTrackCount(int64_t playerIndex);
  std::string getTrackId(int64_t playerIndex, int64_t trackIndex);
  int64_t getTrackBitrate(int64_t playerIndex, int64_t trackIndex);
  int64_t getTrackWidth(int64_t playerIndex, int64_t trackIndex);
  int64_t getTrackHeight(int64_t playerIndex, int64_t trackIndex);
  float getTrackFrameRate(int64_t playerIndex, int64_t trackIndex);
  void selectTrack(int64_t trackIndex);
  float getTrackRotation(int64_t trackWidth, int64_t trackHeight);

  // Audio and caption renditions.
  int64_t audioStreamCount();
  int64_t captionStreamCount();
  std::string getAudioStreamName(int64_t id);
  std::string getAudioStreamLanguage(int64_t id);
  void setAudioStream(int64_t id);
  void enableCaptions(bool enabled);
  int64_t getCaptionStreamID(int64_t id);
  std::string getCaptionStreamName(int64_t id);
  std::string getCaptionStreamLanguage(int64_t id);
  void setCaptionStream(int64_t id);
  void legibleOutput(const std::vector<std::string>& strings);
  void itemLegibleOptionsChanged(PlayerItem& item) override;

  // External subtitles.
  bool openExternalSubtitles(const std::string& subsURL);
  std::string updateSubtitle();

  // Video texture: the GL texture name, or 0.
  uintptr_t getTexture();
  void cleanVideoTexture();

  // Timed metadata: field n of the ID3 record in declaration order, "" when unknown.
  std::string id3Field(int64_t field);

  // State read by the bridge.
  ZentPlayerStatus playerStatus() const;
  void setPlayerStatus(ZentPlayerStatus status);
  int64_t playerIndex() const;
  void setPlayerIndex(int64_t index);
  void setAutoPlay(bool autoPlay);
  void setMimeType(int64_t mimeType);
  double msBeforeLostNetwork() const;
  bool isInitialized() const;

 private:
  using Lock = std::recursive_mutex;

  // Load steps; the procedure is in opening.cpp.
  int runLoad(LoadTask& task, const std::string& source, bool local);
  void startLoad(const std::string& source, bool local);
  void finishLoadTables(const std::shared_ptr<PlayerItem>& item, const ManifestInfo& manifest);
  void handleReady();
  void raiseReadyWhenTablesRead();
  void initTracks(const ManifestInfo& manifest);
  void initAudio(const ManifestInfo& manifest);
  void initSubtitles(const ManifestInfo& manifest);
  std::optional<MediaSelectionGroup> selectionGroup(MediaCharacteristic kind,
                                                    const ManifestInfo& manifest) const;
  static std::shared_ptr<TextureRenderer> makeRenderer();
  bool refuseUnlessInitialized(const char* operation) const;
  void trace(const std::string& text) const;
  void raiseEvent(int64_t type, int64_t param1 = 0, int64_t param2 = 0,
                  const std::string& text = "") const;
  void raiseError(int64_t type) const;

  mutable Lock mutex_;
  std::shared_ptr<MediaEngine> engine_;

  // Fields in the order hosts of the reference know them.
  // Weak: the bridge owns its players, and a player only needs it to re-initialise.
  std::weak_ptr<BridgePlayer> bridgePlayer;
  std::shared_ptr<MediaPlayer> avPlayer;
  std::shared_ptr<PlayerItem> avPlayerItem;
  std::shared_ptr<VideoOutput> output;
  std::shared_ptr<MetadataOutput> itemMetadataOutput;
  bool mediaCharacteristics = false;
  bool autoPlay = false;
  bool initialized = false;
  std::shared_ptr<TextureRenderer> renderManager;
  std::shared_ptr<SRTSubtitles> SRTsubs;
  bool externalSubtitles = false;
  std::shared_ptr<MetadataDelegate> metadataDelegate;
  std::string currentURL;
  std::string currentDRMToken;
  bool isLocalContent = false;
  ZentPlayerStatus playerStatus_ = ZentPlayerStatus::NONE;
  std::vector<TrackInfo> tracksList;
  double currentTime = 0.0;
  int64_t audioCount = 0;
  int64_t audioID = 0;
  std::optional<MediaSelectionGroup> groupAudible;
  std::optional<std::vector<std::string>> audioName;
  std::optional<std::vector<std::string>> audioLanguage;
  std::shared_ptr<LegibleOutput> legibleOutput_;
  std::optional<std::string> subtitleTextBuffer;
  int64_t captionCount = 0;
  int64_t captionID = 0;
  std::optional<MediaSelectionGroup> groupLegible;
  std::optional<std::vector<std::string>> captionName;
  std::optional<std::vector<std::string>> captionLanguage;
  int64_t playerIndex_ = 0;
  float speedRate = 1.0f;
  bool observer = false;
  double msBeforeLostNetwork_ = 0.0;
  bool seekAfterRestoreNetwork = false;
  std::shared_ptr<LoadTask> openlocalContentTask;
  std::shared_ptr<LoadTask> openUriTask;
  std::shared_ptr<LoadTask> openDRMTask;
  int64_t mimeType = 0;

  // The item whose track and rendition tables have been read: its ready event
  // waits for them, so a host can query tracks as soon as it is told "ready".
  std::weak_ptr<PlayerItem> tablesReadFor_;
  // The item whose ready event has been raised (once per item).
  std::weak_ptr<PlayerItem> readyRaisedFor_;
  // Latest program date-time source for the open content.
  std::string variantPlaylistForDate_;
};

}  // namespace zent
