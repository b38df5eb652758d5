#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "render/video_output.h"

namespace zent {

// The narrow seam between the player logic and the media engine. The logic sees
// only these types; the GStreamer realisation lives in src/platform/.

enum class ItemStatus { Unknown = 0, ReadyToPlay = 1, Failed = 2 };

struct TimeRange {
  double startSeconds = 0.0;
  double durationSeconds = 0.0;
};

struct Size2D {
  double width = 0.0;
  double height = 0.0;
};

// A 2-D affine transform (a b 0 / c d 0 / tx ty 1), as applied to a size or point.
struct AffineTransform {
  double a = 1.0, b = 0.0, c = 0.0, d = 1.0, tx = 0.0, ty = 0.0;
};

struct VideoTrackGeometry {
  Size2D naturalSize;
  AffineTransform preferredTransform;
};

enum class MediaCharacteristic { Audible, Legible };

// One audio or text stream of the content, as the engine describes it.
struct MediaStreamInfo {
  std::string title;     // the stream's title tag, "" when none
  std::string language;  // the stream's language tag (BCP-47), "" when none
  // The manifest rendition (its NAME) the engine made this stream for, told by
  // the stream's identity; "" when the engine does not say.
  std::string renditionName;
};

// Receives an item's happenings. Every call arrives on the main queue.
class PlayerItemDelegate {
 public:
  virtual ~PlayerItemDelegate() = default;
  virtual void itemStatusChanged(class PlayerItem& item, ItemStatus status) = 0;
  virtual void itemDidPlayToEnd(class PlayerItem& item) = 0;
  // The legible options changed after loading (captions carried in the video
  // of a file are found as they play).
  virtual void itemLegibleOptionsChanged(class PlayerItem&) {}
};

// Timed-metadata output: delivers each ID3 tag found in the stream, whole, in
// stream order, on the main queue.
class MetadataOutput {
 public:
  using Sink = std::function<void(const std::vector<uint8_t>& id3Tag)>;
  virtual ~MetadataOutput() = default;
};

// Caption output: delivers the plain text of the caption now on screen (an empty
// list when it clears), on the main queue.
class LegibleOutput {
 public:
  using Sink = std::function<void(const std::vector<std::string>& strings)>;
  virtual ~LegibleOutput() = default;
};

// One piece of content (URL or file) and its pipeline.
class PlayerItem {
 public:
  virtual ~PlayerItem() = default;

  virtual const std::string& url() const = 0;
  virtual ItemStatus status() const = 0;
  virtual std::string failureReason() const = 0;  // the engine's reason once Failed
  // Blocks the calling worker until the status is no longer Unknown, the timeout
  // passes or cancelFlag is raised; returns the status then.
  virtual ItemStatus waitUntilResolved(double timeoutSeconds,
                                       const std::atomic<bool>* cancelFlag) = 0;
  virtual void setDelegate(std::weak_ptr<PlayerItemDelegate> delegate) = 0;

  virtual void addOutput(std::shared_ptr<VideoOutput> output) = 0;
  virtual void removeOutput(const std::shared_ptr<VideoOutput>& output) = 0;
  virtual void addOutput(std::shared_ptr<MetadataOutput> output) = 0;
  virtual void removeOutput(const std::shared_ptr<MetadataOutput>& output) = 0;
  virtual void addOutput(std::shared_ptr<LegibleOutput> output) = 0;

  // Time, in seconds. Duration is NaN when unknown or live.
  virtual double durationSeconds() const = 0;
  virtual double currentTimeSeconds() const = 0;
  // Wall-clock time of the current position from EXT-X-PROGRAM-DATE-TIME, in
  // seconds since 1970, or nothing.
  virtual std::optional<double> currentDateEpochSeconds() const = 0;
  virtual std::vector<TimeRange> loadedTimeRanges() const = 0;
  virtual Size2D presentationSize() const = 0;
  virtual std::vector<VideoTrackGeometry> videoTracks() const = 0;

  // Variant caps; applyPreferences() makes them take effect at once (a flushing
  // seek to the current position).
  virtual void setPreferredPeakBitRate(double bitsPerSecond) = 0;
  virtual void setPreferredMaximumResolution(Size2D size) = 0;
  virtual void applyPreferences() = 0;

  // Audio and text streams in the order of the engine's stream collection.
  virtual std::vector<MediaStreamInfo> mediaStreams(MediaCharacteristic kind) const = 0;
  // Selects the stream at position index of that kind, or none (captions off).
  virtual void select(MediaCharacteristic kind, std::optional<std::size_t> index) = 0;
};

// The platform player: plays one current item.
class MediaPlayer {
 public:
  virtual ~MediaPlayer() = default;
  virtual std::shared_ptr<PlayerItem> currentItem() const = 0;
  virtual void play() = 0;
  virtual void pause() = 0;
  virtual void setRate(float rate) = 0;
  virtual float rate() const = 0;
  // Exact (frame-accurate) seek, or the default tolerance when exact is false.
  virtual void seek(int64_t milliseconds, bool exact) = 0;
  virtual void setVolume(float volume) = 0;
  virtual void setMuted(bool muted) = 0;
  virtual double currentTimeSeconds() const = 0;
};

// Makes the platform objects; the player logic gets one at construction.
class MediaEngine {
 public:
  virtual ~MediaEngine() = default;
  virtual std::shared_ptr<PlayerItem> makeItem(const std::string& url) = 0;
  // Attaches the item and starts loading it, paused at rate 0.
  virtual std::shared_ptr<MediaPlayer> makePlayer(std::shared_ptr<PlayerItem> item) = 0;
  virtual std::shared_ptr<VideoOutput> makeVideoOutput() = 0;
  virtual std::shared_ptr<MetadataOutput> makeMetadataOutput(MetadataOutput::Sink sink) = 0;
  virtual std::shared_ptr<LegibleOutput> makeLegibleOutput(LegibleOutput::Sink sink) = 0;
};

// The GStreamer engine (src/platform/).
std::shared_ptr<MediaEngine> makeGstMediaEngine();

}  // namespace zent
