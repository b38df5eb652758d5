// Transport of a GstPlayerItem's pipeline: loading, play and pause, rate, seeks,
// volume, variant caps and stream selection. The caller's thread only records
// what is wanted and hands the engine call to the item's request thread
// (EngineRequests): a state change, a seek or a selection can block inside the
// engine, and the host's frame must never wait on it.

#include <cmath>
#include <utility>

#include "platform/gst/gst_player_item.h"
#include "platform/gst/main_queue_context.h"
#include "support/deferred_delivery.h"
#include "support/logger.h"
#include "support/main_queue.h"

namespace zent {
namespace {

// How long a flushing request may go without the pipeline reporting it done
// before the next one is sent all the same.
constexpr auto kRequestSettleWait = std::chrono::milliseconds(3000);

}  // namespace

void GstPlayerItem::startRequests() {
  std::weak_ptr<GstPlayerItem> weak = weak_from_this();
  requests_ = std::make_unique<EngineRequests>(url_, kRequestSettleWait, [weak](auto kind) {
    if (auto item = weak.lock()) item->requestsSettled(kind);
  });
  requests_->setJoiner(
      [teardown = teardown_](std::function<void()> join) { teardown->post(std::move(join)); });
}

void GstPlayerItem::requestsSettled(EngineRequests::Kind kind) {
  if (kind == EngineRequests::Kind::Seek) {
    LibraryLock lock(transportMutex_);
    // A new seek may have been asked for since: its target stays the position.
    if (!requests_->busy(kind)) seekTarget_.reset();
  } else {
    LibraryLock lock(stateMutex_);
    if (!requests_->busy(kind)) requestedStreams_.reset();
  }
}

void GstPlayerItem::attach() {
  bool failedAlready = false;
  {
    LibraryLock lock(transportMutex_);
    if (attached_) return;
    attached_ = true;
    if (pipeline_ != nullptr && busWatch_ != nullptr) {
      requestStateLocked();
    } else {
      failedAlready = true;
    }
  }
  if (failedAlready) {
    // The pipeline could not be built: say so the way engine errors are said.
    std::weak_ptr<GstPlayerItem> weak = weak_from_this();
    MainQueue::post([weak] {
      if (auto item = weak.lock()) item->notifyStatus(ItemStatus::Failed);
    });
    return;
  }
  watchPreroll(0);
  if (HlsManifestSnapshot::looksLikeHls(url_)) startManifestSnapshot();
}

template <typename Apply>
void GstPlayerItem::submitToSlot(EngineRequests::Slot slot, Apply apply) {
  std::weak_ptr<GstPlayerItem> weak = weak_from_this();
  requests_->submit(slot, [weak, apply] {
    if (auto item = weak.lock()) apply(*item);
  });
}

void GstPlayerItem::requestStateLocked() {
  submitToSlot(EngineRequests::Slot::State, [](GstPlayerItem& item) { item.applyState(); });
}

void GstPlayerItem::applyState() {
  GstElement* pipeline;
  GstState target;
  bool restartClock;
  {
    LibraryLock lock(transportMutex_);
    if (pipeline_ == nullptr || !attached_) return;
    target = targetPlaying_ && !bufferingPaused_ ? GST_STATE_PLAYING : GST_STATE_PAUSED;
    restartClock = std::exchange(clockLost_, false) && target == GST_STATE_PLAYING;
    pipeline = GST_ELEMENT(gst_object_ref(pipeline_));
  }
  // The clock provider went away: a PAUSED/PLAYING cycle picks a new one.
  if (restartClock) gst_element_set_state(pipeline, GST_STATE_PAUSED);
  GstStateChangeReturn result = gst_element_set_state(pipeline, target);
  gst_object_unref(pipeline);
  if (result == GST_STATE_CHANGE_NO_PREROLL) {
    {
      LibraryLock lock(transportMutex_);
      live_ = true;
    }
    // A live pipeline never prerolls: reaching PAUSED is its ready point, and the
    // bus may have told of it before this thread knew the pipeline is live.
    std::weak_ptr<GstPlayerItem> weak = weak_from_this();
    MainQueue::post([weak] {
      if (auto item = weak.lock()) item->onPrerolled();
    });
  }
  // The reason of a failure comes as an ERROR on the bus, which fails the item.
  if (result == GST_STATE_CHANGE_FAILURE) {
    Logger::log(LogLevel::DEBUG, "Media engine: " + url_ + ": the state change failed");
  }
}

void GstPlayerItem::play() {
  LibraryLock lock(transportMutex_);
  if (pipeline_ == nullptr || !attached_) return;
  targetPlaying_ = true;
  if (prerolled_ && desiredRate_ != segmentRate_) {
    requestSeekLocked(positionLocked(), desiredRate_, true);
  }
  // While the buffer refills, the end of buffering starts playback.
  requestStateLocked();
}

void GstPlayerItem::pause() {
  LibraryLock lock(transportMutex_);
  if (pipeline_ == nullptr || !attached_) return;
  targetPlaying_ = false;
  bufferingPaused_ = false;
  // Like the platform player, a later play() starts at the normal rate unless a
  // rate is set while paused.
  desiredRate_ = 1.0;
  requestStateLocked();
}

void GstPlayerItem::setRate(float rate) {
  if (!std::isfinite(rate)) {
    Logger::log(LogLevel::ERROR,
                "Media engine: " + url_ + ": a rate that is not finite is ignored");
    return;
  }
  if (rate == 0.0f) return pause();
  LibraryLock lock(transportMutex_);
  desiredRate_ = rate;
  // Applied at once while playing; otherwise remembered for play() (or the end
  // of loading, when play() came first).
  if (targetPlaying_ && prerolled_ && desiredRate_ != segmentRate_) {
    requestSeekLocked(positionLocked(), desiredRate_, true);
  }
}

float GstPlayerItem::rate() const {
  LibraryLock lock(transportMutex_);
  return targetPlaying_ ? static_cast<float>(desiredRate_) : 0.0f;
}

void GstPlayerItem::seek(int64_t milliseconds, bool exact) {
  GstClockTime target =
      milliseconds <= 0 ? 0 : static_cast<GstClockTime>(milliseconds) * GST_MSECOND;
  LibraryLock lock(transportMutex_);
  if (pipeline_ == nullptr) return;
  if (!prerolled_) {
    // A pipeline that is still loading cannot seek yet: it does once it prerolled.
    pendingSeek_ = target;
    pendingSeekAccurate_ = exact;
    return;
  }
  requestSeekLocked(target, desiredRate_, exact);
}

void GstPlayerItem::requestSeekLocked(GstClockTime position, double rate, bool accurate) {
  // Reported as the position from now on, until the last seek asked for settles.
  segmentRate_ = rate;
  seekTarget_ = position;
  lastPosition_ = position;
  std::weak_ptr<GstPlayerItem> weak = weak_from_this();
  requests_->submit(EngineRequests::Kind::Seek, [weak, position, rate, accurate] {
    auto item = weak.lock();
    return item && item->sendSeek(position, rate, accurate);
  });
}

bool GstPlayerItem::sendSeek(GstClockTime position, double rate, bool accurate) {
  GstElement* pipeline = pipelineRef();
  if (pipeline == nullptr) return false;
  auto flags = GstSeekFlags(GST_SEEK_FLAG_FLUSH |
                            (accurate ? GST_SEEK_FLAG_ACCURATE : GST_SEEK_FLAG_KEY_UNIT));
  gboolean sent;
  if (rate >= 0.0) {
    sent = gst_element_seek(pipeline, rate, GST_FORMAT_TIME, flags, GST_SEEK_TYPE_SET, position,
                            GST_SEEK_TYPE_SET, GST_CLOCK_TIME_NONE);
  } else {
    // Backwards: the segment runs from the start up to the position.
    sent = gst_element_seek(pipeline, rate, GST_FORMAT_TIME, flags, GST_SEEK_TYPE_SET, 0,
                            GST_SEEK_TYPE_SET, position);
  }
  gst_object_unref(pipeline);
  if (!sent) {
    Logger::log(LogLevel::WARNING, "Media engine: " + url_ + ": the pipeline refused a seek");
    return false;
  }
  // A live pipeline does not preroll again, so no report of the seek comes.
  LibraryLock lock(transportMutex_);
  return !live_;
}

GstClockTime GstPlayerItem::positionLocked() const {
  if (pendingSeek_) return *pendingSeek_;
  if (seekTarget_) return *seekTarget_;
  if (auto position = queryPosition()) lastPosition_ = *position;
  return lastPosition_;
}

void GstPlayerItem::setVolume(float volume) {
  if (std::isnan(volume)) return;
  LibraryLock lock(transportMutex_);
  // The platform limits the volume to 0.0 .. 1.0.
  volume_ = std::clamp(static_cast<double>(volume), 0.0, 1.0);
  requestAudioLocked();
}

void GstPlayerItem::setMuted(bool muted) {
  LibraryLock lock(transportMutex_);
  muted_ = muted;
  requestAudioLocked();
}

void GstPlayerItem::requestAudioLocked() {
  submitToSlot(EngineRequests::Slot::Audio, [](GstPlayerItem& item) {
    double volume;
    bool muted;
    {
      LibraryLock lock(item.transportMutex_);
      volume = item.volume_;
      muted = item.muted_;
    }
    if (GstElement* pipeline = item.pipelineRef()) {
      g_object_set(pipeline, "volume", volume, "mute", muted ? TRUE : FALSE, nullptr);
      gst_object_unref(pipeline);
    }
  });
}

void GstPlayerItem::setPreferredPeakBitRate(double bitsPerSecond) {
  LibraryLock lock(transportMutex_);
  peakBitRate_ = bitsPerSecond;
  requestVariantCapsLocked();
}

void GstPlayerItem::setPreferredMaximumResolution(Size2D size) {
  LibraryLock lock(transportMutex_);
  maximumResolution_ = size;
  requestVariantCapsLocked();
}

void GstPlayerItem::requestVariantCapsLocked() {
  // The demuxer's property setters wait for a seek it is handling.
  submitToSlot(EngineRequests::Slot::VariantCaps, [](GstPlayerItem& item) {
    double bitRate;
    Size2D resolution;
    {
      LibraryLock lock(item.transportMutex_);
      bitRate = item.peakBitRate_;
      resolution = item.maximumResolution_;
    }
    item.demuxer_->setCaps(bitRate, resolution);
  });
}

void GstPlayerItem::applyPreferences() {
  LibraryLock lock(transportMutex_);
  // The demuxer picks its variant again from the position on; before loading has
  // finished the caps are simply in place for the first choice.
  if (pipeline_ == nullptr || !prerolled_) return;
  requestSeekLocked(positionLocked(), segmentRate_, true);
}

void GstPlayerItem::requestSelection(std::vector<std::string> ids) {
  std::weak_ptr<GstPlayerItem> weak = weak_from_this();
  requests_->submit(EngineRequests::Kind::Selection, [weak, ids = std::move(ids)] {
    auto item = weak.lock();
    GstElement* pipeline = item ? item->pipelineRef() : nullptr;
    if (pipeline == nullptr) return false;
    GList* list = nullptr;
    for (const auto& id : ids) list = g_list_append(list, const_cast<gchar*>(id.c_str()));
    GstEvent* event = gst_event_new_select_streams(list);
    g_list_free(list);
    bool sent = gst_element_send_event(pipeline, event);
    gst_object_unref(pipeline);
    return sent;
  });
}

}  // namespace zent
