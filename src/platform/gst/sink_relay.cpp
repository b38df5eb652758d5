#include "platform/gst/sink_relay.h"

#include <gst/app/gstappsink.h>
#include <gst/video/video.h>

#include <algorithm>

#include "platform/gst/caption_text.h"
#include "platform/gst/thread_handoff.h"
#include "platform/gst/video_caption_bytes.h"
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

// The most caption changes and ID3 tags held for frames not yet rendered.
constexpr std::size_t kMaxDue = 512;

// A pending caption clear: the relay it belongs to and the caption it ends.
struct ClearTicket {
  std::weak_ptr<SinkRelay> relay;
  uint64_t serial = 0;
  GstClockTime runningTime = GST_CLOCK_TIME_NONE;
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
  if (captionClock_ != nullptr) gst_object_unref(captionClock_);
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

  // Caption bytes are read as frames arrive, before the sink waits for their
  // time or drops a late one, so no caption command is lost.
  GstPad* pad = gst_element_get_static_pad(appsink, "sink");
  gst_pad_add_probe(
      pad, GstPadProbeType(GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_EVENT_FLUSH),
      [](GstPad*, GstPadProbeInfo* info, gpointer relay) {
        if (info->type & GST_PAD_PROBE_TYPE_BUFFER) {
          relayOf(relay).onVideoBufferArriving(GST_PAD_PROBE_INFO_BUFFER(info));
        } else if (GstEvent* event = GST_PAD_PROBE_INFO_EVENT(info);
                   event != nullptr && GST_EVENT_TYPE(event) == GST_EVENT_FLUSH_STOP) {
          relayOf(relay).onVideoFlush();
        }
        return GST_PAD_PROBE_OK;
      },
      newCallbackData<RelayRef>(shared_from_this()), releaseRelayRef);
  gst_object_unref(pad);
}

void SinkRelay::attachTextSink(GstElement* appsink) {
  GstAppSinkCallbacks callbacks{};
  // No preroll callback: a prerolled cue is rendered again when its time comes
  // on the clock, and showing it at preroll would show it early.
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

GstFlowReturn SinkRelay::textSample(GstElement* sink, gpointer relay) {
  if (GstSample* sample = gst_app_sink_pull_sample(GST_APP_SINK(sink))) {
    relayOf(relay).onTextSample(sink, sample);
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
  presentDueLocked(GST_BUFFER_PTS(buffer));
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

namespace {

// The running time of a position in the sample's segment, or GST_CLOCK_TIME_NONE.
GstClockTime runningTime(GstSample* sample, GstClockTime position) {
  const GstSegment* segment = gst_sample_get_segment(sample);
  if (segment == nullptr || !GST_CLOCK_TIME_IS_VALID(position)) return GST_CLOCK_TIME_NONE;
  return gst_segment_to_running_time(segment, GST_FORMAT_TIME, position);
}

}  // namespace

// The text sink renders each cue at its start on the pipeline clock: the cue
// joins those on screen then.
void SinkRelay::onTextSample(GstElement* sink, GstSample* sample) {
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
  std::string text;
  GstMapInfo map;
  if (gst_buffer_map(buffer, &map, GST_MAP_READ)) {
    text = captionText(std::string_view(reinterpret_cast<const char*>(map.data), map.size), markup);
    gst_buffer_unmap(buffer, &map);
  }
  GstClockTime pts = GST_BUFFER_PTS(buffer);
  GstClockTime start = runningTime(sample, pts);
  GstClockTime end = GST_BUFFER_DURATION_IS_VALID(buffer) && GST_CLOCK_TIME_IS_VALID(pts)
                         ? runningTime(sample, pts + GST_BUFFER_DURATION(buffer))
                         : GST_CLOCK_TIME_NONE;
  GstClock* clock = gst_element_get_clock(sink);
  GstClockTime baseTime = gst_element_get_base_time(sink);

  std::lock_guard lock(mutex_);
  if (clock != nullptr) {
    if (captionClock_ != nullptr) gst_object_unref(captionClock_);
    captionClock_ = clock;
    captionBaseTime_ = baseTime;
  }
  if (detached_) return;
  if (buffer == lastTextBuffer_ && pts == lastTextPts_) return;
  lastTextBuffer_ = buffer;
  lastTextPts_ = pts;
  if (!captionsOn_ || shownChannelLocked()) return;
  // Cues that have ended by this one's start leave, and so do cues without an end.
  std::erase_if(shownCues_, [&](const ShownCue& cue) {
    return !GST_CLOCK_TIME_IS_VALID(cue.endRunningTime) ||
           (GST_CLOCK_TIME_IS_VALID(start) && cue.endRunningTime <= start);
  });
  if (!text.empty()) shownCues_.push_back({end, std::move(text)});
  postShownCuesLocked();
  scheduleCaptionClearLocked();
}

// Posts the cues on screen, joined by "\n", when they differ from what was posted.
void SinkRelay::postShownCuesLocked() {
  std::string joined;
  for (const ShownCue& cue : shownCues_) {
    if (!joined.empty()) joined += '\n';
    joined += cue.text;
  }
  postTextLocked(joined);
}

// Posts a caption (or a clear, for "") when it differs from what was posted last.
void SinkRelay::postTextLocked(const std::string& text) {
  if (text.empty() && !captionShown_) return;
  if (!text.empty() && captionShown_ && text == shownText_) return;
  captionShown_ = !text.empty();
  shownText_ = text;
  postCaption(text.empty() ? std::vector<std::string>{} : std::vector<std::string>{text});
}

void SinkRelay::onVideoBufferArriving(GstBuffer* buffer) {
  std::lock_guard lock(mutex_);
  if (detached_) return;
  const unsigned knownChannels = closedCaptions_.channelsWithText();
  if (!feedVideoCaptionBytes(buffer, closedCaptions_)) return;
  unsigned changed = closedCaptions_.takeChangedChannels();
  if (closedCaptions_.channelsWithText() != knownChannels && channelsFound_) {
    MainQueue::post(channelsFound_);
  }
  for (int channel = 0; changed != 0; ++channel, changed >>= 1) {
    if (changed & 1) {
      closedCaptionsDue_.push_back(
          {GST_BUFFER_PTS(buffer), channel, closedCaptions_.displayedText(channel)});
      // Frames that never reach rendering must not make the queue grow without bound.
      if (closedCaptionsDue_.size() > kMaxDue) closedCaptionsDue_.pop_front();
    }
  }
}

// A frame is on screen: the caption changes that came with it and before it
// show, and the ID3 tags of its time and before reach the metadata outputs.
void SinkRelay::presentDueLocked(GstClockTime framePts) {
  while (!id3TagsDue_.empty() && GST_CLOCK_TIME_IS_VALID(framePts) &&
         id3TagsDue_.front().first <= framePts) {
    postId3TagLocked(std::move(id3TagsDue_.front().second));
    id3TagsDue_.pop_front();
  }
  while (!closedCaptionsDue_.empty()) {
    ClosedCaptionScreen& next = closedCaptionsDue_.front();
    if (GST_CLOCK_TIME_IS_VALID(framePts) && GST_CLOCK_TIME_IS_VALID(next.pts) &&
        next.pts > framePts) {
      break;
    }
    channelScreens_[next.channel] = std::move(next.text);
    if (captionsOn_ && shownChannelLocked() == next.channel) {
      postTextLocked(channelScreens_[next.channel]);
    }
    closedCaptionsDue_.pop_front();
  }
}

// A seek: the captions decoded so far belong to the old position.
void SinkRelay::onVideoFlush() {
  std::lock_guard lock(mutex_);
  closedCaptions_.reset();
  closedCaptionsDue_.clear();
  id3TagsDue_.clear();
  channelScreens_ = {};
  if (shownChannelLocked() && !detached_) postTextLocked("");
}

std::optional<int> SinkRelay::shownChannelLocked() const {
  if (channelChosen_) return chosenChannel_;
  return hasTextStream_ ? std::nullopt : std::optional<int>(0);
}

void SinkRelay::setCaptionChannel(std::optional<int> channel) {
  std::lock_guard lock(mutex_);
  if (channel && (*channel < 0 || *channel >= Cea608Decoder::kChannels)) return;
  channelChosen_ = true;
  chosenChannel_ = channel;
  if (detached_ || !captionsOn_) return;
  if (channel) {
    cancelCaptionClearLocked();
    shownCues_.clear();
    postTextLocked(channelScreens_[*channel]);
  } else {
    postTextLocked("");
  }
}

void SinkRelay::setHasTextStream(bool hasTextStream) {
  std::lock_guard lock(mutex_);
  hasTextStream_ = hasTextStream;
}

void SinkRelay::setCaptionChannelsFound(std::function<void()> found) {
  std::lock_guard lock(mutex_);
  channelsFound_ = std::move(found);
}

unsigned SinkRelay::captionChannelsWithText() const {
  std::lock_guard lock(mutex_);
  return closedCaptions_.channelsWithText();
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

// Waits on the pipeline clock for the first end among the cues on screen.
void SinkRelay::scheduleCaptionClearLocked() {
  cancelCaptionClearLocked();
  GstClockTime end = GST_CLOCK_TIME_NONE;
  for (const ShownCue& cue : shownCues_) {
    if (GST_CLOCK_TIME_IS_VALID(cue.endRunningTime) &&
        (!GST_CLOCK_TIME_IS_VALID(end) || cue.endRunningTime < end)) {
      end = cue.endRunningTime;
    }
  }
  // Not playing yet (no clock): the next cue or a flush clears it.
  if (!GST_CLOCK_TIME_IS_VALID(end) || captionClock_ == nullptr || detached_) return;
  GstClockID id = gst_clock_new_single_shot_id(captionClock_, captionBaseTime_ + end);
  captionClear_ = gst_clock_id_ref(id);
  auto* ticket = new ClearTicket();
  ticket->relay = weak_from_this();
  ticket->serial = captionSerial_;
  ticket->runningTime = end;
  handOff(ticket);
  gst_clock_id_wait_async(
      id,
      [](GstClock*, GstClockTime, GstClockID, gpointer data) -> gboolean {
        auto* pending = &callbackData<ClearTicket>(data);
        if (auto relay = pending->relay.lock()) {
          relay->onCaptionEnd(pending->serial, pending->runningTime);
        }
        return TRUE;
      },
      ticket, [](gpointer data) { deleteCallbackData<ClearTicket>(data); });
  gst_clock_id_unref(id);
}

void SinkRelay::onCaptionEnd(uint64_t serial, GstClockTime runningTime) {
  std::lock_guard lock(mutex_);
  if (serial != captionSerial_ || detached_) return;
  std::erase_if(shownCues_, [&](const ShownCue& cue) {
    return GST_CLOCK_TIME_IS_VALID(cue.endRunningTime) && cue.endRunningTime <= runningTime;
  });
  postShownCuesLocked();
  scheduleCaptionClearLocked();
}

void SinkRelay::setCaptionsOn(bool on) {
  std::lock_guard lock(mutex_);
  if (captionsOn_ == on) return;
  captionsOn_ = on;
  if (on || detached_) return;
  cancelCaptionClearLocked();
  shownCues_.clear();
  captionShown_ = false;
  shownText_.clear();
  postCaption({});
}

void SinkRelay::onCaptionFlush() {
  std::lock_guard lock(mutex_);
  cancelCaptionClearLocked();
  lastTextBuffer_ = nullptr;
  lastTextPts_ = GST_CLOCK_TIME_NONE;
  shownCues_.clear();
  if (!captionShown_ || detached_) return;
  captionShown_ = false;
  shownText_.clear();
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
    closedCaptionsDue_.clear();
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

void SinkRelay::deliverId3Tag(std::vector<uint8_t> tag, GstClockTime pts) {
  std::lock_guard lock(mutex_);
  if (detached_) return;
  if (GST_CLOCK_TIME_IS_VALID(pts)) {
    auto later = std::find_if(id3TagsDue_.begin(), id3TagsDue_.end(),
                              [&](const auto& due) { return due.first > pts; });
    id3TagsDue_.insert(later, {pts, std::move(tag)});
    if (id3TagsDue_.size() <= kMaxDue) return;
    tag = std::move(id3TagsDue_.front().second);  // the oldest goes now rather than never
    id3TagsDue_.pop_front();
  }
  postId3TagLocked(std::move(tag));
}

void SinkRelay::postId3TagLocked(std::vector<uint8_t> tag) {
  for (const auto& output : metadataOutputs_) {
    std::weak_ptr<GstMetadataOutput> target = output;
    MainQueue::post([target, tag] {
      if (auto live = target.lock()) live->deliver(tag);
    });
  }
}

}  // namespace zent
