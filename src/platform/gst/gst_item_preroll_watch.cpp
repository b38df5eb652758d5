// The preroll watch of a GstPlayerItem.
//
// playbin3 as packaged with GStreamer 1.22 can stall while it prerolls: when the
// source's first pad reaches decodebin3 while decodebin3 itself is still changing
// state, the new input can stay blocked, so no buffer reaches the sinks and
// ASYNC_DONE never comes (seen about once in a hundred opens of a local MP4).
// Nothing inside the pipeline recovers from that, and taking the same playbin3
// to NULL and back trips an assertion in its playsink (duplicate pads left from
// the stalled start), so the item loads again on a new pipeline when it has not
// prerolled in time and, for network content, the source has read nothing since
// the last look.

#include <utility>

#include "platform/gst/gst_player_item.h"
#include "platform/gst/main_queue_context.h"
#include "platform/gst/thread_handoff.h"
#include "support/deferred_delivery.h"
#include "support/logger.h"

namespace zent {
namespace {

// A local file prerolls in tens of milliseconds; a network source gets longer.
constexpr guint kLocalPrerollWaitMs = 3000;
constexpr guint kNetworkPrerollWaitMs = 10000;
// Loading restarts at most this often; a local file that still has not prerolled
// then fails, a network source goes on waiting for its server.
constexpr int kMaxPrerollRestarts = 2;
// A request to the pipeline running this long at a restart is taken to be stuck.
constexpr std::chrono::milliseconds kStuckRequest{1000};

}  // namespace

void GstPlayerItem::watchPreroll(int attempt) {
  GSource* timeout =
      g_timeout_source_new(isLocalFile() ? kLocalPrerollWaitMs : kNetworkPrerollWaitMs);
  struct Watch {
    std::weak_ptr<GstPlayerItem> item;
    int attempt;
  };
  g_source_set_callback(
      timeout,
      [](gpointer data) -> gboolean {
        auto& watch = callbackData<Watch>(data);
        if (auto item = watch.item.lock()) item->checkPreroll(watch.attempt);
        return G_SOURCE_REMOVE;
      },
      newCallbackData(Watch{weak_from_this(), attempt}),
      [](gpointer data) { deleteCallbackData<Watch>(data); });
  g_source_attach(timeout, mainQueueContext());
  g_source_unref(timeout);
}

void GstPlayerItem::checkPreroll(int attempt) {
  if (status() != ItemStatus::Unknown) return;
  const bool local = isLocalFile();
  enum class Next { Done, WatchAgain, Restarted, GiveUp } next;
  std::optional<std::chrono::milliseconds> stuckFor;
  {
    LibraryLock lock(transportMutex_);
    if (pipeline_ == nullptr || prerolled_ || live_ || attempt != prerollAttempt_) return;
    std::optional<int64_t> bytes = local ? std::nullopt : source_->bytesRead();
    const bool progressed = bytes && *bytes > bytesAtLastPrerollCheck_;
    if (bytes) bytesAtLastPrerollCheck_ = *bytes;
    if (progressed) {
      next = Next::WatchAgain;
    } else if (prerollAttempt_ >= kMaxPrerollRestarts) {
      next = local ? Next::GiveUp : Next::Done;
    } else {
      ++prerollAttempt_;
      stuckFor = rebuildPipelineLocked();
      next = busWatch_ != nullptr ? Next::Restarted : Next::Done;
    }
    attempt = prerollAttempt_;
  }
  switch (next) {
    case Next::Done:
      return;
    case Next::GiveUp:
      fail("the pipeline did not finish loading after " + std::to_string(kMaxPrerollRestarts) +
           " restarts");
      notifyStatus(ItemStatus::Failed);
      return;
    case Next::Restarted:
      Logger::log(LogLevel::WARNING,
                  "Media engine: " + url_ +
                      ": loading stalled before the first frame; loading again on a new pipeline" +
                      (stuckFor ? " (a request to the old pipeline has not returned after " +
                                      std::to_string(stuckFor->count()) +
                                      " ms; it is left to finish on its own thread)"
                                : std::string()));
      [[fallthrough]];
    case Next::WatchAgain:
      watchPreroll(attempt);
      return;
  }
}

std::optional<std::chrono::milliseconds> GstPlayerItem::rebuildPipelineLocked() {
  if (busWatch_ != nullptr) {
    g_source_destroy(busWatch_);
    g_source_unref(busWatch_);
    busWatch_ = nullptr;
  }
  if (bus_ != nullptr) {
    gst_object_unref(bus_);
    bus_ = nullptr;
  }
  const bool tapped = id3Tap_ != nullptr;
  id3Tap_.reset();
  GstElement* stalled = nullptr;
  {
    LibraryLock lock(pipelineMutex_);
    std::swap(stalled, pipeline_);
  }
  // Threads still querying it hold their own reference.
  teardown_->retire(stalled);
  bytesAtLastPrerollCheck_ = 0;  // the new source reads from the start

  build();
  if (pipeline_ == nullptr || busWatch_ == nullptr) return std::nullopt;  // failed, with the reason
  if (tapped) installId3TapLocked();
  // A request stuck in the stalled pipeline (a state change that does not return)
  // must not hold the new pipeline's; one merely sent gets no report from it.
  std::optional<std::chrono::milliseconds> stuckFor = requests_->replaceStuckThread(kStuckRequest);
  requests_->abandonInFlight();
  requestAudioLocked();
  requestStateLocked();
  return stuckFor;
}

}  // namespace zent
