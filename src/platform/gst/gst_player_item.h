#pragma once

#include <gst/gst.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/gst/adaptive_demuxer.h"
#include "platform/gst/engine_requests.h"
#include "platform/gst/hls_manifest_snapshot.h"
#include "platform/gst/sink_relay.h"
#include "platform/gst/source_progress.h"
#include "platform/gst/stream_collection.h"
#include "platform/gst/teardown_worker.h"
#include "platform/gst_id3_tap.h"
#include "player/media_player.h"

namespace zent {

// One piece of content on its own playbin3 pipeline.
//
// Threads: the host (or a load worker) calls the PlayerItem methods and, through
// GstMediaPlayer, the transport; these record what is wanted and leave every
// engine call that can block (state changes, seeks, selections, the demuxer's
// caps, volume) to the item's request thread (EngineRequests). Bus messages
// arrive on the main queue (a bus watch on the main-queue context), where the
// delegate is called; streaming threads only reach the SinkRelay and the
// AdaptiveDemuxer, never this object.
// Locks: transportMutex_ guards the transport state, stateMutex_ the status and
// what the bus reported; neither is held while calling into GStreamer in a way
// that can wait on the engine. Order: transport before state, both before the
// requests' own lock. The delegate is never called with either held.
class GstPlayerItem final : public PlayerItem, public std::enable_shared_from_this<GstPlayerItem> {
 public:
  // Builds the pipeline (not started: it loads once a player attaches it). A
  // pipeline that cannot be built leaves the item Failed with the reason.
  static std::shared_ptr<GstPlayerItem> create(const std::string& url,
                                               std::shared_ptr<TeardownWorker> teardown);
  ~GstPlayerItem() override;
  GstPlayerItem(const GstPlayerItem&) = delete;
  GstPlayerItem& operator=(const GstPlayerItem&) = delete;

  const std::string& url() const override { return url_; }
  ItemStatus status() const override;
  std::string failureReason() const override;
  ItemStatus waitUntilResolved(double timeoutSeconds, const std::atomic<bool>* cancelFlag) override;
  void setDelegate(std::weak_ptr<PlayerItemDelegate> delegate) override;

  void addOutput(std::shared_ptr<VideoOutput> output) override;
  void removeOutput(const std::shared_ptr<VideoOutput>& output) override;
  void addOutput(std::shared_ptr<MetadataOutput> output) override;
  void removeOutput(const std::shared_ptr<MetadataOutput>& output) override;
  void addOutput(std::shared_ptr<LegibleOutput> output) override;

  double durationSeconds() const override;
  double currentTimeSeconds() const override;
  std::optional<double> currentDateEpochSeconds() const override;
  std::vector<TimeRange> loadedTimeRanges() const override;
  Size2D presentationSize() const override;
  std::vector<VideoTrackGeometry> videoTracks() const override;

  void setPreferredPeakBitRate(double bitsPerSecond) override;
  void setPreferredMaximumResolution(Size2D size) override;
  void applyPreferences() override;

  std::vector<MediaStreamInfo> mediaStreams(MediaCharacteristic kind) const override;
  void select(MediaCharacteristic kind, std::optional<std::size_t> index) override;

  // Transport, driven by GstMediaPlayer.
  void attach();  // starts loading: PAUSED, rate 0
  void play();
  void pause();
  void setRate(float rate);
  float rate() const;
  void seek(int64_t milliseconds, bool exact);
  void setVolume(float volume);
  void setMuted(bool muted);

 private:
  GstPlayerItem(const std::string& url, std::shared_ptr<TeardownWorker> teardown);
  // Makes the pipeline with its sinks, signals and bus watch. Also used to
  // replace a pipeline that stalled before its first preroll (main queue,
  // transportMutex_ held).
  void build();
  // Returns how long a request left stuck in the replaced pipeline had run, if one was.
  std::optional<std::chrono::milliseconds> rebuildPipelineLocked();
  void startRequests();
  void installId3TapLocked();
  // A reference to the current pipeline (null when none), for the threads that
  // query it without the transport lock; the caller unrefs it.
  GstElement* pipelineRef() const;
  void fail(const std::string& reason);

  static gboolean onBusMessage(GstBus* bus, GstMessage* message, gpointer self);
  void handleBusMessage(GstMessage* message);
  void onPrerolled();
  void onError(GstMessage* message);
  void onBuffering(GstMessage* message);
  void onTags(GstMessage* message);
  void onStreamCollection(GstMessage* message);
  void onCaptionChannelsFound();
  // Line-21 caption channels offered after the text streams: an HLS manifest's
  // CLOSED-CAPTIONS renditions, else the channels that have shown text.
  struct ClosedCaptionOption {
    int channel;  // 0 = CC1 ... 3 = CC4
    MediaStreamInfo info;
  };
  std::vector<ClosedCaptionOption> closedCaptionOptions() const;
  // Shows the caption channel behind a legible option past the text streams;
  // false when the option is a text stream or none (left to the text path).
  bool selectClosedCaptionChannel(std::optional<std::size_t> index);
  void onStreamsSelected(GstMessage* message);
  // A network error while the network is down does not fail the item: playback
  // runs on from what is buffered, and once the path is back the item reloads
  // from its position (a flushing seek restarts the downloads). Main queue only.
  void holdUntilNetworkReturns(const std::string& reason);
  void resumeAfterNetworkReturn();
  static gboolean checkNetworkReturned(gpointer self);
  void notifyStatus(ItemStatus status);
  void notifyEnd();
  // HLS: reads the playlists for rendition names and dates (once).
  void startManifestSnapshot();
  void onManifestSnapshotFinished();
  bool readyDeferredNow() const;
  void becomeReady();
  // Restarts a load that stalled before the first preroll (main queue).
  void watchPreroll(int attempt);
  void checkPreroll(int attempt);

  // Requests to the pipeline; the *Locked ones with transportMutex_ held. What
  // they apply is read when they run, so a later request supersedes a waiting one.
  // Runs apply(item) on the request thread in `slot`, unless the item is gone.
  template <typename Apply>
  void submitToSlot(EngineRequests::Slot slot, Apply apply);
  void requestStateLocked();
  void requestSeekLocked(GstClockTime position, double rate, bool accurate);
  void requestAudioLocked();
  void requestVariantCapsLocked();
  void requestSelection(std::vector<std::string> ids);
  GstClockTime positionLocked() const;
  // On the request thread.
  void applyState();
  bool sendSeek(GstClockTime position, double rate, bool accurate);
  void requestsSettled(EngineRequests::Kind kind);

  std::optional<GstClockTime> queryPosition() const;
  std::optional<GstClockTime> queryDuration() const;
  bool isLocalFile() const;

  const std::string url_;
  const std::shared_ptr<TeardownWorker> teardown_;
  const std::shared_ptr<SinkRelay> relay_ = std::make_shared<SinkRelay>();
  const std::shared_ptr<AdaptiveDemuxer> demuxer_ = std::make_shared<AdaptiveDemuxer>();
  const std::shared_ptr<SourceProgress> source_ = std::make_shared<SourceProgress>();
  std::unique_ptr<GstId3Tap> id3Tap_;         // installed with the first metadata output
  std::unique_ptr<EngineRequests> requests_;  // made with the item, before any request
  // Replaced only on the main queue with transportMutex_ and pipelineMutex_ held:
  // read it under either lock or on the main queue, or through pipelineRef().
  GstElement* pipeline_ = nullptr;
  mutable std::mutex pipelineMutex_;
  GstBus* bus_ = nullptr;
  GSource* busWatch_ = nullptr;
  GSource* returnWatch_ = nullptr;  // while a network error is held; main queue only

  // Outputs the item keeps alive while attached (the relay holds them too).
  std::vector<std::shared_ptr<VideoOutput>> videoOutputs_;

  mutable std::mutex transportMutex_;
  bool attached_ = false;
  bool prerolled_ = false;
  bool live_ = false;
  bool targetPlaying_ = false;
  bool bufferingPaused_ = false;
  bool buffering_ = false;
  double volume_ = 1.0;  // kept for a pipeline that replaces a stalled one
  bool muted_ = false;
  bool clockLost_ = false;    // the next PLAYING goes through PAUSED for a new clock
  double peakBitRate_ = 0.0;  // variant caps; 0 means none
  Size2D maximumResolution_;
  double desiredRate_ = 1.0;  // the rate the next play() or seek uses
  double segmentRate_ = 1.0;  // the rate of the segment the pipeline plays
  int prerollAttempt_ = 0;    // restarts of a load that stalled before prerolling
  int64_t bytesAtLastPrerollCheck_ = 0;
  std::optional<GstClockTime> pendingSeek_;  // asked for before the pipeline prerolled
  bool pendingSeekAccurate_ = true;
  std::optional<GstClockTime> seekTarget_;  // a seek on its way; reported as the position
  mutable GstClockTime lastPosition_ = 0;

  mutable std::mutex stateMutex_;
  std::condition_variable resolved_;
  ItemStatus status_ = ItemStatus::Unknown;
  std::string failureReason_;
  bool failurePending_ = false;  // an error is being explained; later ones are ignored
  std::vector<std::string> missingPlugins_;
  std::weak_ptr<PlayerItemDelegate> delegate_;
  std::vector<StreamEntry> streams_;
  std::vector<std::string> selectedStreams_;
  // The selection last asked for, while it waits or is in flight: the base for
  // the next one, so that a switch of audio and one of captions both hold.
  std::optional<std::vector<std::string>> requestedStreams_;
  std::string imageOrientation_;
  std::shared_ptr<HlsManifestSnapshot> manifest_;
  // Loaded before the playlists were read: ready once they have been.
  bool readyDeferred_ = false;
};

}  // namespace zent
