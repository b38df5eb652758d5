#include "platform/gst_id3_tap.h"

#include <cstring>
#include <deque>
#include <mutex>
#include <optional>
#include <variant>

#include "metadata/timed_id3_extractors.h"

namespace zent {

// State shared by the tap and every probe it installed. Probes may outlive the
// tap (they are removed lazily, the next time they run), so they hold this and
// never the tap itself.
struct GstId3Tap::Shared {
  std::mutex mutex;  // guards callback; held while it runs so teardown can wait for it
  TimedCallback callback;

  void deliver(std::vector<uint8_t> tag, GstClockTime pts) {
    std::lock_guard<std::mutex> lock(mutex);
    if (callback) callback(std::move(tag), pts);
  }
  bool active() {
    std::lock_guard<std::mutex> lock(mutex);
    return static_cast<bool>(callback);
  }
};

namespace {

using Extractor = std::variant<TransportStreamId3Extractor, PackedAudioId3Extractor>;

GstClockTime mpegToNs(uint64_t pts90k) {
  return gst_util_uint64_scale(pts90k, GST_SECOND, 90000);
}

// One tapped sink pad: its extractor and the shared state. For a transport
// stream, also the pairing of video PES times with the demuxer's buffers.
struct PadTap {
  struct Found {
    std::vector<uint8_t> tag;
    std::optional<uint64_t> pts90k;
  };
  std::shared_ptr<GstId3Tap::Shared> shared;
  std::vector<Found> found;  // tags from the buffer being read
  std::mutex mutex;          // buffers and flushes can reach a probe from different threads
  Extractor extractor;
  std::deque<uint64_t> videoPesPts;          // read, not yet pushed by the demuxer
  std::optional<GstClockTimeDiff> offsetNs;  // demuxer PTS minus MPEG time
  std::vector<Found> waiting;                // timed tags found before the offset was known
  bool pairingFailed = false;

  PadTap(std::shared_ptr<GstId3Tap::Shared> s, bool isTransportStream)
      : shared(std::move(s)),
        extractor(isTransportStream
                      ? Extractor(std::in_place_type<TransportStreamId3Extractor>, sinkInto())
                      : Extractor(std::in_place_type<PackedAudioId3Extractor>, sinkInto())) {
    if (auto* ts = std::get_if<TransportStreamId3Extractor>(&extractor)) {
      ts->setVideoPtsSink([this](uint64_t pts) {
        // Far more PES read than pushed: the demuxer's video is not reaching
        // the probe, so tags are handed on untimed rather than mistimed.
        if (videoPesPts.size() >= 1024) {
          videoPesPts.clear();
          pairingFailed = true;
        }
        if (!pairingFailed) videoPesPts.push_back(pts);
      });
    }
  }

  Id3TagSink sinkInto() {
    return [this](std::vector<uint8_t> tag) {
      std::optional<uint64_t> pts;
      if (auto* ts = std::get_if<TransportStreamId3Extractor>(&extractor))
        pts = ts->currentTagPts();
      found.push_back({std::move(tag), pts});
    };
  }

  void feed(GstBuffer* buffer) {
    // A new fragment starts at byte offset 0 (the adaptive demuxer numbers
    // bytes per fragment) or after a discontinuity.
    bool boundary = GST_BUFFER_OFFSET(buffer) == 0 || GST_BUFFER_IS_DISCONT(buffer);
    GstMapInfo map;
    if (!gst_buffer_map(buffer, &map, GST_MAP_READ)) return;
    std::span<const uint8_t> data(map.data, map.size);
    std::visit([&](auto& e) { e.feed(data, boundary); }, extractor);
    gst_buffer_unmap(buffer, &map);
  }

  void reset() {
    std::visit([](auto& e) { e.reset(); }, extractor);
    videoPesPts.clear();
    offsetNs.reset();
    waiting.clear();
    pairingFailed = false;
  }

  GstClockTime toBufferTime(uint64_t pts90k) const {
    GstClockTimeDiff time = static_cast<GstClockTimeDiff>(mpegToNs(pts90k)) + *offsetNs;
    return time < 0 ? 0 : static_cast<GstClockTime>(time);
  }

  // Called with mutex held: the tags ready to hand over, with their times.
  void takeReady(std::vector<std::pair<std::vector<uint8_t>, GstClockTime>>& ready) {
    auto* ts = std::get_if<TransportStreamId3Extractor>(&extractor);
    // Without pictures there is no frame to wait for.
    const bool timed = ts != nullptr && ts->hasVideoStream() && !pairingFailed;
    if (!timed) {
      for (Found& tag : waiting) ready.emplace_back(std::move(tag.tag), GST_CLOCK_TIME_NONE);
      waiting.clear();
    }
    for (Found& tag : found) {
      if (!timed || !tag.pts90k) {
        ready.emplace_back(std::move(tag.tag), GST_CLOCK_TIME_NONE);
      } else if (offsetNs) {
        ready.emplace_back(std::move(tag.tag), toBufferTime(*tag.pts90k));
      } else {
        waiting.push_back(std::move(tag));
      }
    }
    found.clear();
  }

  // The demuxer pushed a video buffer: it is the oldest video PES read.
  void videoPushed(GstBuffer* buffer,
                   std::vector<std::pair<std::vector<uint8_t>, GstClockTime>>& ready) {
    if (videoPesPts.empty() || !GST_BUFFER_PTS_IS_VALID(buffer)) return;
    offsetNs = static_cast<GstClockTimeDiff>(GST_BUFFER_PTS(buffer)) -
               static_cast<GstClockTimeDiff>(mpegToNs(videoPesPts.front()));
    videoPesPts.pop_front();
    for (Found& tag : waiting) ready.emplace_back(std::move(tag.tag), toBufferTime(*tag.pts90k));
    waiting.clear();
  }
};
using PadTapRef = std::shared_ptr<PadTap>;

void deliverAll(PadTap& tap, std::vector<std::pair<std::vector<uint8_t>, GstClockTime>>& ready) {
  for (auto& [tag, pts] : ready) tap.shared->deliver(std::move(tag), pts);
}

GstPadProbeReturn onSinkPadData(GstPad*, GstPadProbeInfo* info, gpointer userData) {
  PadTap* tap = static_cast<PadTapRef*>(userData)->get();
  if (!tap->shared->active()) return GST_PAD_PROBE_REMOVE;
  std::vector<std::pair<std::vector<uint8_t>, GstClockTime>> ready;
  {
    std::lock_guard<std::mutex> lock(tap->mutex);
    if (info->type & GST_PAD_PROBE_TYPE_BUFFER) {
      tap->feed(GST_PAD_PROBE_INFO_BUFFER(info));
    } else if (info->type & GST_PAD_PROBE_TYPE_BUFFER_LIST) {
      GstBufferList* list = GST_PAD_PROBE_INFO_BUFFER_LIST(info);
      for (guint i = 0, n = gst_buffer_list_length(list); i < n; ++i) {
        tap->feed(gst_buffer_list_get(list, i));
      }
    } else if (info->type & GST_PAD_PROBE_TYPE_EVENT_BOTH) {
      GstEventType type = GST_EVENT_TYPE(GST_PAD_PROBE_INFO_EVENT(info));
      if (type == GST_EVENT_FLUSH_STOP || type == GST_EVENT_STREAM_START) tap->reset();
    }
    tap->takeReady(ready);
  }
  deliverAll(*tap, ready);
  return GST_PAD_PROBE_OK;
}

GstPadProbeReturn onVideoPadBuffer(GstPad*, GstPadProbeInfo* info, gpointer userData) {
  PadTap* tap = static_cast<PadTapRef*>(userData)->get();
  if (!tap->shared->active()) return GST_PAD_PROBE_REMOVE;
  std::vector<std::pair<std::vector<uint8_t>, GstClockTime>> ready;
  {
    std::lock_guard<std::mutex> lock(tap->mutex);
    if (GstBuffer* buffer = GST_PAD_PROBE_INFO_BUFFER(info)) tap->videoPushed(buffer, ready);
  }
  deliverAll(*tap, ready);
  return GST_PAD_PROBE_OK;
}

void releasePadTap(gpointer data) {
  delete static_cast<PadTapRef*>(data);
}

void tapSinkPad(GstElement* element, bool transportStream,
                const std::shared_ptr<GstId3Tap::Shared>& shared) {
  GstPad* pad = gst_element_get_static_pad(element, "sink");
  if (pad == nullptr) return;
  auto tap = std::make_shared<PadTap>(shared, transportStream);
  gst_pad_add_probe(pad,
                    static_cast<GstPadProbeType>(
                        GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_BUFFER_LIST |
                        GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM | GST_PAD_PROBE_TYPE_EVENT_FLUSH),
                    onSinkPadData, new PadTapRef(tap), releasePadTap);
  gst_object_unref(pad);
  if (!transportStream) return;
  // tsdemux names its video pads "video_<program>_<pid>".
  g_signal_connect_data(
      element, "pad-added", G_CALLBACK(+[](GstElement*, GstPad* added, gpointer data) {
        if (!g_str_has_prefix(GST_PAD_NAME(added), "video_")) return;
        gst_pad_add_probe(added, GST_PAD_PROBE_TYPE_BUFFER, onVideoPadBuffer,
                          new PadTapRef(*static_cast<PadTapRef*>(data)), releasePadTap);
      }),
      new PadTapRef(tap), [](gpointer data, GClosure*) { releasePadTap(data); }, GConnectFlags(0));
}

void tapIfDemuxer(GstElement* element, const std::shared_ptr<GstId3Tap::Shared>& shared) {
  GstElementFactory* factory = gst_element_get_factory(element);
  if (factory == nullptr) return;
  const char* name = GST_OBJECT_NAME(factory);
  if (std::strcmp(name, "tsdemux") == 0) {
    tapSinkPad(element, true, shared);
  } else if (std::strcmp(name, "id3demux") == 0) {
    tapSinkPad(element, false, shared);
  }
}

void onDeepElementAdded(GstBin*, GstBin*, GstElement* element, gpointer userData) {
  auto& shared = *static_cast<std::shared_ptr<GstId3Tap::Shared>*>(userData);
  if (shared->active()) tapIfDemuxer(element, shared);
}

}  // namespace

GstId3Tap::GstId3Tap(GstElement* pipeline, std::shared_ptr<Shared> shared)
    : pipeline_(GST_ELEMENT(gst_object_ref(pipeline))), shared_(std::move(shared)) {}

std::unique_ptr<GstId3Tap> GstId3Tap::install(GstElement* pipeline, Callback callback) {
  if (!callback) return nullptr;
  return installTimed(pipeline,
                      [callback = std::move(callback)](std::vector<uint8_t> tag, GstClockTime) {
                        callback(std::move(tag));
                      });
}

std::unique_ptr<GstId3Tap> GstId3Tap::installTimed(GstElement* pipeline, TimedCallback callback) {
  if (pipeline == nullptr || !GST_IS_BIN(pipeline) || !callback) return nullptr;
  auto shared = std::make_shared<Shared>();
  shared->callback = std::move(callback);
  std::unique_ptr<GstId3Tap> tap(new GstId3Tap(pipeline, shared));

  tap->elementAddedHandler_ = g_signal_connect_data(
      pipeline, "deep-element-added", G_CALLBACK(onDeepElementAdded),
      new std::shared_ptr<Shared>(shared),
      [](gpointer data, GClosure*) { delete static_cast<std::shared_ptr<Shared>*>(data); },
      GConnectFlags(0));

  GstIterator* it = gst_bin_iterate_recurse(GST_BIN(pipeline));
  GValue item = G_VALUE_INIT;
  bool done = false;
  while (!done) {
    switch (gst_iterator_next(it, &item)) {
      case GST_ITERATOR_OK:
        tapIfDemuxer(GST_ELEMENT(g_value_get_object(&item)), shared);
        g_value_reset(&item);
        break;
      case GST_ITERATOR_RESYNC:
        gst_iterator_resync(it);
        break;
      default:
        done = true;
        break;
    }
  }
  g_value_unset(&item);
  gst_iterator_free(it);
  return tap;
}

GstId3Tap::~GstId3Tap() {
  if (elementAddedHandler_ != 0) g_signal_handler_disconnect(pipeline_, elementAddedHandler_);
  TimedCallback released;
  {
    std::lock_guard<std::mutex> lock(shared_->mutex);  // waits for a delivery under way
    released.swap(shared_->callback);
  }
  gst_object_unref(pipeline_);
}

}  // namespace zent
