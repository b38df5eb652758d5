#include "platform/gst/adaptive_demuxer.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "platform/gst/adaptive_demux_choice.h"
#include "platform/gst/thread_handoff.h"

namespace zent {
namespace {

bool hasProperty(GstElement* element, const char* name) {
  return g_object_class_find_property(G_OBJECT_GET_CLASS(element), name) != nullptr;
}

guint capValue(double value) {
  if (!std::isfinite(value) || value <= 0.0) return 0;
  constexpr double kMax = static_cast<double>(std::numeric_limits<guint>::max());
  return static_cast<guint>(std::min(value, kMax));
}

}  // namespace

// Where each audio and video stream the demuxer's parser produced has got to,
// in stream time. Written on streaming threads, read by any thread.
class DownloadedEnd {
 public:
  uint64_t addStream() {
    std::lock_guard lock(mutex_);
    uint64_t id = nextId_++;
    streams_.emplace(id, Stream{});
    return id;
  }
  void removeStream(uint64_t id) {
    std::lock_guard lock(mutex_);
    streams_.erase(id);
  }
  // A stream that carries neither audio nor video (subtitles) does not count.
  void setCounts(uint64_t id, bool counts) {
    std::lock_guard lock(mutex_);
    if (counts) {
      streams_.try_emplace(id, Stream{});
    } else {
      streams_.erase(id);
    }
  }
  // One parsed buffer, [start, end) in stream time.
  void update(uint64_t id, GstClockTime start, GstClockTime end) {
    std::lock_guard lock(mutex_);
    auto found = streams_.find(id);
    if (found == streams_.end()) return;
    Stream& stream = found->second;
    // Buffers come in order apart from frame reordering; a jump back of more
    // than a second is a restart at a new position (a seek).
    if (!stream.lastStart || start > *stream.lastStart || start + GST_SECOND < *stream.lastStart) {
      stream.lastStart = start;
      stream.lastEnd = end;
    }
  }
  void finish(uint64_t id) {
    std::lock_guard lock(mutex_);
    auto found = streams_.find(id);
    if (found != streams_.end()) found->second.finished = true;
  }
  void reset(uint64_t id) {
    std::lock_guard lock(mutex_);
    auto found = streams_.find(id);
    if (found != streams_.end()) found->second = Stream{};
  }
  // The earliest start of the last buffer over the streams: playback shows that
  // frame, so a player that drained its buffer stands at or past it. Once every
  // stream has been downloaded to its end, the latest buffer end instead, so
  // that no position of the content lies beyond it.
  std::optional<double> seconds() const {
    std::lock_guard lock(mutex_);
    std::optional<GstClockTime> earliestStart;
    std::optional<GstClockTime> latestEnd;
    bool allFinished = true;
    for (const auto& [id, stream] : streams_) {
      allFinished = allFinished && stream.finished;
      if (!stream.lastStart) continue;
      if (!earliestStart || *stream.lastStart < *earliestStart) earliestStart = stream.lastStart;
      if (!latestEnd || stream.lastEnd > *latestEnd) latestEnd = stream.lastEnd;
    }
    std::optional<GstClockTime> end = allFinished ? latestEnd : earliestStart;
    if (!end) return std::nullopt;
    return static_cast<double>(*end) / GST_SECOND;
  }

 private:
  struct Stream {
    std::optional<GstClockTime> lastStart;  // of the latest buffer parsed
    GstClockTime lastEnd = 0;
    bool finished = false;  // its EOS has been parsed
  };
  mutable std::mutex mutex_;
  uint64_t nextId_ = 1;
  std::map<uint64_t, Stream> streams_;
};

namespace {

// One source pad of the demuxer's parser; freed when the probe goes with its pad.
struct ParsedStream {
  std::shared_ptr<DownloadedEnd> ends;
  uint64_t id = 0;
};

bool isMediaCaps(GstCaps* caps) {
  if (caps == nullptr || gst_caps_get_size(caps) == 0) return false;
  const gchar* name = gst_structure_get_name(gst_caps_get_structure(caps, 0));
  return g_str_has_prefix(name, "audio/") || g_str_has_prefix(name, "video/");
}

GstPadProbeReturn onParsedData(GstPad* pad, GstPadProbeInfo* info, gpointer data) {
  auto* stream = &callbackData<ParsedStream>(data);
  if ((info->type & GST_PAD_PROBE_TYPE_BUFFER) != 0) {
    GstBuffer* buffer = GST_PAD_PROBE_INFO_BUFFER(info);
    if (!GST_BUFFER_PTS_IS_VALID(buffer)) return GST_PAD_PROBE_OK;
    GstClockTime pts = GST_BUFFER_PTS(buffer);
    GstClockTime end =
        pts + (GST_BUFFER_DURATION_IS_VALID(buffer) ? GST_BUFFER_DURATION(buffer) : 0);
    GstEvent* segmentEvent = gst_pad_get_sticky_event(pad, GST_EVENT_SEGMENT, 0);
    if (segmentEvent == nullptr) return GST_PAD_PROBE_OK;
    const GstSegment* segment = nullptr;
    gst_event_parse_segment(segmentEvent, &segment);
    guint64 startTime = gst_segment_to_stream_time(segment, GST_FORMAT_TIME, pts);
    guint64 endTime = gst_segment_to_stream_time(segment, GST_FORMAT_TIME, end);
    gst_event_unref(segmentEvent);
    if (startTime != GST_CLOCK_TIME_NONE && endTime != GST_CLOCK_TIME_NONE) {
      stream->ends->update(stream->id, startTime, endTime);
    }
    return GST_PAD_PROBE_OK;
  }
  GstEvent* event = GST_PAD_PROBE_INFO_EVENT(info);
  if (event == nullptr) return GST_PAD_PROBE_OK;
  if (GST_EVENT_TYPE(event) == GST_EVENT_CAPS) {
    GstCaps* caps = nullptr;
    gst_event_parse_caps(event, &caps);
    stream->ends->setCounts(stream->id, isMediaCaps(caps));
  } else if (GST_EVENT_TYPE(event) == GST_EVENT_EOS) {
    stream->ends->finish(stream->id);
  } else if (GST_EVENT_TYPE(event) == GST_EVENT_FLUSH_STOP) {
    stream->ends->reset(stream->id);
  }
  return GST_PAD_PROBE_OK;
}

void watchParsedPad(GstElement*, GstPad* pad, gpointer data) {
  if (GST_PAD_DIRECTION(pad) != GST_PAD_SRC) return;
  auto ends = callbackData<std::shared_ptr<DownloadedEnd>>(data);
  void* stream = newCallbackData(ParsedStream{ends, ends->addStream()});
  gst_pad_add_probe(
      pad,
      GstPadProbeType(GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM |
                      GST_PAD_PROBE_TYPE_EVENT_FLUSH),
      onParsedData, stream, [](gpointer data) {
        ParsedStream& gone = callbackData<ParsedStream>(data);
        gone.ends->removeStream(gone.id);
        deleteCallbackData<ParsedStream>(data);
      });
}

}  // namespace

AdaptiveDemuxer::AdaptiveDemuxer() : downloaded_(std::make_shared<DownloadedEnd>()) {
  g_weak_ref_init(&demuxer_, nullptr);
}

AdaptiveDemuxer::~AdaptiveDemuxer() {
  g_weak_ref_clear(&demuxer_);
}

bool AdaptiveDemuxer::isAdaptiveDemuxer(GstElement* element) {
  GstElementFactory* factory = gst_element_get_factory(element);
  if (factory == nullptr || !hasProperty(element, "max-bitrate")) return false;
  const gchar* klass = gst_element_factory_get_metadata(factory, GST_ELEMENT_METADATA_KLASS);
  return klass != nullptr && g_strrstr(klass, "Demuxer") != nullptr;
}

void AdaptiveDemuxer::elementAdded(GstElement* element) {
  GstObject* parent = GST_OBJECT_PARENT(element);
  if (parent != nullptr && GST_IS_ELEMENT(parent) && isAdaptiveDemuxer(GST_ELEMENT(parent))) {
    GstElementFactory* factory = gst_element_get_factory(element);
    if (factory != nullptr && g_strcmp0(GST_OBJECT_NAME(factory), "parsebin") == 0) {
      watchParser(element);
    }
    return;
  }
  if (!isAdaptiveDemuxer(element)) return;
  double bitRate;
  Size2D resolution;
  {
    std::lock_guard lock(mutex_);
    g_weak_ref_set(&demuxer_, element);
    bitRate = bitRate_;
    resolution = resolution_;
  }
  applyTo(element, bitRate, resolution);
}

void AdaptiveDemuxer::applyTo(GstElement* demuxer, double bitRate, Size2D resolution) const {
  g_object_set(demuxer, "max-bitrate", capValue(bitRate), nullptr);
  // Only some demuxers can cap the picture size (dashdemux2 can, hlsdemux2 cannot).
  if (hasProperty(demuxer, "max-video-width")) {
    g_object_set(demuxer, "max-video-width", capValue(resolution.width), nullptr);
  }
  if (hasProperty(demuxer, "max-video-height")) {
    g_object_set(demuxer, "max-video-height", capValue(resolution.height), nullptr);
  }
}

GstElement* AdaptiveDemuxer::current() const {
  return static_cast<GstElement*>(g_weak_ref_get(const_cast<GWeakRef*>(&demuxer_)));
}

void AdaptiveDemuxer::setCaps(double bitsPerSecond, Size2D resolution) {
  GstElement* demuxer;
  {
    std::lock_guard lock(mutex_);
    bitRate_ = bitsPerSecond;
    resolution_ = resolution;
    demuxer = current();
  }
  if (demuxer == nullptr) return;
  applyTo(demuxer, bitsPerSecond, resolution);
  gst_object_unref(demuxer);
}

bool AdaptiveDemuxer::present() const {
  GstElement* demuxer = current();
  if (demuxer == nullptr) return false;
  gst_object_unref(demuxer);
  return true;
}

bool AdaptiveDemuxer::isHls() const {
  GstElement* demuxer = current();
  if (demuxer == nullptr) return false;
  GstElementFactory* factory = gst_element_get_factory(demuxer);
  bool hls = factory != nullptr && isHlsDemuxerFactory(GST_OBJECT_NAME(factory));
  gst_object_unref(demuxer);
  return hls;
}

void AdaptiveDemuxer::watchParser(GstElement* parser) {
  g_signal_connect_data(
      parser, "pad-added", G_CALLBACK(watchParsedPad), newCallbackData(downloaded_),
      [](gpointer data, GClosure*) { deleteCallbackData<std::shared_ptr<DownloadedEnd>>(data); },
      GConnectFlags(0));
}

std::optional<double> AdaptiveDemuxer::downloadedEndSeconds() const {
  if (!present()) return std::nullopt;
  return downloaded_->seconds();
}

}  // namespace zent
