#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace zent::testing {

// One ID3 tag a test stream carries, at its media time.
struct TimedId3Tag {
  double seconds = 0.0;
  std::vector<uint8_t> tag;
};

// An HLS VOD written to a directory: the media playlist and, in stream order,
// the ID3 tags its segments carry.
struct Id3HlsStream {
  std::filesystem::path playlist;
  std::vector<TimedId3Tag> tags;
};

// The timed-ID3 tags of the MPEG-TS stream, in stream order:
//  0.5 s (2.4, UTF-8/ISO-8859-1): TALB "First Album", TOPE "First Artist",
//        TIT1 "First Title", TIT2 "Standard Title", COMM "First comment",
//        TXXX station="first text"
//  2.5 s (2.3, UTF-16 with BOM):  TALB "Second Album", TIT1 "Second Títle",
//        COMM "Second comment"
//  4.5 s (2.4, UTF-16BE/UTF-8):   TOPE "Ärtist Ünïcode", TXXX station="third text ✓",
//        TIT2 "Other Standard Title"
std::vector<TimedId3Tag> timedId3TestTags();

// Makes a 6 s HLS VOD of three 2 s MPEG-TS segments (H.264 160x90 and AAC,
// made by ffmpeg) in directory, and adds a timed-ID3 elementary stream (PID
// 0x0102, stream_type 0x15 with the "ID3 " metadata descriptors in the PMT)
// that carries timedId3TestTags() as PES packets at their times. Throws
// std::runtime_error when ffmpeg fails or its output is not as expected.
Id3HlsStream makeTimedId3Hls(const std::filesystem::path& directory);

// Makes a 6 s audio-only HLS VOD of packed-audio segments (ADTS AAC) in
// directory, each segment starting with an ID3v2.4 tag: the PRIV
// transport-stream time stamp HLS requires, and TALB "Packed <n>" with TIT1
// "Segment <n>" for segment n.
Id3HlsStream makePackedAudioId3Hls(const std::filesystem::path& directory);

// Wraps one ID3 tag in a PES packet (private_stream_1, PTS only, data
// alignment set) and cuts it into 188-byte transport packets on pid.
std::vector<uint8_t> timedId3TransportPackets(const std::vector<uint8_t>& tag, uint16_t pid,
                                              uint64_t pts90k, uint8_t& continuityCounter);

}  // namespace zent::testing
