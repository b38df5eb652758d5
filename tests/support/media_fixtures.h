// Test media, made with ffmpeg on first use and kept in the media cache; each
// function returns an absolute path (a file, or a directory for streams) and
// throws std::runtime_error when the media cannot be made. HttpServer serves the
// cache: server.url(hls_multivariant() + "/master.m3u8"). Video is testsrc2,
// H.264 4:2:0 without B-frames, a keyframe every second at 30 fps; audio is
// AAC-LC 48 kHz stereo carrying a sine tone.
#ifndef ZENT_TESTS_SUPPORT_MEDIA_FIXTURES_H
#define ZENT_TESTS_SUPPORT_MEDIA_FIXTURES_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "support/live_hls_playlist.h"
#include "support/media_cache.h"

namespace zent::test {

// 1280x720, 10.000 s, 440 Hz tone, moov first.
std::string mp4_720p();

// 640x360 coded, 4 s, no audio (playbin3 stalls on it with audio now and then),
// shown turned a quarter clockwise (image-orientation=rotate-90) as 360x640.
std::string mp4_rotated();

constexpr int kPatternWidth = 1280;
constexpr int kPatternHeight = 720;

// One vertical band of the colour bars: columns [x0, x1).
struct PatternBand {
  const char* name;
  int x0;
  int x1;
  uint8_t r, g, b;  // the intended colour
  uint8_t y, u, v;  // its BT.709 limited-range code values, exactly as stored
};

// White, yellow, cyan, green, magenta, red, blue, black, 160 pixels each. Their
// BT.709 limited-range codes give back the RGB within 1.2: compare band centres.
const std::array<PatternBand, 8>& patternBands();

// The bars as a 5 s 30 fps H.264 MP4 tagged BT.709 limited range, decoding to
// exactly the codes above (I420).
std::string mp4_pattern();

// A 5 s still of one flat colour, Y31 U233 V118 (BT.709 limited range): blue
// with strong chroma that no channel clips, decoding to R'G'B' (0, 0, 239.3).
// A chroma scale a few percent off moves its blue by about 5.
std::string mp4_deep_blue();

// 10 s HLS VOD (open "master.m3u8"), 2 s TS segments: audio renditions "English"
// (en, 440 Hz, default) and "Commentary" (1000 Hz), WebVTT subtitles "English"
// (en), video variants 426x240@300k, 640x360@800k, 1280x720@2000k (30 fps), and
// an audio-only variant.
std::string hls_multivariant();

struct VttCue {
  double start;  // seconds of presentation time
  double end;
  const char* text;  // lines joined with "\n"
};
extern const std::array<VttCue, 3> kHlsCues;

// A media playlist "index.m3u8" alone: 10 s 640x360 + 440 Hz in 2 s TS segments.
std::string hls_single_variant();

// hls_single_variant with EXT-X-PROGRAM-DATE-TIME from 2024-05-01T12:00:00Z, and a
// one-variant "master.m3u8".
std::string hls_program_date_time();
constexpr int64_t kHlsProgramDateTimeEpochMs = 1714564800000;  // 2024-05-01T12:00:00Z

// Sixty 1 s TS segments (seg_00000.ts ...) of one 60 s stream, for LiveHlsPlaylist.
std::string hls_live_segments();

// 10 s DASH VOD (open "manifest.mpd"), 2 s fMP4 segments: video representations
// "0" 426x240, "1" 640x360, "2" 1280x720, audio "3" (en, 440 Hz).
std::string dash_vod();

// 64 KiB that GStreamer cannot type ("Could not determine type of stream").
std::string garbage_file();

// H.264 test media carrying line-21 captions in A/53 "GA94" SEI user data, as
// broadcast streams do: made by encoding a test pattern with ffmpeg and writing
// one SEI NAL unit with that frame's cc_data before each picture.

// What a viewer of one channel sees from a given presentation time on.
struct CaptionScreen {
  double seconds;
  const char* text;  // rows joined by "\n"; "" for a clear screen
};

// 6 s of 320x240 30 fps video. CC1 (field 1): pop-on "Café ♪" at 1.0 s, cleared
// at 2.0 s, then roll-up (two rows) "One", "Two", "½ Three" typed from 2.5 s on,
// cleared at 5.0 s. CC3 (field 2): pop-on "Hola ñ" at 1.5 s, cleared at 4.0 s.
extern const std::vector<CaptionScreen> kCc1Screens;
extern const std::vector<CaptionScreen> kCc3Screens;

// Progressive MP4 (file).
std::string cea608Mp4();

// HLS (directory; open "master.m3u8"): MPEG-TS segments of 2 s, and a master
// playlist whose variant has CLOSED-CAPTIONS="cc" with two renditions:
std::string cea608Hls();

}  // namespace zent::test

#endif
