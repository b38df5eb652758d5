#pragma once

#include <gst/gst.h>

#include <map>
#include <memory>
#include <mutex>
#include <optional>

#include "player/media_player.h"

namespace zent {

// The adaptive demuxer (hlsdemux2, dashdemux2, ...) inside an item's pipeline and
// the variant caps the player asked for. playbin3 creates the demuxer while the
// content loads, so the caps are remembered and applied to it as soon as it
// appears (deep-element-added, on a streaming thread), and to any later one.
// Thread-safe under its own small lock; it never calls out while holding it.
//
// How far the content has been downloaded is read from the demuxer's own parser
// (the parsebin inside hlsdemux2 / dashdemux2): the demuxer downloads fragments
// into it and queues what it parsed internally, so the data it has pushed
// downstream is only a fraction of a second ahead of playback, and its
// current-level-time-* properties are not maintained (GStreamer 1.22 reports
// GST_CLOCK_TIME_NONE for hlsdemux2 and 0 for dashdemux2).
class DownloadedEnd;

class AdaptiveDemuxer {
 public:
  AdaptiveDemuxer();
  ~AdaptiveDemuxer();
  AdaptiveDemuxer(const AdaptiveDemuxer&) = delete;
  AdaptiveDemuxer& operator=(const AdaptiveDemuxer&) = delete;

  // An element was added somewhere in the pipeline: keep it when it is an adaptive
  // demuxer and give it the caps.
  void elementAdded(GstElement* element);

  // Caps: 0 (or less) means no cap. Applied at once to the current demuxer, whose
  // property setters can wait for a seek it handles: not on the host's thread.
  void setCaps(double bitsPerSecond, Size2D resolution);

  bool present() const;
  // True when the demuxer reads HLS (hlsdemux, hlsdemux2 or the fixed zenthlsdemux2).
  bool isHls() const;
  // The stream time, in seconds, up to which every audio and video stream of the
  // content has been downloaded and parsed: the earliest start of their latest
  // buffers (a player that drained its buffer stands at or past it), or, once all
  // of them reached their end, the latest buffer end. Nothing without a demuxer
  // or before any media was parsed.
  std::optional<double> downloadedEndSeconds() const;

 private:
  static bool isAdaptiveDemuxer(GstElement* element);
  void applyTo(GstElement* demuxer, double bitRate, Size2D resolution) const;
  GstElement* current() const;  // a new reference or null
  void watchParser(GstElement* parser);

  mutable std::mutex mutex_;
  GWeakRef demuxer_;
  double bitRate_ = 0.0;
  Size2D resolution_;
  const std::shared_ptr<DownloadedEnd> downloaded_;
};

}  // namespace zent
