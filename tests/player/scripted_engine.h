#pragma once

// Fakes: items in the state the test sets, player calls recorded, a path source fed by hand.

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "player/media_player.h"
#include "support/path_monitor.h"

namespace zent::testing {

bool drainMainQueue();

struct Guarded {  // get/set copy a field under the lock

  mutable std::mutex mutex;
  template <typename T>
  T get(const T& field) const {
    std::lock_guard<std::mutex> lock(mutex);
    return field;
  }
  template <typename T, typename V>
  void set(T& field, V value) {
    std::lock_guard<std::mutex> lock(mutex);
    field = std::move(value);
  }
};

class ScriptedItem : public PlayerItem,
                     public Guarded,
                     public std::enable_shared_from_this<ScriptedItem> {
 public:
  explicit ScriptedItem(std::string url) : url_(std::move(url)) {}
  void resolve(ItemStatus status);
  void finishPlaying() {
    if (auto d = get(delegate_).lock()) d->itemDidPlayToEnd(*this);
  }
  void at(double seconds, std::optional<std::vector<TimeRange>> loaded = std::nullopt) {
    set(position, seconds);
    if (loaded) set(ranges, *loaded);
  }

  const std::string& url() const override { return url_; }
  ItemStatus status() const override { return get(status_); }
  std::string failureReason() const override { return ""; }
  ItemStatus waitUntilResolved(double timeoutSeconds, const std::atomic<bool>* cancel) override;
  void setDelegate(std::weak_ptr<PlayerItemDelegate> d) override { set(delegate_, d); }
  void addOutput(std::shared_ptr<VideoOutput>) override {}
  void removeOutput(const std::shared_ptr<VideoOutput>&) override {}
  void addOutput(std::shared_ptr<MetadataOutput>) override {}
  void removeOutput(const std::shared_ptr<MetadataOutput>&) override {}
  void addOutput(std::shared_ptr<LegibleOutput>) override {}
  double durationSeconds() const override { return get(duration); }
  double currentTimeSeconds() const override { return get(position); }
  std::optional<double> currentDateEpochSeconds() const override { return std::nullopt; }
  std::vector<TimeRange> loadedTimeRanges() const override { return get(ranges); }
  Size2D presentationSize() const override { return {1280, 720}; }
  std::vector<VideoTrackGeometry> videoTracks() const override { return {}; }
  void setPreferredPeakBitRate(double bitsPerSecond) override { set(peakBitRate, bitsPerSecond); }
  void setPreferredMaximumResolution(Size2D size) override { set(maximumResolution, size); }
  void applyPreferences() override {}
  std::vector<MediaStreamInfo> mediaStreams(MediaCharacteristic) const override { return {}; }
  void select(MediaCharacteristic, std::optional<std::size_t>) override {}

  double duration = 10.0, position = 0.0, peakBitRate = 0.0;
  std::vector<TimeRange> ranges;
  Size2D maximumResolution;

 private:
  const std::string url_;
  ItemStatus status_ = ItemStatus::Unknown;
  std::condition_variable resolved_;
  std::weak_ptr<PlayerItemDelegate> delegate_;
};

class ScriptedPlayer : public MediaPlayer, public Guarded {
 public:
  explicit ScriptedPlayer(std::shared_ptr<ScriptedItem> item) : item_(std::move(item)) {}
  std::shared_ptr<PlayerItem> currentItem() const override { return item_; }
  void play() override { record("play", 1.0f); }
  void pause() override { record("pause", 0.0f); }
  void setRate(float rate) override { record("rate", rate); }
  float rate() const override { return get(rate_); }
  void seek(int64_t ms, bool exact) override {
    record("seek:" + std::to_string(ms) + (exact ? ":exact" : ""));
  }
  void setVolume(float volume) override { record("volume:" + std::to_string(volume)); }
  void setMuted(bool muted) override { record(muted ? "muted:1" : "muted:0"); }
  double currentTimeSeconds() const override { return item_->currentTimeSeconds(); }

  // The calls in order ("play", "seek:5000:exact", ...) starting with `prefix`.
  std::vector<std::string> calls(const std::string& prefix = "") const;

 private:
  void record(std::string call, std::optional<float> rate = std::nullopt);
  std::shared_ptr<ScriptedItem> item_;
  std::vector<std::string> calls_;
  float rate_ = 0.0f;
};

class ScriptedEngine : public MediaEngine, public Guarded {
 public:
  std::shared_ptr<PlayerItem> makeItem(const std::string& url) override;
  std::shared_ptr<MediaPlayer> makePlayer(std::shared_ptr<PlayerItem> item) override;
  std::shared_ptr<VideoOutput> makeVideoOutput() override;
  std::shared_ptr<MetadataOutput> makeMetadataOutput(MetadataOutput::Sink) override {
    return std::make_shared<MetadataOutput>();
  }
  std::shared_ptr<LegibleOutput> makeLegibleOutput(LegibleOutput::Sink sink) override {
    set(captions, std::move(sink));
    return std::make_shared<LegibleOutput>();
  }
  LegibleOutput::Sink captions;  // the last player's caption sink
  // The n-th item / player made, waiting for a load to make it.
  std::shared_ptr<ScriptedItem> item(std::size_t n) { return nth(items_, n); }
  std::shared_ptr<ScriptedPlayer> player(std::size_t n) { return nth(players_, n); }
  std::size_t itemCount() const { return get(items_).size(); }

 private:
  template <typename T>
  std::shared_ptr<T> nth(const std::vector<std::shared_ptr<T>>& made, std::size_t n) {
    std::unique_lock<std::mutex> lock(mutex);
    made_.wait_for(lock, std::chrono::seconds(5), [&] { return made.size() > n; });
    return made.size() > n ? made[n] : nullptr;
  }
  std::condition_variable made_;
  std::vector<std::shared_ptr<ScriptedItem>> items_;
  std::vector<std::shared_ptr<ScriptedPlayer>> players_;
};

// feed(satisfied) reaches the monitor attached now, synchronously.
class FedPathSource : public Guarded, public std::enable_shared_from_this<FedPathSource> {
 public:
  PathMonitorFactory factory();
  void feed(bool satisfied) {
    if (auto handler = get(handler_)) handler(satisfied);
  }
  int monitorsMade() const { return get(made_); }

 private:
  class Monitor;
  std::function<void(bool)> handler_;
  int made_ = 0;
  int attachedId_ = 0;
};

}  // namespace zent::testing
