#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zent {

// Which adaptivedemux2 (the HLS, DASH and Smooth Streaming demuxers) the process
// uses. GStreamer's own can abort the process on an internal assertion when a
// flushing seek meets a queued segment download (fixed in 1.22.7), and merges HLS
// renditions of one language with different names into one stream (fixed in
// 1.26.9). scripts/build-adaptivedemux2.sh builds a fixed copy of the installed
// release whose elements (zenthlsdemux2, zentdashdemux2, zentmssdemux2) outrank
// GStreamer's; the CMake build puts it in <build>/gst-plugins/.

struct GstRelease {
  unsigned major = 0;
  unsigned minor = 0;
  unsigned micro = 0;
};

// The file name of the fixed plugin.
inline constexpr const char* kFixedAdaptiveDemuxPlugin = "libgstzentadaptivedemux2.so";

// Why GStreamer's own demuxers are used whatever plugin is present ("GStreamer
// 1.26.9 carries the fixes", "ZENT_SYSTEM_ADAPTIVEDEMUX is set"), or nothing when
// the running release needs the fixed one.
std::optional<std::string> systemAdaptiveDemuxReason(GstRelease running, bool forced);

// Called once, after gst_init: loads the fixed plugin when the running release
// needs it and it was built for exactly that release, and logs one INFO line
// saying which demuxers adaptive streams use and why. Works whether or not the
// host initialised GStreamer, or already used GStreamer's own demuxers, first.
void chooseAdaptiveDemuxer();

// True for the factory of an HLS demuxer: GStreamer's (hlsdemux, hlsdemux2) or the
// fixed one (zenthlsdemux2).
bool isHlsDemuxerFactory(std::string_view factoryName);

}  // namespace zent
