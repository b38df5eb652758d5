#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

namespace zent::testing {

struct TimedId3Tag {
  double seconds = 0.0;  // media time
  std::vector<uint8_t> tag;
};
struct Id3HlsStream {
  std::filesystem::path playlist;
  std::vector<TimedId3Tag> tags;  // in stream order
};

// Tags at 0.5 s (2.4), 2.5 s (2.3, UTF-16) and 4.5 s (2.4): album, artist, titles, comments
// and TXXX "station" values that later tags replace.
std::vector<TimedId3Tag> timedId3TestTags();

// A 6 s HLS VOD of three 2 s MPEG-TS segments (H.264 160x90 and AAC, made by ffmpeg) with a
// timed-ID3 stream (PID 0x0102, stream_type 0x15, "ID3 " descriptors in the PMT) carrying
// timedId3TestTags() at their times. Throws std::runtime_error.
Id3HlsStream makeTimedId3Hls(const std::filesystem::path& directory);

}  // namespace zent::testing
