#include "platform/gst_id3_tap.h"

#include <cstring>
#include <mutex>
#include <variant>

#include "metadata/timed_id3_extractors.h"

namespace zent {

// State shared by the tap and every probe it installed. Probes may outlive the
// tap (they are removed lazily, the next time they run), so they hold this and
// never the tap itself.
struct GstId3Tap::Shared {
  std::mutex mutex;  // guards callback; held while it runs so teardown can wait for it
  Callback callback;

  void deliver(std::vector<uint8_t> tag) {
    std::lock_guard<std::mutex> lock(mutex);
    if (callback) callback(std::move(tag));
  }
  bool active() {
    std::lock_guard<std::mutex> lock(mutex);
    return static_cast<bool>(callback);
  }
};

namespace {

using Extractor = std::variant<TransportStreamId3Extractor, PackedAudioId3Extractor>;

// One tapped sink pad: its extractor and the shared state.
struct PadTap {
  std::shared_ptr<GstId3Tap::Shared> shared;
  std::vector<std::vector<uint8_t>> found;  // tags from the buffer being read
  std::mutex mutex;  // buffers and flushes can reach a probe from different threads
  Extractor extractor;

  PadTap(std::shared_ptr<GstId3Tap::Shared> s, bool transportStream)
      : shared(std::move(s)),
        extractor(transportStream
                      ? Extractor(std::in_place_type<TransportStreamId3Extractor>, sinkInto())
                      : Extractor(std::in_place_type<PackedAudioId3Extractor>, sinkInto())) {}

  Id3TagSink sinkInto() {
    return [this](std::vector<uint8_t> tag) { found.push_back(std::move(tag)); };
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
  }
};

GstPadProbeReturn onSinkPadData(GstPad*, GstPadProbeInfo* info, gpointer userData) {
  auto* tap = static_cast<PadTap*>(userData);
  if (!tap->shared->active()) return GST_PAD_PROBE_REMOVE;

  std::vector<std::vector<uint8_t>> found;
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
    found.swap(tap->found);
  }
  for (std::vector<uint8_t>& tag : found) tap->shared->deliver(std::move(tag));
  return GST_PAD_PROBE_OK;
}

void tapSinkPad(GstElement* element, bool transportStream,
                const std::shared_ptr<GstId3Tap::Shared>& shared) {
  GstPad* pad = gst_element_get_static_pad(element, "sink");
  if (pad == nullptr) return;
  auto* tap = new PadTap(shared, transportStream);
  gst_pad_add_probe(pad,
                    static_cast<GstPadProbeType>(
                        GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_BUFFER_LIST |
                        GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM | GST_PAD_PROBE_TYPE_EVENT_FLUSH),
                    onSinkPadData, tap, [](gpointer data) { delete static_cast<PadTap*>(data); });
  gst_object_unref(pad);
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
  Callback released;
  {
    std::lock_guard<std::mutex> lock(shared_->mutex);  // waits for a delivery under way
    released.swap(shared_->callback);
  }
  gst_object_unref(pipeline_);
}

}  // namespace zent
