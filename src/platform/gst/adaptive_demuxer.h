#pragma once

#include <gst/gst.h>

#include <mutex>
#include <optional>

#include "player/media_player.h"

namespace zent {

// The adaptive demuxer (hlsdemux2, dashdemux2, ...) inside an item's pipeline and
// the variant caps the player asked for. playbin3 creates the demuxer while the
// content loads, so the caps are remembered and applied to it as soon as it
// appears (deep-element-added, on a streaming thread), and to any later one.
// Thread-safe under its own small lock; it never calls out while holding it.
class AdaptiveDemuxer {
 public:
  AdaptiveDemuxer();
  ~AdaptiveDemuxer();
  AdaptiveDemuxer(const AdaptiveDemuxer&) = delete;
  AdaptiveDemuxer& operator=(const AdaptiveDemuxer&) = delete;

  // An element was added somewhere in the pipeline: keep it when it is an adaptive
  // demuxer and give it the caps.
  void elementAdded(GstElement* element);

  // Caps: 0 (or less) means no cap. Applied at once to the current demuxer.
  void setPeakBitRate(double bitsPerSecond);
  void setMaximumResolution(Size2D size);

  bool present() const;
  // True when the demuxer reads HLS (its factory is hlsdemux or hlsdemux2).
  bool isHls() const;
  // Seconds of media the demuxer holds ahead of the playback position (the larger
  // of its video and audio levels), or nothing without a demuxer.
  std::optional<double> bufferedAheadSeconds() const;

 private:
  static bool isAdaptiveDemuxer(GstElement* element);
  void applyTo(GstElement* demuxer, double bitRate, Size2D resolution) const;
  GstElement* current() const;  // a new reference or null

  mutable std::mutex mutex_;
  GWeakRef demuxer_;
  double bitRate_ = 0.0;
  Size2D resolution_;
};

}  // namespace zent
