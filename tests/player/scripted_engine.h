#pragma once

// A media engine whose every answer the test decides: items resolve when the
// test says so, time is what the test sets, and every call is recorded.

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "player/media_player.h"

namespace zent::testing {

class ScriptedVideoOutput : public VideoOutput {
 public:
  bool hasNewPixelBuffer(double) override { return false; }
  std::shared_ptr<PixelBuffer> copyPixelBuffer(double) override { return nullptr; }
};

class ScriptedMetadataOutput : public MetadataOutput {
 public:
  explicit ScriptedMetadataOutput(Sink sink) : sink(std::move(sink)) {}
  Sink sink;
};

class ScriptedLegibleOutput : public LegibleOutput {
 public:
  explicit ScriptedLegibleOutput(Sink sink) : sink(std::move(sink)) {}
  Sink sink;
};

class ScriptedItem : public PlayerItem {
 public:
  explicit ScriptedItem(std::string url) : url_(std::move(url)) {}

  // Sets the status, wakes a waiting load and tells the delegate, as the
  // engine's main queue would.
  void resolve(ItemStatus status, std::string reason = "");
  void finishPlaying();

  const std::string& url() const override { return url_; }
  ItemStatus status() const override;
  std::string failureReason() const override;
  ItemStatus waitUntilResolved(double timeoutSeconds, const std::atomic<bool>* cancel) override;
  void setDelegate(std::weak_ptr<PlayerItemDelegate> delegate) override;

  void addOutput(std::shared_ptr<VideoOutput> output) override;
  void removeOutput(const std::shared_ptr<VideoOutput>& output) override;
  void addOutput(std::shared_ptr<MetadataOutput> output) override;
  void removeOutput(const std::shared_ptr<MetadataOutput>& output) override;
  void addOutput(std::shared_ptr<LegibleOutput> output) override;

  double durationSeconds() const override;
  double currentTimeSeconds() const override;
  std::optional<double> currentDateEpochSeconds() const override;
  std::vector<TimeRange> loadedTimeRanges() const override;
  Size2D presentationSize() const override;
  std::vector<VideoTrackGeometry> videoTracks() const override;

  void setPreferredPeakBitRate(double bitsPerSecond) override;
  void setPreferredMaximumResolution(Size2D size) override;
  void applyPreferences() override;

  std::vector<MediaStreamInfo> mediaStreams(MediaCharacteristic kind) const override;
  void select(MediaCharacteristic kind, std::optional<std::size_t> index) override;

  // What the test scripts; guarded by mutex.
  mutable std::mutex mutex;
  double duration = 10.0;
  double position = 0.0;
  std::optional<double> date;
  std::vector<TimeRange> ranges;
  Size2D size{1280, 720};
  std::vector<VideoTrackGeometry> tracks;
  std::vector<MediaStreamInfo> audio;
  std::vector<MediaStreamInfo> text;
  // What the player did.
  double peakBitRate = 0;
  Size2D maximumResolution;
  int applyCount = 0;
  std::vector<std::string> selections;  // "audio:1", "text:none"
  int videoOutputs = 0;
  int metadataOutputs = 0;
  std::shared_ptr<ScriptedLegibleOutput> legible;
  std::shared_ptr<ScriptedMetadataOutput> metadata;

 private:
  std::string url_;
  ItemStatus status_ = ItemStatus::Unknown;
  std::string reason_;
  std::condition_variable resolved_;
  std::weak_ptr<PlayerItemDelegate> delegate_;
};

class ScriptedPlayer : public MediaPlayer {
 public:
  explicit ScriptedPlayer(std::shared_ptr<ScriptedItem> item) : item_(std::move(item)) {}
  std::shared_ptr<PlayerItem> currentItem() const override { return item_; }
  void play() override;
  void pause() override;
  void setRate(float rate) override;
  float rate() const override;
  void seek(int64_t milliseconds, bool exact) override;
  void setVolume(float volume) override;
  void setMuted(bool muted) override;
  double currentTimeSeconds() const override { return item_->currentTimeSeconds(); }

  // The calls in order: "play", "pause", "rate:2", "seek:5000:exact", "volume:0.5", "muted:1".
  std::vector<std::string> calls() const;

 private:
  void record(std::string call);
  std::shared_ptr<ScriptedItem> item_;
  mutable std::mutex mutex_;
  std::vector<std::string> calls_;
  float rate_ = 0.0f;
};

class ScriptedEngine : public MediaEngine {
 public:
  std::shared_ptr<PlayerItem> makeItem(const std::string& url) override;
  std::shared_ptr<MediaPlayer> makePlayer(std::shared_ptr<PlayerItem> item) override;
  std::shared_ptr<VideoOutput> makeVideoOutput() override;
  std::shared_ptr<MetadataOutput> makeMetadataOutput(MetadataOutput::Sink sink) override;
  std::shared_ptr<LegibleOutput> makeLegibleOutput(LegibleOutput::Sink sink) override;

  // The n-th item / player made, waiting up to a few seconds for the load to make it.
  std::shared_ptr<ScriptedItem> item(std::size_t n);
  std::shared_ptr<ScriptedPlayer> player(std::size_t n);

  // Streams every new item starts with.
  std::vector<MediaStreamInfo> audio;
  std::vector<MediaStreamInfo> text;

 private:
  std::mutex mutex_;
  std::condition_variable made_;
  std::vector<std::shared_ptr<ScriptedItem>> items_;
  std::vector<std::shared_ptr<ScriptedPlayer>> players_;
};

}  // namespace zent::testing
