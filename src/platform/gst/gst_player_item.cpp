#include "platform/gst/gst_player_item.h"

#include <gst/app/gstappsink.h>

#include <chrono>

#include "platform/gst/audio_sink_choice.h"
#include "platform/gst/connection_probe.h"
#include "platform/gst/engine_error_text.h"
#include "platform/gst/main_queue_context.h"
#include "platform/gst/thread_handoff.h"
#include "platform/gst_id3_tap.h"
#include "support/deferred_delivery.h"
#include "support/internet_reachability.h"
#include "support/logger.h"
#include "support/main_queue.h"

namespace zent {
namespace {

constexpr const char* kTextCaps = "text/x-raw, format=(string){ utf8, pango-markup }";

using ItemRef = std::weak_ptr<GstPlayerItem>;

// How long readiness waits for an HLS item's playlists to be read.
constexpr guint kManifestWaitMs = 5000;
// How often an item holding a network error looks for the network's return.
constexpr guint kNetworkReturnPollMs = 250;

GstElement* makeAppSink(const char* name, const char* caps) {
  GstElement* sink = gst_element_factory_make("appsink", name);
  if (sink == nullptr) return nullptr;
  GstCaps* sinkCaps = gst_caps_from_string(caps);
  g_object_set(sink, "caps", sinkCaps, "sync", TRUE, "emit-signals", FALSE, "enable-last-sample",
               FALSE, nullptr);
  gst_caps_unref(sinkCaps);
  return sink;
}

// A local path becomes a file:// URI; anything with a scheme is used as given.
std::string engineUri(const std::string& url) {
  if (gst_uri_is_valid(url.c_str())) return url;
  gchar* uri = gst_filename_to_uri(url.c_str(), nullptr);
  if (uri == nullptr) return url;
  std::string result = uri;
  g_free(uri);
  return result;
}

}  // namespace

std::shared_ptr<GstPlayerItem> GstPlayerItem::create(const std::string& url,
                                                     std::shared_ptr<TeardownWorker> teardown) {
  std::shared_ptr<GstPlayerItem> item(new GstPlayerItem(url, std::move(teardown)));
  item->startRequests();
  item->build();
  return item;
}

GstPlayerItem::GstPlayerItem(const std::string& url, std::shared_ptr<TeardownWorker> teardown)
    : url_(url), teardown_(std::move(teardown)) {}

void GstPlayerItem::build() {
  GstElement* pipeline = gst_element_factory_make("playbin3", nullptr);
  if (pipeline == nullptr) return fail(missingElementReason("playbin3"));
  {
    LibraryLock lock(pipelineMutex_);
    pipeline_ = GST_ELEMENT(gst_object_ref_sink(pipeline));
  }

  GstElement* videoSink = makeAppSink("zent-video", kDecodedVideoCaps);
  GstElement* textSink = makeAppSink("zent-text", kTextCaps);
  GstElement* audioSink = makeAudioSink();
  if (videoSink == nullptr || textSink == nullptr || audioSink == nullptr) {
    for (GstElement* sink : {videoSink, textSink, audioSink}) {
      if (sink != nullptr) gst_object_unref(gst_object_ref_sink(sink));
    }
    return fail(missingElementReason(audioSink == nullptr ? "fakesink" : "appsink"));
  }
  // Only the newest frame matters: late frames are dropped, not queued.
  g_object_set(videoSink, "max-buffers", 1u, "drop", TRUE, nullptr);
  // Captions are sparse: the text sink must not hold up prerolling.
  g_object_set(textSink, "async", FALSE, nullptr);
  relay_->attachVideoSink(videoSink);
  relay_->attachTextSink(textSink);
  // A file's video may turn out to carry captions on more channels as it plays.
  relay_->setCaptionChannelsFound([weak = ItemRef(weak_from_this())] {
    if (auto item = weak.lock()) item->onCaptionChannelsFound();
  });

  std::string uri = engineUri(url_);
  g_object_set(pipeline_, "uri", uri.c_str(), "video-sink", videoSink, "audio-sink", audioSink,
               "text-sink", textSink, "volume", 1.0, nullptr);

  g_signal_connect_data(
      pipeline_, "deep-element-added",
      G_CALLBACK(+[](GstBin*, GstBin*, GstElement* element, gpointer demuxer) {
        callbackData<std::shared_ptr<AdaptiveDemuxer>>(demuxer)->elementAdded(element);
      }),
      newCallbackData(demuxer_),
      [](gpointer data, GClosure*) { deleteCallbackData<std::shared_ptr<AdaptiveDemuxer>>(data); },
      GConnectFlags(0));

  // The converter in front of the video sink passes decoded frames through, or
  // converts them to RGBA for a host whose GL rasterises on the CPU: on every
  // core (0 threads: one per core).
  g_signal_connect(
      pipeline_, "deep-element-added",
      G_CALLBACK(+[](GstBin*, GstBin*, GstElement* element, gpointer) {
        GstElementFactory* factory = gst_element_get_factory(element);
        if (factory != nullptr && g_strcmp0(GST_OBJECT_NAME(factory), "videoconvert") == 0) {
          g_object_set(element, "n-threads", 0u, nullptr);
        }
      }),
      nullptr);

  g_signal_connect_data(
      pipeline_, "source-setup",
      G_CALLBACK(+[](GstElement*, GstElement* source, gpointer progress) {
        callbackData<std::shared_ptr<SourceProgress>>(progress)->sourceCreated(source);
      }),
      newCallbackData(source_),
      [](gpointer data, GClosure*) { deleteCallbackData<std::shared_ptr<SourceProgress>>(data); },
      GConnectFlags(0));

  // Bus messages are handled on the main queue, one at a time, in order.
  bus_ = gst_element_get_bus(pipeline_);
  busWatch_ = gst_bus_create_watch(bus_);
  g_source_set_callback(busWatch_, G_SOURCE_FUNC(+onBusMessage),
                        newCallbackData(ItemRef(weak_from_this())),
                        [](gpointer data) { deleteCallbackData<ItemRef>(data); });
  g_source_attach(busWatch_, mainQueueContext());
}

GstPlayerItem::~GstPlayerItem() {
  // The request thread is joined on the teardown thread before the pipeline
  // below goes to NULL there; a request it still runs holds its own references.
  requests_.reset();
  if (returnWatch_ != nullptr) {
    g_source_destroy(returnWatch_);
    g_source_unref(returnWatch_);
  }
  if (busWatch_ != nullptr) {
    g_source_destroy(busWatch_);
    g_source_unref(busWatch_);
  }
  id3Tap_.reset();  // its callback is never called again after this
  relay_->detachAll();
  std::shared_ptr<HlsManifestSnapshot> manifest;
  {
    LibraryLock lock(stateMutex_);
    manifest.swap(manifest_);
  }
  manifest.reset();
  if (pipeline_ != nullptr) teardown_->retire(pipeline_);
  if (bus_ != nullptr) gst_object_unref(bus_);
}

// ---- status ----------------------------------------------------------------

ItemStatus GstPlayerItem::status() const {
  LibraryLock lock(stateMutex_);
  return status_;
}

std::string GstPlayerItem::failureReason() const {
  LibraryLock lock(stateMutex_);
  return failureReason_;
}

ItemStatus GstPlayerItem::waitUntilResolved(double timeoutSeconds,
                                            const std::atomic<bool>* cancelFlag) {
  using Clock = std::chrono::steady_clock;
  auto deadline = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                     std::chrono::duration<double>(std::max(0.0, timeoutSeconds)));
  std::unique_lock lock(stateMutex_);
  // The cancel flag is raised without a notification, so wait in short slices.
  constexpr auto kSlice = std::chrono::milliseconds(20);
  while (status_ == ItemStatus::Unknown) {
    if (cancelFlag != nullptr && cancelFlag->load()) break;
    auto now = Clock::now();
    if (now >= deadline) break;
    resolved_.wait_for(lock, std::min<Clock::duration>(deadline - now, kSlice));
  }
  return status_;
}

void GstPlayerItem::setDelegate(std::weak_ptr<PlayerItemDelegate> delegate) {
  LibraryLock lock(stateMutex_);
  delegate_ = std::move(delegate);
}

void GstPlayerItem::fail(const std::string& reason) {
  {
    LibraryLock lock(stateMutex_);
    if (status_ == ItemStatus::Failed) return;
    status_ = ItemStatus::Failed;
    failurePending_ = false;
    failureReason_ = reason;
  }
  resolved_.notify_all();
  Logger::log(LogLevel::ERROR, "Media engine: " + url_ + " failed: " + reason);
}

void GstPlayerItem::notifyStatus(ItemStatus status) {
  std::shared_ptr<PlayerItemDelegate> delegate;
  {
    LibraryLock lock(stateMutex_);
    delegate = delegate_.lock();
  }
  if (delegate) delegate->itemStatusChanged(*this, status);
}

void GstPlayerItem::onCaptionChannelsFound() {
  std::shared_ptr<PlayerItemDelegate> delegate;
  {
    LibraryLock lock(stateMutex_);
    if (manifest_) return;  // a manifest lists its caption renditions itself
    delegate = delegate_.lock();
  }
  if (delegate) delegate->itemLegibleOptionsChanged(*this);
}

void GstPlayerItem::notifyEnd() {
  std::shared_ptr<PlayerItemDelegate> delegate;
  {
    LibraryLock lock(stateMutex_);
    delegate = delegate_.lock();
  }
  if (delegate) delegate->itemDidPlayToEnd(*this);
}

// ---- outputs ---------------------------------------------------------------

void GstPlayerItem::addOutput(std::shared_ptr<VideoOutput> output) {
  auto video = std::dynamic_pointer_cast<GstVideoOutput>(output);
  if (!video) {
    Logger::log(LogLevel::ERROR,
                "Media engine: a video output not made by this engine was ignored");
    return;
  }
  relay_->addVideoOutput(std::move(video));
}

void GstPlayerItem::removeOutput(const std::shared_ptr<VideoOutput>& output) {
  if (auto video = std::dynamic_pointer_cast<GstVideoOutput>(output)) {
    relay_->removeVideoOutput(video);
  }
}

void GstPlayerItem::addOutput(std::shared_ptr<MetadataOutput> output) {
  auto metadata = std::dynamic_pointer_cast<GstMetadataOutput>(output);
  if (!metadata) {
    Logger::log(LogLevel::ERROR,
                "Media engine: a metadata output not made by this engine was ignored");
    return;
  }
  relay_->addMetadataOutput(std::move(metadata));
  LibraryLock lock(transportMutex_);
  if (!id3Tap_) installId3TapLocked();
}

void GstPlayerItem::installId3TapLocked() {
  if (pipeline_ == nullptr) return;
  // The tap calls back on streaming threads; the relay queues each tag for the
  // main queue. It holds the relay, not the item.
  std::weak_ptr<SinkRelay> relay = relay_;
  id3Tap_ = GstId3Tap::installTimed(pipeline_, [relay](std::vector<uint8_t> tag, GstClockTime pts) {
    if (auto live = relay.lock()) live->deliverId3Tag(std::move(tag), pts);
  });
}

GstElement* GstPlayerItem::pipelineRef() const {
  LibraryLock lock(pipelineMutex_);
  return pipeline_ != nullptr ? GST_ELEMENT(gst_object_ref(pipeline_)) : nullptr;
}

void GstPlayerItem::removeOutput(const std::shared_ptr<MetadataOutput>& output) {
  if (auto metadata = std::dynamic_pointer_cast<GstMetadataOutput>(output)) {
    relay_->removeMetadataOutput(metadata);
  }
}

void GstPlayerItem::addOutput(std::shared_ptr<LegibleOutput> output) {
  auto legible = std::dynamic_pointer_cast<GstLegibleOutput>(output);
  if (!legible) {
    Logger::log(LogLevel::ERROR,
                "Media engine: a legible output not made by this engine was ignored");
    return;
  }
  relay_->addLegibleOutput(std::move(legible));
}

// ---- bus -------------------------------------------------------------------

gboolean GstPlayerItem::onBusMessage(GstBus*, GstMessage* message, gpointer self) {
  std::shared_ptr<GstPlayerItem> item = callbackData<ItemRef>(self).lock();
  if (!item) return G_SOURCE_REMOVE;
  item->handleBusMessage(message);
  return G_SOURCE_CONTINUE;
}

void GstPlayerItem::handleBusMessage(GstMessage* message) {
  const bool fromPipeline = GST_MESSAGE_SRC(message) == GST_OBJECT(pipeline_);
  switch (GST_MESSAGE_TYPE(message)) {
    case GST_MESSAGE_ASYNC_DONE:
      if (fromPipeline) onPrerolled();
      break;
    case GST_MESSAGE_STATE_CHANGED:
      if (fromPipeline) {
        GstState newState;
        gst_message_parse_state_changed(message, nullptr, &newState, nullptr);
        // A live pipeline never prerolls: reaching PAUSED is its ready point.
        if (newState == GST_STATE_PAUSED || newState == GST_STATE_PLAYING) {
          bool live;
          {
            LibraryLock lock(transportMutex_);
            live = live_;
          }
          if (live) onPrerolled();
        }
      }
      break;
    case GST_MESSAGE_ERROR:
      onError(message);
      break;
    case GST_MESSAGE_WARNING:
      Logger::log(LogLevel::WARNING, "Media engine: " + url_ + ": " + engineErrorReason(message));
      break;
    case GST_MESSAGE_ELEMENT:
      if (auto missing = missingPluginDescription(message)) {
        Logger::log(LogLevel::WARNING, "Media engine: " + url_ + ": missing plugin: " + *missing);
        LibraryLock lock(stateMutex_);
        missingPlugins_.push_back(*missing);
      }
      break;
    case GST_MESSAGE_EOS:
      notifyEnd();
      break;
    case GST_MESSAGE_BUFFERING:
      onBuffering(message);
      break;
    case GST_MESSAGE_TAG:
      onTags(message);
      break;
    case GST_MESSAGE_STREAM_COLLECTION:
      onStreamCollection(message);
      break;
    case GST_MESSAGE_STREAMS_SELECTED:
      onStreamsSelected(message);
      break;
    case GST_MESSAGE_LATENCY:
      gst_bin_recalculate_latency(GST_BIN(pipeline_));
      break;
    case GST_MESSAGE_CLOCK_LOST: {
      // The clock provider went away: a PAUSED/PLAYING cycle picks a new one.
      LibraryLock lock(transportMutex_);
      if (targetPlaying_ && !bufferingPaused_) {
        clockLost_ = true;
        requestStateLocked();
      }
      break;
    }
    default:
      break;
  }
}

void GstPlayerItem::onPrerolled() {
  bool firstPreroll = false;
  {
    LibraryLock lock(transportMutex_);
    // A seek in flight has settled (the next waiting one goes out now).
    requests_->completed(EngineRequests::Kind::Seek);
    if (!requests_->busy(EngineRequests::Kind::Seek)) seekTarget_.reset();
    if (!prerolled_) {
      prerolled_ = true;
      firstPreroll = true;
      // Seeks and rates asked for while loading take effect now.
      if (pendingSeek_ || desiredRate_ != segmentRate_) {
        GstClockTime target = pendingSeek_ ? *pendingSeek_ : positionLocked();
        pendingSeek_.reset();
        requestSeekLocked(target, desiredRate_, pendingSeekAccurate_);
      }
    }
  }
  if (!firstPreroll) return;  // a seek settling is not a new status
  // HLS content whose URL did not say so: read its playlists now.
  if (demuxer_->isHls()) startManifestSnapshot();
  {
    LibraryLock lock(stateMutex_);
    if (status_ != ItemStatus::Unknown || failurePending_) return;
    // Rendition names and dates are part of being ready: wait for the playlists,
    // but not for longer than kManifestWait (they fill in when they come).
    if (manifest_ && !manifest_->finished()) {
      readyDeferred_ = true;
    }
  }
  if (!readyDeferredNow()) return becomeReady();
  GSource* timeout = g_timeout_source_new(kManifestWaitMs);
  g_source_set_callback(
      timeout,
      [](gpointer data) -> gboolean {
        if (auto item = callbackData<ItemRef>(data).lock()) item->onManifestSnapshotFinished();
        return G_SOURCE_REMOVE;
      },
      newCallbackData(ItemRef(weak_from_this())),
      [](gpointer data) { deleteCallbackData<ItemRef>(data); });
  g_source_attach(timeout, mainQueueContext());
  g_source_unref(timeout);
}

bool GstPlayerItem::readyDeferredNow() const {
  LibraryLock lock(stateMutex_);
  return readyDeferred_;
}

void GstPlayerItem::becomeReady() {
  {
    LibraryLock lock(stateMutex_);
    if (status_ != ItemStatus::Unknown || failurePending_) return;
    status_ = ItemStatus::ReadyToPlay;
    readyDeferred_ = false;
  }
  resolved_.notify_all();
  notifyStatus(ItemStatus::ReadyToPlay);
}

void GstPlayerItem::startManifestSnapshot() {
  LibraryLock lock(stateMutex_);
  if (manifest_) return;
  std::weak_ptr<GstPlayerItem> weak = weak_from_this();
  manifest_ = std::make_shared<HlsManifestSnapshot>(url_, teardown_, [weak] {
    MainQueue::post([weak] {
      if (auto item = weak.lock()) item->onManifestSnapshotFinished();
    });
  });
}

void GstPlayerItem::onManifestSnapshotFinished() {
  bool deferred;
  {
    LibraryLock lock(stateMutex_);
    deferred = readyDeferred_;
  }
  if (deferred) becomeReady();
}

void GstPlayerItem::onError(GstMessage* message) {
  std::string reason = engineErrorReason(message);
  bool explain = false;
  {
    LibraryLock lock(stateMutex_);
    if (status_ == ItemStatus::Failed || failurePending_) return;
    if (!missingPlugins_.empty()) {
      reason += " (missing:";
      for (std::size_t i = 0; i < missingPlugins_.size(); ++i) {
        reason += (i == 0 ? " " : ", ") + missingPlugins_[i];
      }
      reason += ")";
    }
    explain = isUnexplainedNetworkSourceError(message);
    failurePending_ = explain;
  }
  if (isNetworkError(message) && !InternetReachability::shared().isConnected()) {
    {
      LibraryLock lock(stateMutex_);
      failurePending_ = false;
    }
    holdUntilNetworkReturns(reason);
    return;
  }
  if (!explain) {
    fail(reason);
    notifyStatus(ItemStatus::Failed);
    return;
  }
  // The HTTP source gave up without saying why: ask the network, then fail.
  gchar* uri = gst_uri_handler_get_uri(GST_URI_HANDLER(GST_MESSAGE_SRC(message)));
  std::string sourceUri = uri != nullptr ? uri : url_;
  g_free(uri);
  std::weak_ptr<GstPlayerItem> weak = weak_from_this();
  probeConnection(sourceUri, [weak, reason](std::string cause) {
    auto item = weak.lock();
    if (!item) return;
    if (!InternetReachability::shared().isConnected()) {
      // The network went while the cause was being looked for.
      {
        LibraryLock lock(item->stateMutex_);
        item->failurePending_ = false;
      }
      item->holdUntilNetworkReturns(cause.empty() ? reason : cause);
      return;
    }
    item->fail(cause.empty() ? reason : cause + " (" + reason + ")");
    item->notifyStatus(ItemStatus::Failed);
  });
}

void GstPlayerItem::holdUntilNetworkReturns(const std::string& reason) {
  if (returnWatch_ != nullptr) return;  // already waiting
  Logger::log(LogLevel::WARNING,
              "Media engine: " + url_ + ": " + reason + "; waiting for the network to return");
  returnWatch_ = g_timeout_source_new(kNetworkReturnPollMs);
  g_source_set_callback(returnWatch_, checkNetworkReturned,
                        newCallbackData(ItemRef(weak_from_this())),
                        [](gpointer data) { deleteCallbackData<ItemRef>(data); });
  g_source_attach(returnWatch_, mainQueueContext());
}

gboolean GstPlayerItem::checkNetworkReturned(gpointer self) {
  std::shared_ptr<GstPlayerItem> item = callbackData<ItemRef>(self).lock();
  if (!item) return G_SOURCE_REMOVE;
  if (!InternetReachability::shared().isConnected()) return G_SOURCE_CONTINUE;
  item->resumeAfterNetworkReturn();
  return G_SOURCE_REMOVE;
}

void GstPlayerItem::resumeAfterNetworkReturn() {
  if (returnWatch_ != nullptr) {
    g_source_unref(returnWatch_);  // the context drops its own reference as we return
    returnWatch_ = nullptr;
  }
  LibraryLock lock(transportMutex_);
  if (pipeline_ == nullptr) return;
  Logger::log(LogLevel::INFO, "Media engine: " + url_ + ": the network is back; loading again");
  // The downloads stopped at the error; a flushing seek to where playback stands
  // starts them again. Before the first preroll the pending seek does it.
  if (prerolled_) requestSeekLocked(positionLocked(), segmentRate_, true);
}

void GstPlayerItem::onBuffering(GstMessage* message) {
  gint percent = 100;
  gst_message_parse_buffering(message, &percent);
  LibraryLock lock(transportMutex_);
  if (live_) return;
  buffering_ = percent < 100;
  // Playing on with a starved buffer stutters: wait in PAUSED until it is full.
  // Not while the network is down: nothing refills the buffer then, so what is
  // buffered plays out to its end instead of waiting.
  if (buffering_ && targetPlaying_ && !bufferingPaused_ &&
      InternetReachability::shared().isConnected()) {
    bufferingPaused_ = true;
    requestStateLocked();
  } else if (!buffering_ && bufferingPaused_) {
    bufferingPaused_ = false;
    if (targetPlaying_) requestStateLocked();
  }
}

void GstPlayerItem::onTags(GstMessage* message) {
  GstTagList* tags = nullptr;
  gst_message_parse_tag(message, &tags);
  gchar* orientation = nullptr;
  if (tags != nullptr && gst_tag_list_get_string(tags, GST_TAG_IMAGE_ORIENTATION, &orientation) &&
      orientation != nullptr) {
    LibraryLock lock(stateMutex_);
    imageOrientation_ = orientation;
  }
  g_free(orientation);
  if (tags != nullptr) gst_tag_list_unref(tags);
}

void GstPlayerItem::onStreamCollection(GstMessage* message) {
  GstStreamCollection* collection = nullptr;
  gst_message_parse_stream_collection(message, &collection);
  std::vector<StreamEntry> streams = listStreams(collection);
  if (collection != nullptr) gst_object_unref(collection);
  // Without a text stream the captions carried in the video show by default.
  relay_->setHasTextStream(!streamsOf(streams, MediaCharacteristic::Legible).empty());
  LibraryLock lock(stateMutex_);
  streams_ = std::move(streams);
}

void GstPlayerItem::onStreamsSelected(GstMessage* message) {
  std::vector<std::string> ids;
  guint count = gst_message_streams_selected_get_size(message);
  for (guint i = 0; i < count; ++i) {
    GstStream* stream = gst_message_streams_selected_get_stream(message, i);
    if (stream == nullptr) continue;
    if (const gchar* id = gst_stream_get_stream_id(stream)) ids.emplace_back(id);
    gst_object_unref(stream);
  }
  {
    LibraryLock lock(stateMutex_);
    selectedStreams_ = std::move(ids);
  }
  requests_->completed(EngineRequests::Kind::Selection);
}

}  // namespace zent
