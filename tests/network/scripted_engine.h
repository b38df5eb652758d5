#pragma once

// A media engine whose items report what the test scripts: duration, position,
// buffered ranges, readiness. Used where the real engine cannot reach a state on
// demand (the buffer state at the moment the network drops).

#include <chrono>
#include <cmath>
#include <condition_variable>
#include <limits>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "player/media_player.h"
#include "support/main_queue.h"

namespace zent::testing {

class ScriptedItem : public PlayerItem, public std::enable_shared_from_this<ScriptedItem> {
 public:
  explicit ScriptedItem(std::string url) : url_(std::move(url)) {}

  // Script.
  void setDuration(double seconds) {
    with([&] { duration_ = seconds; });
  }
  void setCurrentTime(double seconds) {
    with([&] { currentTime_ = seconds; });
  }
  void setLoadedRanges(std::vector<TimeRange> ranges) {
    with([&] { ranges_ = std::move(ranges); });
  }
  // The item prerolled: its delegate hears it on the main queue, as from the engine.
  void becomeReady() {
    with([&] { status_ = ItemStatus::ReadyToPlay; });
    auto self = shared_from_this();
    MainQueue::post([self] {
      std::shared_ptr<PlayerItemDelegate> delegate;
      {
        std::lock_guard<std::mutex> lock(self->mutex_);
        delegate = self->delegate_.lock();
      }
      if (delegate) delegate->itemStatusChanged(*self, ItemStatus::ReadyToPlay);
    });
  }

  // PlayerItem.
  const std::string& url() const override { return url_; }
  ItemStatus status() const override {
    std::lock_guard<std::mutex> lock(mutex_);
    return status_;
  }
  std::string failureReason() const override { return ""; }
  ItemStatus waitUntilResolved(double, const std::atomic<bool>*) override { return status(); }
  void setDelegate(std::weak_ptr<PlayerItemDelegate> delegate) override {
    with([&] { delegate_ = std::move(delegate); });
  }
  void addOutput(std::shared_ptr<VideoOutput>) override {}
  void removeOutput(const std::shared_ptr<VideoOutput>&) override {}
  void addOutput(std::shared_ptr<MetadataOutput>) override {}
  void removeOutput(const std::shared_ptr<MetadataOutput>&) override {}
  void addOutput(std::shared_ptr<LegibleOutput>) override {}
  double durationSeconds() const override {
    std::lock_guard<std::mutex> lock(mutex_);
    return duration_;
  }
  double currentTimeSeconds() const override {
    std::lock_guard<std::mutex> lock(mutex_);
    return currentTime_;
  }
  std::optional<double> currentDateEpochSeconds() const override { return std::nullopt; }
  std::vector<TimeRange> loadedTimeRanges() const override {
    std::lock_guard<std::mutex> lock(mutex_);
    return ranges_;
  }
  Size2D presentationSize() const override { return {}; }
  std::vector<VideoTrackGeometry> videoTracks() const override { return {}; }
  void setPreferredPeakBitRate(double) override {}
  void setPreferredMaximumResolution(Size2D) override {}
  void applyPreferences() override {}
  std::vector<MediaStreamInfo> mediaStreams(MediaCharacteristic) const override { return {}; }
  void select(MediaCharacteristic, std::optional<std::size_t>) override {}

 private:
  template <typename F>
  void with(F&& change) {
    std::lock_guard<std::mutex> lock(mutex_);
    change();
  }

  const std::string url_;
  mutable std::mutex mutex_;
  ItemStatus status_ = ItemStatus::Unknown;
  double duration_ = 60.0;
  double currentTime_ = 0.0;
  std::vector<TimeRange> ranges_;
  std::weak_ptr<PlayerItemDelegate> delegate_;
};

class ScriptedPlayer : public MediaPlayer {
 public:
  explicit ScriptedPlayer(std::shared_ptr<ScriptedItem> item) : item_(std::move(item)) {}

  std::vector<int64_t> seeks() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return seeks_;
  }

  std::shared_ptr<PlayerItem> currentItem() const override { return item_; }
  void play() override {}
  void pause() override {}
  void setRate(float) override {}
  float rate() const override { return 1.0f; }
  void seek(int64_t milliseconds, bool) override {
    std::lock_guard<std::mutex> lock(mutex_);
    seeks_.push_back(milliseconds);
  }
  void setVolume(float) override {}
  void setMuted(bool) override {}
  double currentTimeSeconds() const override { return item_->currentTimeSeconds(); }

 private:
  std::shared_ptr<ScriptedItem> item_;
  mutable std::mutex mutex_;
  std::vector<int64_t> seeks_;
};

class ScriptedEngine : public MediaEngine {
 public:
  // Every item made, with the player that plays it, in order of making.
  struct Made {
    std::shared_ptr<ScriptedItem> item;
    std::shared_ptr<ScriptedPlayer> player;
  };

  // Items of this URL start with this duration (NaN for live content).
  void scriptDuration(const std::string& url, double seconds) {
    std::lock_guard<std::mutex> lock(mutex_);
    durations_.push_back({url, seconds});
  }

  std::vector<Made> made() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return made_;
  }
  std::size_t itemsFor(const std::string& url) const {
    std::size_t count = 0;
    for (const Made& m : made()) count += m.item->url().find(url) != std::string::npos ? 1 : 0;
    return count;
  }
  // Waits until `count` players exist, and returns the last one made.
  Made waitForPlayers(std::size_t count, std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, timeout, [&] { return made_.size() >= count; });
    return made_.size() >= count ? made_[count - 1] : Made{};
  }

  std::shared_ptr<PlayerItem> makeItem(const std::string& url) override {
    auto item = std::make_shared<ScriptedItem>(url);
    std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& [scripted, seconds] : durations_) {
      if (url.find(scripted) != std::string::npos) item->setDuration(seconds);
    }
    return item;
  }
  std::shared_ptr<MediaPlayer> makePlayer(std::shared_ptr<PlayerItem> item) override {
    auto scripted = std::static_pointer_cast<ScriptedItem>(item);
    auto player = std::make_shared<ScriptedPlayer>(scripted);
    {
      std::lock_guard<std::mutex> lock(mutex_);
      made_.push_back({scripted, player});
      changed_.notify_all();
    }
    return player;
  }
  std::shared_ptr<VideoOutput> makeVideoOutput() override { return std::make_shared<NoFrames>(); }
  std::shared_ptr<MetadataOutput> makeMetadataOutput(MetadataOutput::Sink) override {
    return std::make_shared<MetadataOutput>();
  }
  std::shared_ptr<LegibleOutput> makeLegibleOutput(LegibleOutput::Sink) override {
    return std::make_shared<LegibleOutput>();
  }

 private:
  struct NoFrames : VideoOutput {
    bool hasNewPixelBuffer(double) override { return false; }
    std::shared_ptr<PixelBuffer> copyPixelBuffer(double) override { return nullptr; }
  };

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::pair<std::string, double>> durations_;
  std::vector<Made> made_;
};

}  // namespace zent::testing
