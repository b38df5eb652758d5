#pragma once

// Scripted stand-ins for the engine objects the renderer talks to.

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "player/media_player.h"
#include "render/texture_backend.h"
#include "render/video_output.h"

namespace zent::test {

// An output that has a new frame exactly when one was queued.
class ScriptedVideoOutput : public VideoOutput {
 public:
  bool hasNewPixelBuffer(double itemTimeSeconds) override {
    askedTimes.push_back(itemTimeSeconds);
    return !frames.empty();
  }
  std::shared_ptr<PixelBuffer> copyPixelBuffer(double) override {
    if (frames.empty()) return nullptr;
    auto frame = frames.front();
    frames.pop_front();
    return frame;
  }

  std::deque<std::shared_ptr<PixelBuffer>> frames;  // a null entry: "new, but copy fails"
  std::vector<double> askedTimes;
};

class RecordingPlayerItem : public PlayerItem {
 public:
  const std::string& url() const override { return url_; }
  ItemStatus status() const override { return ItemStatus::ReadyToPlay; }
  std::string failureReason() const override { return ""; }
  ItemStatus waitUntilResolved(double, const std::atomic<bool>*) override {
    return ItemStatus::ReadyToPlay;
  }
  void setDelegate(std::weak_ptr<PlayerItemDelegate>) override {}
  void addOutput(std::shared_ptr<VideoOutput> output) override { added.push_back(output); }
  void removeOutput(const std::shared_ptr<VideoOutput>& output) override {
    removed.push_back(output);
  }
  void addOutput(std::shared_ptr<MetadataOutput>) override {}
  void removeOutput(const std::shared_ptr<MetadataOutput>&) override {}
  void addOutput(std::shared_ptr<LegibleOutput>) override {}
  double durationSeconds() const override { return 0.0; }
  double currentTimeSeconds() const override { return 0.0; }
  std::optional<double> currentDateEpochSeconds() const override { return std::nullopt; }
  std::vector<TimeRange> loadedTimeRanges() const override { return {}; }
  Size2D presentationSize() const override { return {}; }
  std::vector<VideoTrackGeometry> videoTracks() const override { return {}; }
  void setPreferredPeakBitRate(double) override {}
  void setPreferredMaximumResolution(Size2D) override {}
  void applyPreferences() override {}
  std::vector<MediaStreamInfo> mediaStreams(MediaCharacteristic) const override { return {}; }
  void select(MediaCharacteristic, std::optional<std::size_t>) override {}

  std::vector<std::shared_ptr<VideoOutput>> added;
  std::vector<std::shared_ptr<VideoOutput>> removed;

 private:
  std::string url_ = "file:///test";
};

class VideoOutputEngine : public MediaEngine {
 public:
  std::shared_ptr<PlayerItem> makeItem(const std::string&) override { return nullptr; }
  std::shared_ptr<MediaPlayer> makePlayer(std::shared_ptr<PlayerItem>) override { return nullptr; }
  std::shared_ptr<VideoOutput> makeVideoOutput() override {
    if (failOutputs) return nullptr;
    auto output = std::make_shared<ScriptedVideoOutput>();
    made.push_back(output);
    return output;
  }
  std::shared_ptr<MetadataOutput> makeMetadataOutput(MetadataOutput::Sink) override {
    return nullptr;
  }
  std::shared_ptr<LegibleOutput> makeLegibleOutput(LegibleOutput::Sink) override { return nullptr; }

  bool failOutputs = false;
  std::vector<std::shared_ptr<ScriptedVideoOutput>> made;
};

// Hands out a new handle per upload; shares its counters with the test.
struct FakeBackendLog {
  int uploads = 0;
  int destroyed = 0;
  bool contextReady = true;
  uintptr_t nextHandle = 100;
  std::vector<std::pair<int32_t, int32_t>> sizes;
};

class FakeTextureBackend : public TextureBackend {
 public:
  explicit FakeTextureBackend(std::shared_ptr<FakeBackendLog> log) : log_(std::move(log)) {}
  ~FakeTextureBackend() override { ++log_->destroyed; }
  uintptr_t upload(const PixelBuffer& frame) override {
    ++log_->uploads;
    log_->sizes.emplace_back(frame.width(), frame.height());
    return log_->contextReady ? log_->nextHandle++ : 0;
  }
  bool contextReady() override { return log_->contextReady; }

 private:
  std::shared_ptr<FakeBackendLog> log_;
};

}  // namespace zent::test
