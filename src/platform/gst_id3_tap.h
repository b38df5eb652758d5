#pragma once

#include <gst/gst.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace zent {

// Takes the ID3 tags out of the stream a playbin3 pipeline plays: timed-ID3
// elementary streams of MPEG-TS (stream_type 0x15, "ID3 " metadata
// descriptor), read from the transport stream entering each tsdemux, and the
// ID3 tags at the start of each HLS packed-audio fragment, read where they
// enter id3demux. GStreamer 1.22's tsdemux exposes no pad for timed ID3, so
// the tap reads the transport stream itself.
//
// Each whole tag goes to the callback, in stream order per stream, on the
// streaming thread that carries it (as soon as it is demuxed, ahead of its
// presentation time by the pipeline's buffering). The callback must not block
// and must not take a player lock: forward the tag to the main queue.
//
// A timed tag of a transport stream also comes with its presentation time as
// a buffer PTS of the program's video (GST_CLOCK_TIME_NONE when unknown): the
// demuxer's mapping of MPEG time is learnt by pairing each video PES read
// from the transport stream with the buffer the demuxer pushes for it.
class GstId3Tap {
 public:
  using Callback = std::function<void(std::vector<uint8_t> id3Tag)>;
  using TimedCallback = std::function<void(std::vector<uint8_t> id3Tag, GstClockTime pts)>;

  // Watches pipeline (and the bins it will contain) for the demuxers above.
  // Install before the pipeline leaves the NULL state; elements already in it
  // are tapped too. Holds a reference on the pipeline until destroyed.
  static std::unique_ptr<GstId3Tap> install(GstElement* pipeline, Callback callback);
  static std::unique_ptr<GstId3Tap> installTimed(GstElement* pipeline, TimedCallback callback);

  // Stops the tap: once this returns the callback is never called again and
  // whatever it captured has been released. Safe while the pipeline runs or
  // after it has been set to NULL; not from inside the callback.
  ~GstId3Tap();

  GstId3Tap(const GstId3Tap&) = delete;
  GstId3Tap& operator=(const GstId3Tap&) = delete;

  struct Shared;  // the part the probes keep alive

 private:
  GstId3Tap(GstElement* pipeline, std::shared_ptr<Shared> shared);

  GstElement* pipeline_;
  std::shared_ptr<Shared> shared_;
  gulong elementAddedHandler_ = 0;
};

}  // namespace zent
