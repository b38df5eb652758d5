#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "player/media_player.h"
#include "registry/player_listener.h"

namespace zent {

class ZentPlayer;

// The one shared registry behind the exported functions: owns the players by
// slot index, validates every index the host passes and forwards to the player.
// A bad index gets a fixed value; an empty slot reached by an operation that
// needs a player is a broken invariant, answered with the same value.
//
// Slots are guarded by the bridge's lock; a player is called with that lock
// released, so a slow player call never holds up the registry.
class BridgePlayer : public std::enable_shared_from_this<BridgePlayer> {
 public:
  explicit BridgePlayer(std::shared_ptr<MediaEngine> engine);
  ~BridgePlayer();

  // Registry.
  int64_t AddStream(bool autoPlay);
  int64_t InitPlayer(int64_t playerIndex);
  int64_t GetTotalStreams() const;
  void RemoveStream(int64_t playerIndex);
  void Release(int64_t playerIndex);
  void SetPlayerStatusClose(int64_t playerIndex);
  void RemoveVideoContent(int64_t playerIndex);

  // Log settings.
  void setLogSystemLevel(int64_t logLevel);
  void setLogSystemTimestamp(bool state);
  void setLogSystemPlatform(bool state);

  // Listener and network-loss coordination.
  void SetPlayerListener(PlayerListener l);
  void HandleNetworkFailed();
  void HandleNetworkRestored();
  void StopNetworkMonitor();

  // Opening.
  int64_t OpenLocalContent(const std::string& localUri, int64_t playerIndex);
  int64_t OpenURI(const std::string& uri, int64_t playerIndex, int64_t mimeType);
  int64_t setAdditionalHttpHeader(const std::string& header, const std::string& url,
                                  int64_t playerIndex);
  int64_t setLowLatency(bool enable, int64_t val, int64_t playerIndex);

  // Transport.
  int64_t StartPlayback(int64_t startTime, int64_t playerIndex);
  int64_t Seek(int64_t ms, int64_t playerIndex);
  int64_t Pause(int64_t playerIndex);
  int64_t Resume(int64_t playerIndex);
  int64_t Stop(int64_t playerIndex);
  int64_t setMute(bool muted, int64_t playerIndex);
  int64_t setVolume(float fVolume, int64_t playerIndex);
  void setPlaybackRate(float speed, int64_t playerIndex);
  float getPlaybackRate(int64_t playerIndex);

  // State and time.
  int64_t getPlayerState(int64_t playerIndex);
  double getTotalTime(int64_t playerIndex);
  double getCurrentTime(int64_t playerIndex);
  double getProgramDateTimeEpoch(int64_t playerIndex);
  int64_t getVideoHeight(int64_t playerIndex);
  int64_t getVideoWidth(int64_t playerIndex);

  // Video variants.
  int64_t getTrackCount(int64_t playerIndex);
  std::string getTrackID(int64_t playerIndex, int64_t trackIndex);
  int64_t getTrackBitrate(int64_t playerIndex, int64_t trackIndex);
  int64_t getTrackWidth(int64_t playerIndex, int64_t trackIndex);
  int64_t getTrackHeight(int64_t playerIndex, int64_t trackIndex);
  float getTrackFrameRate(int64_t playerIndex, int64_t trackIndex);
  void SelectTrack(int64_t playerIndex, int64_t trackIndex);
  float GetTrackRotation(int64_t playerIndex, int64_t trackWidth, int64_t trackHeight);
  void SetMaxBitrate(int64_t playerIndex, int64_t bitrate);
  void SetMinBitrate(int64_t playerIndex, int64_t bitrate);

  // Audio and captions.
  int64_t getAudioStreamStreamCount(int64_t playerIndex);
  int64_t getCaptionStreamCount(int64_t playerIndex);
  std::string getAudioStreamName(int64_t id, int64_t playerIndex);
  std::string getAudioStreamLanguage(int64_t id, int64_t playerIndex);
  std::string getCaptionStreamName(int64_t id, int64_t playerIndex);
  std::string getCaptionStreamLanguage(int64_t id, int64_t playerIndex);
  int64_t getCaptionStreamID(int64_t id, int64_t playerIndex);
  void setAudioStream(int64_t id, int64_t playerIndex);
  void setCaptionStream(int64_t id, int64_t playerIndex);
  void enableCaptions(bool enabled, int64_t playerIndex);
  int64_t getCaptionEncodingType(int64_t playerIndex);

  // Subtitles.
  bool openExternalSubtitles(const std::string& subUrl, int64_t playerIndex);
  std::string updateSubtitle(int64_t playerIndex);

  // Timed metadata.
  int64_t getMilisecondsEndBuffered(int64_t playerIndex);
  void* getTimedMetadata(int64_t metaInfo, int64_t playerIndex);
  void* getExtraMetadataInfo(int64_t metaInfo, int64_t playerIndex);
  int64_t setTimedMetadata_CustomTag(const std::string& tags, int64_t playerIndex);
  int64_t getTimedMetadata_EndodingType(int64_t type, const std::string& tagId,
                                        int64_t playerIndex);
  int64_t getTimedMetadata_DataByte(int64_t type, const std::string& tagId, uint8_t tagData,
                                    int64_t playerIndex);
  std::string getID3Field(int64_t playerIndex, int64_t field);

  // Video texture.
  void* GetTexture(int64_t playerIndex);
  void CleanVideoTexture(int64_t playerIndex);

  // The player of a slot (tests and the network walk); null for a bad index or empty slot.
  std::shared_ptr<ZentPlayer> playerAt(int64_t playerIndex) const;

 private:
  struct Slot {
    bool valid = false;  // the index names a slot
    std::shared_ptr<ZentPlayer> player;
  };
  Slot slot(int64_t playerIndex) const;
  // The player of a valid, filled slot; null (after reporting an empty slot as a
  // broken invariant) otherwise. badIndex tells the two apart for the caller.
  std::shared_ptr<ZentPlayer> requirePlayer(int64_t playerIndex, const char* operation,
                                            bool& badIndex) const;
  std::vector<std::shared_ptr<ZentPlayer>> playersForWalk() const;
  // Calls call(player) for a filled slot. A bad index gives failure; an empty slot
  // is a broken invariant, also answered with failure.
  template <typename R, typename F>
  R forward(int64_t playerIndex, const char* operation, R failure, F&& call) const;
  // As forward, but an empty slot quietly gives emptySlot.
  template <typename R, typename F>
  R forwardOrDefault(int64_t playerIndex, R badIndex, R emptySlot, F&& call) const;

  std::shared_ptr<MediaEngine> engine_;
  mutable std::mutex mutex_;  // guards player and totalStreams
  std::vector<std::shared_ptr<ZentPlayer>> player;
  int64_t totalStreams = 0;
};

}  // namespace zent
