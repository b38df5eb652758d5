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

// Has a new frame exactly when one was queued (null: "new, but the copy fails").
struct ScriptedVideoOutput : VideoOutput {
  bool hasNewPixelBuffer(double seconds) override {
    askedTimes.push_back(seconds);
    return !frames.empty();
  }
  std::shared_ptr<PixelBuffer> copyPixelBuffer(double) override {
    if (frames.empty()) return nullptr;
    auto frame = frames.front();
    frames.pop_front();
    return frame;
  }
  std::deque<std::shared_ptr<PixelBuffer>> frames;
  std::vector<double> askedTimes;
};

struct RecordingPlayerItem : PlayerItem {
  const std::string& url() const override { return url_; }
  ItemStatus status() const override { return ItemStatus::ReadyToPlay; }
  std::string failureReason() const override { return ""; }
  ItemStatus waitUntilResolved(double, const std::atomic<bool>*) override { return status(); }
  void setDelegate(std::weak_ptr<PlayerItemDelegate>) override {}
  void addOutput(std::shared_ptr<VideoOutput> output) override { added.push_back(output); }
  void removeOutput(const std::shared_ptr<VideoOutput>& out) override { removed.push_back(out); }
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
  std::vector<std::shared_ptr<VideoOutput>> added, removed;
  const std::string url_ = "file:///test";
};

// Makes scripted video outputs (none while failOutputs).
struct VideoOutputEngine : MediaEngine {
  std::shared_ptr<PlayerItem> makeItem(const std::string&) override { return nullptr; }
  std::shared_ptr<MediaPlayer> makePlayer(std::shared_ptr<PlayerItem>) override { return nullptr; }
  std::shared_ptr<VideoOutput> makeVideoOutput() override {
    return failOutputs ? nullptr : made.emplace_back(std::make_shared<ScriptedVideoOutput>());
  }
  std::shared_ptr<MetadataOutput> makeMetadataOutput(MetadataOutput::Sink) override {
    return nullptr;
  }
  std::shared_ptr<LegibleOutput> makeLegibleOutput(LegibleOutput::Sink) override { return nullptr; }
  bool failOutputs = false;
  std::vector<std::shared_ptr<ScriptedVideoOutput>> made;
};

// A new handle per upload, counted in a log the test shares.
struct FakeBackendLog {
  int uploads = 0, destroyed = 0;
  bool contextReady = true;
  uintptr_t nextHandle = 100;
};
struct FakeTextureBackend : TextureBackend {
  explicit FakeTextureBackend(std::shared_ptr<FakeBackendLog> log) : log(std::move(log)) {}
  ~FakeTextureBackend() override { ++log->destroyed; }
  uintptr_t upload(const PixelBuffer&) override {
    ++log->uploads;
    return log->contextReady ? log->nextHandle++ : 0;
  }
  bool contextReady() override { return log->contextReady; }
  std::shared_ptr<FakeBackendLog> log;
};

}  // namespace zent::test
