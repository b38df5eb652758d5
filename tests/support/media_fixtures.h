// Test media, made with ffmpeg on first use and kept in the media cache
// (support/media_cache.h) for every later test and test binary. Each function
// returns an absolute path (a file, or a directory for streams) and throws
// std::runtime_error, with the tool's stderr, when the media cannot be made.
//
// Serve them with support/http_server.h: an HttpServer serves the media cache
// by default, so server.url(hls_multivariant() + "/master.m3u8") is a working URL.
//
// Common to the synthetic clips: video is ffmpeg's testsrc2 pattern (a moving
// picture with a frame counter), H.264 (x264, 4:2:0, no B-frames) with a
// keyframe every 30 frames (every second at 30 fps), so seeks land exactly and
// cheaply; audio is AAC-LC stereo 48 kHz carrying a pure sine tone.
#ifndef ZENT_TESTS_SUPPORT_MEDIA_FIXTURES_H
#define ZENT_TESTS_SUPPORT_MEDIA_FIXTURES_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "support/live_hls_playlist.h"
#include "support/media_cache.h"

namespace zent::test {

// ---- Progressive files -------------------------------------------------

// 1280x720, 30 fps, exactly 10.000 s (300 frames), H.264 at CRF 23 + AAC
// 128 kbit/s with a 440 Hz tone. moov at the front (faststart).
std::string mp4_720p();

// 640x360 coded (natural size), 30 fps, 4 s, H.264, no audio, with a display
// matrix that rotates it 90 degrees clockwise for display (shown as 360x640):
// ffprobe reports side data "rotation=-90", GStreamer the tag
// image-orientation=rotate-90. moov at the front. Video only on purpose: with
// an audio track as well, GStreamer 1.22's playbin3 stalls before EOS in about
// one progressive-HTTP playback in 15 (never from a file, never without the
// rotation tag, with this server and with python's http.server alike).
std::string mp4_rotated();

// 1920x1080, 30 fps, 10 s, H.264 at 6 Mbit/s (capped) + AAC 128 kbit/s 440 Hz.
std::string mp4_1080p();

// A minute of 1080p for benchmarks: six copies of mp4_1080p joined without
// re-encoding (1800 frames, a keyframe every second, 60.02 s with the audio;
// the picture repeats every 10 s).
std::string mp4_1080p_long();

// ---- Colour bars with exactly known colours ----------------------------

constexpr int kPatternWidth = 1280;
constexpr int kPatternHeight = 720;

// One vertical band of the pattern: columns [x0, x1) of every row.
struct PatternBand {
  const char* name;
  int x0;
  int x1;
  uint8_t r, g, b;  // the intended colour
  uint8_t y, u, v;  // its BT.709 limited-range code values, exactly as stored
};

// The eight bands, left to right, each 160 pixels wide:
//   white   (255,255,255)  Y235 U128 V128      magenta (255,0,255)  Y78  U214 V230
//   yellow  (255,255,0)    Y219 U16  V138      red     (255,0,0)    Y63  U102 V240
//   cyan    (0,255,255)    Y188 U154 V16       blue    (0,0,255)    Y32  U240 V118
//   green   (0,255,0)      Y173 U42  V26       black   (0,0,0)      Y16  U128 V128
// Converting the stored Y'CbCr back with BT.709 limited-range math gives each
// band's RGB within 1.2 of the intended value (rounding of 8-bit codes), so
// compare read-back pixels with a tolerance of about 3 (more for a GPU path
// that filters chroma), and sample band centres: chroma is shared by 2x2 pixels.
const std::array<PatternBand, 8>& patternBands();

// The band under column x (clamped to the frame).
const PatternBand& patternBandAt(int x);

enum class PixelLayout {
  I420,  // Y plane, then U (w/2 x h/2), then V
  NV12,  // Y plane, then interleaved UV (w/2 pairs x h/2)
};

// One 1280x720 frame of the bars, tightly packed in `layout` (1,382,400 bytes).
// For unit tests of upload and conversion code that need exact input bytes.
std::vector<uint8_t> patternFrame(PixelLayout layout);

// The bars as a 5 s, 30 fps, 1280x720 H.264 MP4 (yuv420p, tagged BT.709
// primaries, transfer and matrix, limited range), encoded so that every
// decoded frame reproduces the Y'CbCr codes above exactly. GStreamer decodes
// it to I420 with colorimetry bt709. There is no NV12 file: no container and
// decoder in this GStreamer (1.22) hand raw NV12 to decodebin (Matroska and
// AVI raw NV12 are not recognised, NUT crashes avdemux_nut); to exercise an
// NV12 path, ask for NV12 in the sink caps (videoconvert repacks I420 to NV12
// without changing a value) or use patternFrame(PixelLayout::NV12).
std::string mp4_pattern();

// ---- HLS -------------------------------------------------------------------

// A 10 s HLS VOD presentation (directory; open "master.m3u8"). MPEG-TS
// segments of 2 s (5 per playlist). The master lists, in this order:
//   EXT-X-MEDIA AUDIO  GROUP-ID="aud" NAME="English" LANGUAGE="en" DEFAULT=YES
//                      (audio_en/index.m3u8, 440 Hz tone)
//   EXT-X-MEDIA AUDIO  GROUP-ID="aud" NAME="Commentary", no LANGUAGE
//                      (audio_commentary/index.m3u8, 1000 Hz tone)
//   EXT-X-MEDIA SUBTITLES GROUP-ID="subs" NAME="English" LANGUAGE="en"
//                      (subs_en/index.m3u8, WebVTT, one .vtt per 2 s segment)
//   EXT-X-STREAM-INF BANDWIDTH=300000  RESOLUTION=426x240  -> video_240p/index.m3u8
//   EXT-X-STREAM-INF BANDWIDTH=800000  RESOLUTION=640x360  -> video_360p/index.m3u8
//   EXT-X-STREAM-INF BANDWIDTH=2000000 RESOLUTION=1280x720 -> video_720p/index.m3u8
//   EXT-X-STREAM-INF BANDWIDTH=96000 CODECS="mp4a.40.2" (audio only) -> audio_en/index.m3u8
// The video lines carry FRAME-RATE=30.000, CODECS="avc1.42c015|42c01e|42c01f,
// mp4a.40.2" (constrained baseline, levels 2.1/3.0/3.1), AUDIO="aud",
// SUBTITLES="subs". Video segments carry video only; each variant is encoded
// at its BANDWIDTH as the target (capped) rate. See kHlsCues for the cues.
std::string hls_multivariant();

// One WebVTT cue of the multivariant presentation's subtitle rendition.
struct VttCue {
  double start;  // seconds of presentation time
  double end;
  const char* text;  // lines joined with "\n"
};
// "First cue" 1.000-1.900 s, "Second cue" 4.000-5.900 s,
// "Third cue\nsecond line" 6.500-7.500 s. Each lies within one 2 s segment.
extern const std::array<VttCue, 3> kHlsCues;

// A plain media playlist (directory; open "index.m3u8", no master): 10 s,
// 640x360 30 fps H.264 800 kbit/s + AAC 440 Hz muxed in MPEG-TS, 2 s segments.
std::string hls_single_variant();

// The single-variant media (same segments) with a media playlist
// "index.m3u8" whose segments carry EXT-X-PROGRAM-DATE-TIME, the first
// 2024-05-01T12:00:00.000Z and each next one 2 s later; "master.m3u8" in the
// same directory is a one-variant master pointing at it.
std::string hls_program_date_time();
constexpr int64_t kHlsProgramDateTimeEpochMs = 1714564800000;  // 2024-05-01T12:00:00Z

// Sixty 1 s MPEG-TS segments (directory: seg_00000.ts .. seg_00059.ts and a VOD
// "index.m3u8" listing them) of one continuous 60 s 640x360 30 fps H.264
// (500 kbit/s) + AAC 440 Hz stream, a keyframe at every segment start. Feed
// them to LiveHlsPlaylist (support/live_hls_playlist.h) to serve a live stream.
std::string hls_live_segments();

// ---- DASH ------------------------------------------------------------------

// A 10 s DASH VOD presentation (directory; open "manifest.mpd"), fMP4
// segments of 2 s addressed by SegmentTemplate $Number$. One video
// AdaptationSet with Representations id "0" 426x240 @ 300000, "1" 640x360 @
// 800000, "2" 1280x720 @ 2000000 (30 fps, H.264 constrained baseline; the
// 426x240 rung has sar="640:639" so that all three show 16:9), one
// audio AdaptationSet lang="en" with Representation "3" (AAC-LC 64 kbit/s,
// 440 Hz).
std::string dash_vod();

// ---- Not media --------------------------------------------------------------

// 64 KiB named "garbage-v1.mp4": the line "This is not a media file." and then
// pseudo-random bytes from a fixed seed. GStreamer's typefinding gives up on it
// ("Could not determine type of stream").
std::string garbage_file();

}  // namespace zent::test

#endif
