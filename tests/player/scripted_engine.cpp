#include "player/scripted_engine.h"

#include <chrono>

namespace zent::testing {

void ScriptedItem::resolve(ItemStatus status, std::string reason) {
  {
    std::lock_guard<std::mutex> lock(mutex);
    status_ = status;
    reason_ = std::move(reason);
  }
  resolved_.notify_all();
  std::shared_ptr<PlayerItemDelegate> delegate;
  {
    std::lock_guard<std::mutex> lock(mutex);
    delegate = delegate_.lock();
  }
  if (delegate) delegate->itemStatusChanged(*this, status);
}

void ScriptedItem::finishPlaying() {
  std::shared_ptr<PlayerItemDelegate> delegate;
  {
    std::lock_guard<std::mutex> lock(mutex);
    delegate = delegate_.lock();
  }
  if (delegate) delegate->itemDidPlayToEnd(*this);
}

ItemStatus ScriptedItem::status() const {
  std::lock_guard<std::mutex> lock(mutex);
  return status_;
}

std::string ScriptedItem::failureReason() const {
  std::lock_guard<std::mutex> lock(mutex);
  return reason_;
}

ItemStatus ScriptedItem::waitUntilResolved(double timeoutSeconds, const std::atomic<bool>* cancel) {
  std::unique_lock<std::mutex> lock(mutex);
  auto deadline = std::chrono::steady_clock::now() +
                  std::chrono::milliseconds(static_cast<int64_t>(timeoutSeconds * 1000));
  while (status_ == ItemStatus::Unknown && !(cancel && cancel->load())) {
    if (resolved_.wait_until(lock, std::min(deadline, std::chrono::steady_clock::now() +
                                                          std::chrono::milliseconds(20))) ==
            std::cv_status::timeout &&
        std::chrono::steady_clock::now() >= deadline) {
      break;
    }
  }
  return status_;
}

void ScriptedItem::setDelegate(std::weak_ptr<PlayerItemDelegate> delegate) {
  std::lock_guard<std::mutex> lock(mutex);
  delegate_ = std::move(delegate);
}

void ScriptedItem::addOutput(std::shared_ptr<VideoOutput>) {
  std::lock_guard<std::mutex> lock(mutex);
  ++videoOutputs;
}

void ScriptedItem::removeOutput(const std::shared_ptr<VideoOutput>&) {
  std::lock_guard<std::mutex> lock(mutex);
  --videoOutputs;
}

void ScriptedItem::addOutput(std::shared_ptr<MetadataOutput> output) {
  std::lock_guard<std::mutex> lock(mutex);
  ++metadataOutputs;
  metadata = std::static_pointer_cast<ScriptedMetadataOutput>(output);
}

void ScriptedItem::removeOutput(const std::shared_ptr<MetadataOutput>&) {
  std::lock_guard<std::mutex> lock(mutex);
  --metadataOutputs;
}

void ScriptedItem::addOutput(std::shared_ptr<LegibleOutput> output) {
  std::lock_guard<std::mutex> lock(mutex);
  legible = std::static_pointer_cast<ScriptedLegibleOutput>(output);
}

double ScriptedItem::durationSeconds() const {
  std::lock_guard<std::mutex> lock(mutex);
  return duration;
}

double ScriptedItem::currentTimeSeconds() const {
  std::lock_guard<std::mutex> lock(mutex);
  return position;
}

std::optional<double> ScriptedItem::currentDateEpochSeconds() const {
  std::lock_guard<std::mutex> lock(mutex);
  return date;
}

std::vector<TimeRange> ScriptedItem::loadedTimeRanges() const {
  std::lock_guard<std::mutex> lock(mutex);
  return ranges;
}

Size2D ScriptedItem::presentationSize() const {
  std::lock_guard<std::mutex> lock(mutex);
  return size;
}

std::vector<VideoTrackGeometry> ScriptedItem::videoTracks() const {
  std::lock_guard<std::mutex> lock(mutex);
  return tracks;
}

void ScriptedItem::setPreferredPeakBitRate(double bitsPerSecond) {
  std::lock_guard<std::mutex> lock(mutex);
  peakBitRate = bitsPerSecond;
}

void ScriptedItem::setPreferredMaximumResolution(Size2D value) {
  std::lock_guard<std::mutex> lock(mutex);
  maximumResolution = value;
}

void ScriptedItem::applyPreferences() {
  std::lock_guard<std::mutex> lock(mutex);
  ++applyCount;
}

std::vector<MediaStreamInfo> ScriptedItem::mediaStreams(MediaCharacteristic kind) const {
  std::lock_guard<std::mutex> lock(mutex);
  return kind == MediaCharacteristic::Audible ? audio : text;
}

void ScriptedItem::select(MediaCharacteristic kind, std::optional<std::size_t> index) {
  std::lock_guard<std::mutex> lock(mutex);
  selections.push_back(std::string(kind == MediaCharacteristic::Audible ? "audio:" : "text:") +
                       (index ? std::to_string(*index) : "none"));
}

void ScriptedPlayer::record(std::string call) {
  std::lock_guard<std::mutex> lock(mutex_);
  calls_.push_back(std::move(call));
}

void ScriptedPlayer::play() {
  record("play");
  std::lock_guard<std::mutex> lock(mutex_);
  rate_ = 1.0f;
}

void ScriptedPlayer::pause() {
  record("pause");
  std::lock_guard<std::mutex> lock(mutex_);
  rate_ = 0.0f;
}

void ScriptedPlayer::setRate(float rate) {
  record("rate:" + std::to_string(rate).substr(0, 3));
  std::lock_guard<std::mutex> lock(mutex_);
  rate_ = rate;
}

float ScriptedPlayer::rate() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return rate_;
}

void ScriptedPlayer::seek(int64_t milliseconds, bool exact) {
  record("seek:" + std::to_string(milliseconds) + (exact ? ":exact" : ""));
}

void ScriptedPlayer::setVolume(float volume) {
  record("volume:" + std::to_string(volume).substr(0, 3));
}

void ScriptedPlayer::setMuted(bool muted) {
  record(std::string("muted:") + (muted ? "1" : "0"));
}

std::vector<std::string> ScriptedPlayer::calls() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return calls_;
}

std::shared_ptr<PlayerItem> ScriptedEngine::makeItem(const std::string& url) {
  auto item = std::make_shared<ScriptedItem>(url);
  std::lock_guard<std::mutex> lock(mutex_);
  item->audio = audio;
  item->text = text;
  items_.push_back(item);
  made_.notify_all();
  return item;
}

std::shared_ptr<MediaPlayer> ScriptedEngine::makePlayer(std::shared_ptr<PlayerItem> item) {
  auto created = std::make_shared<ScriptedPlayer>(std::static_pointer_cast<ScriptedItem>(item));
  std::lock_guard<std::mutex> lock(mutex_);
  players_.push_back(created);
  made_.notify_all();
  return created;
}

std::shared_ptr<VideoOutput> ScriptedEngine::makeVideoOutput() {
  return std::make_shared<ScriptedVideoOutput>();
}

std::shared_ptr<MetadataOutput> ScriptedEngine::makeMetadataOutput(MetadataOutput::Sink sink) {
  return std::make_shared<ScriptedMetadataOutput>(std::move(sink));
}

std::shared_ptr<LegibleOutput> ScriptedEngine::makeLegibleOutput(LegibleOutput::Sink sink) {
  return std::make_shared<ScriptedLegibleOutput>(std::move(sink));
}

std::shared_ptr<ScriptedItem> ScriptedEngine::item(std::size_t n) {
  std::unique_lock<std::mutex> lock(mutex_);
  made_.wait_for(lock, std::chrono::seconds(5), [&] { return items_.size() > n; });
  return items_.size() > n ? items_[n] : nullptr;
}

std::shared_ptr<ScriptedPlayer> ScriptedEngine::player(std::size_t n) {
  std::unique_lock<std::mutex> lock(mutex_);
  made_.wait_for(lock, std::chrono::seconds(5), [&] { return players_.size() > n; });
  return players_.size() > n ? players_[n] : nullptr;
}

}  // namespace zent::testing
