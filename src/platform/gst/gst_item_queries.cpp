// What a GstPlayerItem answers about its content: times, buffered ranges, the
// picture, its streams, and the variant caps. Safe from any thread.

#include <gst/gst.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "platform/gst/gst_player_item.h"
#include "platform/gst/image_orientation.h"
#include "support/deferred_delivery.h"
#include "support/logger.h"

namespace zent {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

double seconds(GstClockTime time) {
  return static_cast<double>(time) / GST_SECOND;
}

}  // namespace

std::optional<GstClockTime> GstPlayerItem::queryPosition() const {
  GstElement* pipeline = pipelineRef();
  if (pipeline == nullptr) return std::nullopt;
  gint64 position = -1;
  bool known = gst_element_query_position(pipeline, GST_FORMAT_TIME, &position) && position >= 0;
  gst_object_unref(pipeline);
  if (!known) return std::nullopt;
  return static_cast<GstClockTime>(position);
}

std::optional<GstClockTime> GstPlayerItem::queryDuration() const {
  GstElement* pipeline = pipelineRef();
  if (pipeline == nullptr) return std::nullopt;
  gint64 duration = -1;
  bool known = gst_element_query_duration(pipeline, GST_FORMAT_TIME, &duration) && duration >= 0;
  gst_object_unref(pipeline);
  if (!known) return std::nullopt;
  return static_cast<GstClockTime>(duration);
}

bool GstPlayerItem::isLocalFile() const {
  return url_.rfind("file://", 0) == 0 || !gst_uri_is_valid(url_.c_str());
}

double GstPlayerItem::durationSeconds() const {
  {
    LibraryLock lock(transportMutex_);
    if (live_) return kNaN;
  }
  auto duration = queryDuration();
  return duration ? seconds(*duration) : kNaN;
}

double GstPlayerItem::currentTimeSeconds() const {
  LibraryLock lock(transportMutex_);
  return seconds(positionLocked());
}

std::optional<double> GstPlayerItem::currentDateEpochSeconds() const {
  std::shared_ptr<HlsManifestSnapshot> manifest;
  {
    LibraryLock lock(stateMutex_);
    manifest = manifest_;
  }
  if (!manifest) return std::nullopt;
  return manifest->dateAt(currentTimeSeconds());
}

std::vector<TimeRange> GstPlayerItem::loadedTimeRanges() const {
  std::vector<TimeRange> ranges;
  GstElement* pipeline = pipelineRef();
  if (pipeline == nullptr) return ranges;
  double duration = durationSeconds();
  // Adaptive streams: from the position up to where the demuxer has downloaded;
  // nothing while it has not parsed any media yet.
  if (demuxer_->present()) {
    if (auto end = demuxer_->downloadedEndSeconds()) {
      double position = currentTimeSeconds();
      ranges.push_back({position, std::max(0.0, *end - position)});
    }
    gst_object_unref(pipeline);
    return ranges;
  }
  GstQuery* query = gst_query_new_buffering(GST_FORMAT_TIME);
  if (gst_element_query(pipeline, query)) {
    GstFormat format = GST_FORMAT_UNDEFINED;
    gint64 total = -1;
    gst_query_parse_buffering_range(query, &format, nullptr, nullptr, &total);
    // Ranges come in time, in percent of the whole or in bytes of the whole.
    double scale = 0.0;
    if (format == GST_FORMAT_TIME) {
      scale = 1.0 / GST_SECOND;
    } else if (format == GST_FORMAT_PERCENT && std::isfinite(duration)) {
      scale = duration / GST_FORMAT_PERCENT_MAX;
    } else if (format == GST_FORMAT_BYTES && std::isfinite(duration)) {
      gint64 bytes = -1;
      if (gst_element_query_duration(pipeline, GST_FORMAT_BYTES, &bytes) && bytes > 0) {
        scale = duration / static_cast<double>(bytes);
      }
    }
    guint count = gst_query_get_n_buffering_ranges(query);
    for (guint i = 0; i < count && scale > 0.0; ++i) {
      gint64 start = 0, stop = 0;
      if (!gst_query_parse_nth_buffering_range(query, i, &start, &stop) || stop <= start) continue;
      ranges.push_back({start * scale, (stop - start) * scale});
    }
  }
  gst_query_unref(query);
  gst_object_unref(pipeline);
  // A progressive download: the part of the file read so far, as a share of the
  // timeline (never behind the position, which has been read).
  if (ranges.empty() && std::isfinite(duration)) {
    if (auto fraction = source_->fractionRead()) {
      double end = std::max(duration * *fraction, currentTimeSeconds());
      if (end > 0.0) ranges.push_back({0.0, end});
    }
  }
  // A local file is all there as soon as it is open.
  if (ranges.empty() && isLocalFile() && std::isfinite(duration) &&
      status() != ItemStatus::Failed) {
    ranges.push_back({0.0, duration});
  }
  return ranges;
}

Size2D GstPlayerItem::presentationSize() const {
  auto geometry = relay_->videoGeometry();
  if (!geometry) return {};
  return {static_cast<double>(geometry->width) * geometry->parN / geometry->parD,
          static_cast<double>(geometry->height)};
}

std::vector<VideoTrackGeometry> GstPlayerItem::videoTracks() const {
  std::vector<VideoTrackGeometry> tracks;
  auto geometry = relay_->videoGeometry();
  if (!geometry) return tracks;
  VideoTrackGeometry track;
  track.naturalSize = presentationSize();
  std::string orientation;
  {
    LibraryLock lock(stateMutex_);
    orientation = imageOrientation_;
  }
  track.preferredTransform = transformForImageOrientation(orientation, track.naturalSize);
  tracks.push_back(track);
  return tracks;
}

std::vector<MediaStreamInfo> GstPlayerItem::mediaStreams(MediaCharacteristic kind) const {
  std::vector<ClosedCaptionOption> closedCaptions;
  if (kind == MediaCharacteristic::Legible) closedCaptions = closedCaptionOptions();
  LibraryLock lock(stateMutex_);
  std::vector<const StreamEntry*> streams = streamsOf(streams_, kind);
  std::vector<MediaStreamInfo> infos;
  for (std::size_t i = 0; i < streams.size(); ++i) {
    MediaStreamInfo info = streams[i]->info;
    // The HLS demuxer tags languages but not names: the playlist has both.
    if (manifest_) {
      if (auto rendition = manifest_->renditionFor(streams[i]->type, streams[i]->id)) {
        info.renditionName = rendition->name;
        if (info.title.empty()) info.title = rendition->name;
        if (info.language.empty()) info.language = rendition->language;
      }
    }
    infos.push_back(std::move(info));
  }
  for (ClosedCaptionOption& option : closedCaptions) infos.push_back(std::move(option.info));
  return infos;
}

void GstPlayerItem::select(MediaCharacteristic kind, std::optional<std::size_t> index) {
  // Captions off keeps the text stream selected and drops its cues: hlsdemux2
  // (GStreamer 1.22) often delivers no further cue of a WebVTT rendition that is
  // deselected and selected again.
  const bool captions = kind == MediaCharacteristic::Legible;
  if (captions && selectClosedCaptionChannel(index)) return;
  if (captions) relay_->setCaptionsOn(index.has_value());
  if (captions && !index) return;
  std::optional<std::vector<std::string>> ids;
  {
    LibraryLock lock(stateMutex_);
    // A selection still on its way is what the next one builds on.
    const std::vector<std::string>& current =
        requestedStreams_ ? *requestedStreams_ : selectedStreams_;
    ids = selectionWith(streams_, current, kind, index);
    if (ids && sameSelection(*ids, current)) return;
    if (ids) requestedStreams_ = *ids;
  }
  if (!ids) {
    Logger::log(LogLevel::WARNING, "Media engine: " + url_ + ": no such stream to select");
    return;
  }
  requestSelection(std::move(*ids));
}

}  // namespace zent
