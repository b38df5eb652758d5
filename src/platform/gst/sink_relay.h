#pragma once

#include <gst/gst.h>

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/gst/gst_legible_output.h"
#include "platform/gst/gst_metadata_output.h"
#include "platform/gst/gst_video_output.h"
#include "subtitles/cea608_decoder.h"

namespace zent {

// What the video appsink accepts: frames as decoded, or RGBA converted by the
// pipeline's converter when the host's GL rasterises on the CPU.
inline constexpr const char* kDecodedVideoCaps =
    "video/x-raw, format=(string){ I420, NV12, BGRA, RGBA }";
inline constexpr const char* kRgbaVideoCaps = "video/x-raw, format=(string)RGBA";

// The negotiated picture of an item's video sink.
struct VideoGeometry {
  int32_t width = 0;  // in decoded pixels
  int32_t height = 0;
  int32_t parN = 1;  // pixel aspect ratio
  int32_t parD = 1;
};

// What an item's streaming threads feed: the attached outputs. The appsink
// callbacks, pad probes and the ID3 tap hold shared references to the relay (not
// to the item), so it stays valid until the pipeline is finalised on the teardown
// thread, after the item itself is gone. Streaming threads only take the relay's
// own small lock, never block, and hand caption and metadata deliveries to the
// main queue.
class SinkRelay : public std::enable_shared_from_this<SinkRelay> {
 public:
  SinkRelay() = default;
  ~SinkRelay();
  SinkRelay(const SinkRelay&) = delete;
  SinkRelay& operator=(const SinkRelay&) = delete;

  // Installs the callbacks on the item's video and text appsinks.
  void attachVideoSink(GstElement* appsink);
  void attachTextSink(GstElement* appsink);

  void addVideoOutput(std::shared_ptr<GstVideoOutput> output);
  void removeVideoOutput(const std::shared_ptr<GstVideoOutput>& output);
  void addLegibleOutput(std::shared_ptr<GstLegibleOutput> output);
  void addMetadataOutput(std::shared_ptr<GstMetadataOutput> output);
  void removeMetadataOutput(const std::shared_ptr<GstMetadataOutput>& output);
  bool hasMetadataOutputs() const;
  // Captions off: the caption on screen is cleared (one empty delivery) and the
  // text stream's cues are dropped until captions are on again, when the next
  // cue shows. Any thread.
  void setCaptionsOn(bool on);
  // Line-21 captions carried in the video (CC1 to CC4 as 0 to 3) are shown in
  // place of the text stream's cues when a channel is chosen; until a choice,
  // CC1 shows when the content has no text stream. Any thread.
  void setCaptionChannel(std::optional<int> channel);
  void setHasTextStream(bool hasTextStream);
  // The channels that have shown text so far, as bits (bit 0 = CC1), and a
  // callback run on the main queue each time one more channel shows text.
  unsigned captionChannelsWithText() const;
  void setCaptionChannelsFound(std::function<void()> found);
  // Detaches every output (the item is going away); later deliveries are dropped.
  void detachAll();

  std::optional<VideoGeometry> videoGeometry() const;

  // Streaming thread (the ID3 tap): queues one whole ID3 tag for the metadata
  // outputs, in order, on the main queue: when the video sink renders the frame
  // of its presentation time (a video buffer PTS), at once when that is unknown.
  void deliverId3Tag(std::vector<uint8_t> tag, GstClockTime pts = GST_CLOCK_TIME_NONE);

 private:
  void onVideoSample(GstElement* sink, GstSample* sample);
  // Gives the video sink the caps the outputs ask for and has the pipeline
  // negotiate again (streaming thread, no lock held).
  static void askForFormat(GstElement* sink, bool rgba);
  void deliverVideoSample(GstSample* sample);
  void onTextSample(GstElement* sink, GstSample* sample);
  void onVideoBufferArriving(GstBuffer* buffer);
  void onVideoFlush();
  void presentDueLocked(GstClockTime framePts);
  std::optional<int> shownChannelLocked() const;
  void postTextLocked(const std::string& text);
  void postId3TagLocked(std::vector<uint8_t> tag);
  void postCaption(std::vector<std::string> lines);
  void postShownCuesLocked();
  void scheduleCaptionClearLocked();
  void onCaptionEnd(uint64_t serial, GstClockTime runningTime);
  void cancelCaptionClearLocked();
  void onCaptionFlush();

  static GstFlowReturn videoPreroll(GstElement* sink, gpointer relay);
  static GstFlowReturn videoSample(GstElement* sink, gpointer relay);
  static GstFlowReturn textSample(GstElement* sink, gpointer relay);

  mutable std::mutex mutex_;
  bool detached_ = false;
  std::vector<std::shared_ptr<GstVideoOutput>> videoOutputs_;
  std::vector<std::shared_ptr<GstLegibleOutput>> legibleOutputs_;
  std::vector<std::shared_ptr<GstMetadataOutput>> metadataOutputs_;

  // The frame last handed to the outputs (preroll and render see the same buffer;
  // an output added later starts with it).
  GstSample* lastSample_ = nullptr;
  GstCaps* lastCaps_ = nullptr;
  std::optional<VideoGeometry> geometry_;
  bool rgbaAsked_ = false;      // the video sink's caps ask for RGBA
  bool rgbaDelivered_ = false;  // the last frame was RGBA

  // The cues on screen (overlapping cues are shown together, in the order they
  // started), and the clock wait that clears the first to end.
  struct ShownCue {
    GstClockTime endRunningTime;  // GST_CLOCK_TIME_NONE: until the next cue
    std::string text;
  };
  std::vector<ShownCue> shownCues_;
  const GstBuffer* lastTextBuffer_ = nullptr;
  GstClockTime lastTextPts_ = GST_CLOCK_TIME_NONE;
  bool captionShown_ = false;
  std::string shownText_;  // what was last posted, cues joined by "\n"
  // Line-21 captions: decoded as frames reach the video sink, shown when the
  // sink renders the frame they came with.
  struct ClosedCaptionScreen {
    GstClockTime pts;
    int channel;
    std::string text;
  };
  std::deque<std::pair<GstClockTime, std::vector<uint8_t>>> id3TagsDue_;  // in PTS order
  Cea608Decoder closedCaptions_;
  std::function<void()> channelsFound_;
  std::deque<ClosedCaptionScreen> closedCaptionsDue_;
  std::optional<int> chosenChannel_;  // set by a choice; nullopt also for "none"
  bool channelChosen_ = false;
  bool hasTextStream_ = false;
  std::array<std::string, Cea608Decoder::kChannels> channelScreens_{};
  GstClock* captionClock_ = nullptr;  // the text sink's clock and base time
  GstClockTime captionBaseTime_ = 0;
  bool captionsOn_ = true;
  GstClockID captionClear_ = nullptr;
  uint64_t captionSerial_ = 0;
};

}  // namespace zent
