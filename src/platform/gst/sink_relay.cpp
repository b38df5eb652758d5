#include "platform/gst/sink_relay.h"

#include <gst/app/gstappsink.h>
#include <gst/video/video.h>

#include <algorithm>

#include "platform/gst/caption_text.h"
#include "platform/gst/thread_handoff.h"
#include "support/logger.h"
#include "support/main_queue.h"

namespace zent {
namespace {

// The callbacks hold the relay, not the item.
using RelayRef = std::shared_ptr<SinkRelay>;
void releaseRelayRef(gpointer data) {
  deleteCallbackData<RelayRef>(data);
}
SinkRelay& relayOf(gpointer data) {
  return *callbackData<RelayRef>(data);
}

// A pending caption clear: the relay it belongs to and the caption it ends.
struct ClearTicket {
  std::weak_ptr<SinkRelay> relay;
  uint64_t serial = 0;
};

template <typename T, typename U>
void eraseOutput(std::vector<std::shared_ptr<T>>& list, const std::shared_ptr<U>& output) {
  list.erase(std::remove(list.begin(), list.end(), output), list.end());
}

}  // namespace

SinkRelay::~SinkRelay() {
  if (captionClear_ != nullptr) {
    gst_clock_id_unschedule(captionClear_);
    gst_clock_id_unref(captionClear_);
  }
  if (lastCaps_ != nullptr) gst_caps_unref(lastCaps_);
  if (lastSample_ != nullptr) gst_sample_unref(lastSample_);
}

void SinkRelay::attachVideoSink(GstElement* appsink) {
  GstAppSinkCallbacks callbacks{};
  callbacks.new_preroll = [](GstAppSink* sink, gpointer relay) {
    return videoPreroll(GST_ELEMENT(sink), relay);
  };
  callbacks.new_sample = [](GstAppSink* sink, gpointer relay) {
    return videoSample(GST_ELEMENT(sink), relay);
  };
  gst_app_sink_set_callbacks(GST_APP_SINK(appsink), &callbacks,
                             newCallbackData<RelayRef>(shared_from_this()), releaseRelayRef);
}

void SinkRelay::attachTextSink(GstElement* appsink) {
  GstAppSinkCallbacks callbacks{};
  callbacks.new_preroll = [](GstAppSink* sink, gpointer relay) {
    return textPreroll(GST_ELEMENT(sink), relay);
  };
  callbacks.new_sample = [](GstAppSink* sink, gpointer relay) {
    return textSample(GST_ELEMENT(sink), relay);
  };
  gst_app_sink_set_callbacks(GST_APP_SINK(appsink), &callbacks,
                             newCallbackData<RelayRef>(shared_from_this()), releaseRelayRef);

  // A seek flushes the caption on screen: it belongs to the old position.
  //
  // Gaps are dropped. The text sink does not wait for data to preroll (it is not
  // async) and captions are cleared by their own end time, so gaps tell it
  // nothing; but the HLS demuxer ends a WebVTT rendition with a gap that reaches
  // seconds past the end of the content, and a synchronised sink waits for that
  // gap's end before it takes EOS: end of content came late and the position ran
  // on past the duration meanwhile.
  GstPad* pad = gst_element_get_static_pad(appsink, "sink");
  gst_pad_add_probe(
      pad, GstPadProbeType(GST_PAD_PROBE_TYPE_EVENT_FLUSH | GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM),
      [](GstPad*, GstPadProbeInfo* info, gpointer relay) {
        GstEvent* event = GST_PAD_PROBE_INFO_EVENT(info);
        if (event == nullptr) return GST_PAD_PROBE_OK;
        if (GST_EVENT_TYPE(event) == GST_EVENT_GAP) return GST_PAD_PROBE_DROP;
        if (GST_EVENT_TYPE(event) == GST_EVENT_FLUSH_STOP ||
            GST_EVENT_TYPE(event) == GST_EVENT_EOS) {
          relayOf(relay).onCaptionFlush();
        }
        return GST_PAD_PROBE_OK;
      },
      newCallbackData<RelayRef>(shared_from_this()), releaseRelayRef);
  gst_object_unref(pad);
}

GstFlowReturn SinkRelay::videoPreroll(GstElement* sink, gpointer relay) {
  if (GstSample* sample = gst_app_sink_pull_preroll(GST_APP_SINK(sink))) {
    relayOf(relay).onVideoSample(sink, sample);
    gst_sample_unref(sample);
  }
  return GST_FLOW_OK;
}

GstFlowReturn SinkRelay::videoSample(GstElement* sink, gpointer relay) {
  if (GstSample* sample = gst_app_sink_pull_sample(GST_APP_SINK(sink))) {
    relayOf(relay).onVideoSample(sink, sample);
    gst_sample_unref(sample);
  }
  return GST_FLOW_OK;
}

GstFlowReturn SinkRelay::textPreroll(GstElement* sink, gpointer relay) {
  if (GstSample* sample = gst_app_sink_pull_preroll(GST_APP_SINK(sink))) {
    relayOf(relay).onTextSample(sample);
    relayOf(relay).scheduleCaptionClear(sink, sample);
    gst_sample_unref(sample);
  }
  return GST_FLOW_OK;
}

GstFlowReturn SinkRelay::textSample(GstElement* sink, gpointer relay) {
  if (GstSample* sample = gst_app_sink_pull_sample(GST_APP_SINK(sink))) {
    relayOf(relay).onTextSample(sample);
    relayOf(relay).scheduleCaptionClear(sink, sample);
    gst_sample_unref(sample);
  }
  return GST_FLOW_OK;
}

void SinkRelay::onVideoSample(GstElement* sink, GstSample* sample) {
  GstCaps* caps = gst_sample_get_caps(sample);
  GstVideoInfo info;
  const bool rgbaFrame = caps != nullptr && gst_video_info_from_caps(&info, caps) &&
                         GST_VIDEO_INFO_FORMAT(&info) == GST_VIDEO_FORMAT_RGBA;
  bool rgba = false;
  bool askAgain = false;
  bool converting = false;
  {
    std::lock_guard lock(mutex_);
    for (const auto& output : videoOutputs_) rgba = rgba || output->rgbaWanted();
    askAgain = !detached_ && rgba != rgbaAsked_;
    if (askAgain) rgbaAsked_ = rgba;
    converting = rgbaFrame && !rgbaDelivered_ && rgbaAsked_;
    rgbaDelivered_ = rgbaFrame;
  }
  if (askAgain) askForFormat(sink, rgba);
  if (converting) {
    Logger::log(LogLevel::DEBUG,
                "Media engine: video frames now come converted to RGBA by the pipeline (the "
                "host's OpenGL rasterises on the CPU)");
  }
  deliverVideoSample(sample);
}

void SinkRelay::askForFormat(GstElement* sink, bool rgba) {
  GstCaps* caps = gst_caps_from_string(rgba ? kRgbaVideoCaps : kDecodedVideoCaps);
  g_object_set(sink, "caps", caps, nullptr);
  gst_caps_unref(caps);
  // The converter upstream picks the new format with its next frame.
  GstPad* pad = gst_element_get_static_pad(sink, "sink");
  if (pad == nullptr) return;
  gst_pad_push_event(pad, gst_event_new_reconfigure());
  gst_object_unref(pad);
}

void SinkRelay::deliverVideoSample(GstSample* sample) {
  GstBuffer* buffer = gst_sample_get_buffer(sample);
  GstCaps* caps = gst_sample_get_caps(sample);
  if (buffer == nullptr) return;
  std::lock_guard lock(mutex_);
  if (detached_) return;
  if (caps != nullptr && caps != lastCaps_) {
    gst_caps_replace(&lastCaps_, caps);
    GstVideoInfo info;
    if (gst_video_info_from_caps(&info, caps)) {
      VideoGeometry geometry;
      geometry.width = GST_VIDEO_INFO_WIDTH(&info);
      geometry.height = GST_VIDEO_INFO_HEIGHT(&info);
      geometry.parN = std::max(1, GST_VIDEO_INFO_PAR_N(&info));
      geometry.parD = std::max(1, GST_VIDEO_INFO_PAR_D(&info));
      geometry_ = geometry;
    }
  }
  // A prerolled frame is rendered again when playback starts: hand it out once.
  if (lastSample_ != nullptr) {
    GstBuffer* last = gst_sample_get_buffer(lastSample_);
    if (last == buffer && GST_BUFFER_PTS(last) == GST_BUFFER_PTS(buffer)) return;
  }
  GstSample* previous = lastSample_;
  lastSample_ = gst_sample_ref(sample);
  for (const auto& output : videoOutputs_) output->deliver(sample);
  if (previous != nullptr) gst_sample_unref(previous);
}

void SinkRelay::onTextSample(GstSample* sample) {
  GstBuffer* buffer = gst_sample_get_buffer(sample);
  if (buffer == nullptr) return;
  bool markup = false;
  if (GstCaps* caps = gst_sample_get_caps(sample)) {
    const GstStructure* structure = gst_caps_get_structure(caps, 0);
    const gchar* format =
        structure != nullptr ? gst_structure_get_string(structure, "format") : nullptr;
    markup = format != nullptr && g_str_equal(format, "pango-markup");
  }
  // The whole cue is one caption: its lines stay together in one string.
  std::vector<std::string> lines;
  GstMapInfo map;
  if (gst_buffer_map(buffer, &map, GST_MAP_READ)) {
    std::string text =
        captionText(std::string_view(reinterpret_cast<const char*>(map.data), map.size), markup);
    if (!text.empty()) lines.push_back(std::move(text));
    gst_buffer_unmap(buffer, &map);
  }
  std::lock_guard lock(mutex_);
  if (detached_) return;
  GstClockTime pts = GST_BUFFER_PTS(buffer);
  if (buffer == lastTextBuffer_ && pts == lastTextPts_) return;
  lastTextBuffer_ = buffer;
  lastTextPts_ = pts;
  if (!captionsOn_) return;
  cancelCaptionClearLocked();
  if (lines.empty() && !captionShown_) return;
  captionShown_ = !lines.empty();
  postCaption(std::move(lines));
}

// Called with mutex_ held, so captions and clears reach the queue in order.
void SinkRelay::postCaption(std::vector<std::string> lines) {
  for (const auto& output : legibleOutputs_) {
    std::weak_ptr<GstLegibleOutput> target = output;
    MainQueue::post([target, lines] {
      if (auto live = target.lock()) live->deliver(lines);
    });
  }
}

void SinkRelay::cancelCaptionClearLocked() {
  ++captionSerial_;
  if (captionClear_ != nullptr) {
    gst_clock_id_unschedule(captionClear_);
    gst_clock_id_unref(captionClear_);
    captionClear_ = nullptr;
  }
}

void SinkRelay::scheduleCaptionClear(GstElement* sink, GstSample* sample) {
  GstBuffer* buffer = gst_sample_get_buffer(sample);
  const GstSegment* segment = gst_sample_get_segment(sample);
  if (buffer == nullptr || segment == nullptr || !GST_BUFFER_PTS_IS_VALID(buffer) ||
      !GST_BUFFER_DURATION_IS_VALID(buffer)) {
    return;
  }
  GstClockTime end = gst_segment_to_running_time(
      segment, GST_FORMAT_TIME, GST_BUFFER_PTS(buffer) + GST_BUFFER_DURATION(buffer));
  if (!GST_CLOCK_TIME_IS_VALID(end)) return;
  GstClock* clock = gst_element_get_clock(sink);
  if (clock == nullptr) return;  // not playing yet: the next caption or a flush clears it
  GstClockID id = gst_clock_new_single_shot_id(clock, gst_element_get_base_time(sink) + end);
  gst_object_unref(clock);

  auto* ticket = new ClearTicket();
  ticket->relay = weak_from_this();
  {
    std::lock_guard lock(mutex_);
    if (detached_ || !captionShown_) {
      gst_clock_id_unref(id);
      delete ticket;
      return;
    }
    cancelCaptionClearLocked();
    captionClear_ = id;
    ticket->serial = captionSerial_;
  }
  handOff(ticket);
  gst_clock_id_wait_async(
      id,
      [](GstClock*, GstClockTime, GstClockID, gpointer data) -> gboolean {
        auto* pending = &callbackData<ClearTicket>(data);
        if (auto relay = pending->relay.lock()) {
          std::lock_guard lock(relay->mutex_);
          if (relay->captionSerial_ == pending->serial && relay->captionShown_ &&
              !relay->detached_) {
            relay->captionShown_ = false;
            relay->postCaption({});
          }
        }
        return TRUE;
      },
      ticket, [](gpointer data) { deleteCallbackData<ClearTicket>(data); });
}

void SinkRelay::setCaptionsOn(bool on) {
  std::lock_guard lock(mutex_);
  if (captionsOn_ == on) return;
  captionsOn_ = on;
  if (on || detached_) return;
  cancelCaptionClearLocked();
  captionShown_ = false;
  postCaption({});
}

void SinkRelay::onCaptionFlush() {
  std::lock_guard lock(mutex_);
  cancelCaptionClearLocked();
  lastTextBuffer_ = nullptr;
  lastTextPts_ = GST_CLOCK_TIME_NONE;
  if (!captionShown_ || detached_) return;
  captionShown_ = false;
  postCaption({});
}

void SinkRelay::addVideoOutput(std::shared_ptr<GstVideoOutput> output) {
  std::lock_guard lock(mutex_);
  if (std::find(videoOutputs_.begin(), videoOutputs_.end(), output) != videoOutputs_.end()) return;
  // A new output starts with the frame on screen, also when the item is paused.
  if (lastSample_ != nullptr) output->deliver(lastSample_);
  videoOutputs_.push_back(std::move(output));
}

void SinkRelay::removeVideoOutput(const std::shared_ptr<GstVideoOutput>& output) {
  {
    std::lock_guard lock(mutex_);
    eraseOutput(videoOutputs_, output);
  }
  if (output) output->clear();
}

void SinkRelay::addLegibleOutput(std::shared_ptr<GstLegibleOutput> output) {
  std::lock_guard lock(mutex_);
  legibleOutputs_.push_back(std::move(output));
}

void SinkRelay::addMetadataOutput(std::shared_ptr<GstMetadataOutput> output) {
  std::lock_guard lock(mutex_);
  metadataOutputs_.push_back(std::move(output));
}

void SinkRelay::removeMetadataOutput(const std::shared_ptr<GstMetadataOutput>& output) {
  std::lock_guard lock(mutex_);
  eraseOutput(metadataOutputs_, output);
}

bool SinkRelay::hasMetadataOutputs() const {
  std::lock_guard lock(mutex_);
  return !metadataOutputs_.empty();
}

void SinkRelay::detachAll() {
  std::vector<std::shared_ptr<GstVideoOutput>> video;
  GstSample* last = nullptr;
  {
    std::lock_guard lock(mutex_);
    detached_ = true;
    std::swap(last, lastSample_);
    cancelCaptionClearLocked();
    video.swap(videoOutputs_);
    legibleOutputs_.clear();
    metadataOutputs_.clear();
  }
  for (const auto& output : video) output->clear();
  if (last != nullptr) gst_sample_unref(last);
}

std::optional<VideoGeometry> SinkRelay::videoGeometry() const {
  std::lock_guard lock(mutex_);
  return geometry_;
}

void SinkRelay::deliverId3Tag(std::vector<uint8_t> tag) {
  std::lock_guard lock(mutex_);
  if (detached_) return;
  for (const auto& output : metadataOutputs_) {
    std::weak_ptr<GstMetadataOutput> target = output;
    MainQueue::post([target, tag] {
      if (auto live = target.lock()) live->deliver(tag);
    });
  }
}

}  // namespace zent
