// Transport of a GstPlayerItem's pipeline: loading, play and pause, rate, seeks,
// volume. Driven by GstMediaPlayer on the caller's thread; never blocks on the
// pipeline (state changes to PAUSED and PLAYING complete asynchronously).

#include <cmath>

#include "platform/gst/gst_player_item.h"
#include "support/deferred_delivery.h"
#include "support/logger.h"
#include "support/main_queue.h"

namespace zent {

void GstPlayerItem::attach() {
  bool failedAlready = false;
  {
    LibraryLock lock(transportMutex_);
    if (attached_) return;
    attached_ = true;
    if (pipeline_ != nullptr && busWatch_ != nullptr) {
      setStateLocked(GST_STATE_PAUSED);
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

void GstPlayerItem::setStateLocked(GstState state) {
  GstStateChangeReturn result = gst_element_set_state(pipeline_, state);
  if (result == GST_STATE_CHANGE_NO_PREROLL) live_ = true;
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
    seekLocked(positionLocked(), desiredRate_, true);
  }
  // While the buffer refills, the end of buffering starts playback.
  if (!bufferingPaused_) setStateLocked(GST_STATE_PLAYING);
}

void GstPlayerItem::pause() {
  LibraryLock lock(transportMutex_);
  if (pipeline_ == nullptr || !attached_) return;
  targetPlaying_ = false;
  bufferingPaused_ = false;
  // Like the platform player, a later play() starts at the normal rate unless a
  // rate is set while paused.
  desiredRate_ = 1.0;
  setStateLocked(GST_STATE_PAUSED);
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
    seekLocked(positionLocked(), desiredRate_, true);
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
  seekLocked(target, desiredRate_, exact);
}

void GstPlayerItem::seekLocked(GstClockTime position, double rate, bool accurate) {
  auto flags = GstSeekFlags(GST_SEEK_FLAG_FLUSH |
                            (accurate ? GST_SEEK_FLAG_ACCURATE : GST_SEEK_FLAG_KEY_UNIT));
  gboolean sent;
  if (rate >= 0.0) {
    sent = gst_element_seek(pipeline_, rate, GST_FORMAT_TIME, flags, GST_SEEK_TYPE_SET, position,
                            GST_SEEK_TYPE_SET, GST_CLOCK_TIME_NONE);
  } else {
    // Backwards: the segment runs from the start up to the position.
    sent = gst_element_seek(pipeline_, rate, GST_FORMAT_TIME, flags, GST_SEEK_TYPE_SET, 0,
                            GST_SEEK_TYPE_SET, position);
  }
  if (!sent) {
    Logger::log(LogLevel::WARNING, "Media engine: " + url_ + ": the pipeline refused a seek");
    return;
  }
  segmentRate_ = rate;
  seekTarget_ = position;
  lastPosition_ = position;
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
  if (pipeline_ != nullptr) g_object_set(pipeline_, "volume", volume_, nullptr);
}

void GstPlayerItem::setMuted(bool muted) {
  LibraryLock lock(transportMutex_);
  muted_ = muted;
  if (pipeline_ != nullptr) g_object_set(pipeline_, "mute", muted ? TRUE : FALSE, nullptr);
}

}  // namespace zent
