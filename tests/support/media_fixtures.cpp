// Test media made with ffmpeg on first use: progressive files, the colour
// bars, DASH, the HLS presentations, line-21 captions and the garbage file.
#include "support/media_fixtures.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <sstream>
#include <stdexcept>

#include "support/cea608_pairs.h"
#include "support/files.h"

namespace fs = std::filesystem;

namespace zent::test {
namespace {

// An argument list that concatenates with +.
struct Args {
  std::vector<std::string> items;
  Args() = default;
  Args(std::initializer_list<std::string> list) : items(list) {}
  Args operator+(const Args& more) const {
    Args joined = *this;
    joined.items.insert(joined.items.end(), more.items.begin(), more.items.end());
    return joined;
  }
  operator const std::vector<std::string>&() const { return items; }
};

// testsrc2 at 30 fps as an input.
inline Args testPattern(int width, int height, int seconds) {
  return {"-f", "lavfi", "-i",
          "testsrc2=size=" + std::to_string(width) + "x" + std::to_string(height) +
              ":rate=30:duration=" + std::to_string(seconds)};
}

// A sine tone at 48 kHz as an input.
inline Args sineTone(int hertz, int seconds) {
  return {"-f", "lavfi", "-i",
          "sine=frequency=" + std::to_string(hertz) +
              ":sample_rate=48000:duration=" + std::to_string(seconds)};
}

// x264 at its fastest, 4:2:0, no B-frames, a keyframe exactly every 30 frames.
inline Args h264Video() {
  return {"-c:v", "libx264", "-preset", "ultrafast",   "-pix_fmt", "yuv420p",       "-bf",
          "0",    "-g",      "30",      "-keyint_min", "30",       "-sc_threshold", "0"};
}

// AAC-LC stereo.
inline Args aacAudio(const std::string& bitrate) {
  return {"-c:a", "aac", "-b:a", bitrate, "-ac", "2"};
}

// Input 0 (1280x720 video) split into the three rungs of the adaptive
// fixtures, labelled [v0] 426x240, [v1] 640x360, [v2] 1280x720, square pixels.
inline const char* const kThreeRungSplit =
    "[0:v]split=3[a][b][c];[a]scale=426:240,setsar=1[v0];[b]scale=640:360,setsar=1[v1];"
    "[c]setsar=1[v2]";

// The same rungs with the 16:9 display shape kept: 426x240 gets pixels of
// aspect 640:639. ffmpeg's DASH muxer requires one display aspect ratio per
// AdaptationSet.
inline const char* const kThreeRungSplitSameShape =
    "[0:v]split=3[a][b][c];[a]scale=426:240[v0];[b]scale=640:360[v1];[c]copy[v2]";

// Target (and cap) rates and levels of the three rungs: 300k, 800k, 2000k.
inline Args threeRungRates() {
  return {"-b:v:0", "300k",  "-maxrate:v:0", "300k",  "-bufsize:v:0", "600k",  "-level:v:0", "2.1",
          "-b:v:1", "800k",  "-maxrate:v:1", "800k",  "-bufsize:v:1", "1600k", "-level:v:1", "3.0",
          "-b:v:2", "2000k", "-maxrate:v:2", "2000k", "-bufsize:v:2", "4000k", "-level:v:2", "3.1"};
}

}  // namespace

// ---- Progressive files -------------------------------------------------

std::string mp4_720p() {
  return cachedMedia("mp4_720p-v1.mp4", [](const std::string& out) {
    runFfmpeg(Args{} + testPattern(1280, 720, 10) + sineTone(440, 10) + Args{"-t", "10"} +
              h264Video() + Args{"-crf", "23"} + aacAudio("128k") +
              Args{"-movflags", "+faststart", out});
  });
}

std::string mp4_rotated() {
  return cachedMedia("mp4_rotated-v3.mp4", [](const std::string& out) {
    const std::string plain = out + ".unrotated.mp4";
    runFfmpeg(Args{} + testPattern(640, 360, 4) + Args{"-t", "4"} + h264Video() +
              Args{"-crf", "23", plain});
    // ffmpeg 5.1 turns the "rotate" tag into a display matrix only when
    // remuxing. "270" (counter-clockwise) stores the matrix that turns the
    // picture 90 degrees clockwise, as a phone held upright records it.
    runFfmpeg({"-i", plain, "-map", "0", "-c", "copy", "-metadata:s:v:0", "rotate=270", "-movflags",
               "+faststart", out});
    fs::remove(plain);
  });
}

// ---- Colour bars -------------------------------------------------------

const std::array<PatternBand, 8>& patternBands() {
  // Y'CbCr from R'G'B' with the BT.709 matrix, scaled to limited range
  // (Y 16..235, Cb/Cr 16..240) and rounded to the nearest code.
  static const std::array<PatternBand, 8> bands = {{
      {"white", 0, 160, 255, 255, 255, 235, 128, 128},
      {"yellow", 160, 320, 255, 255, 0, 219, 16, 138},
      {"cyan", 320, 480, 0, 255, 255, 188, 154, 16},
      {"green", 480, 640, 0, 255, 0, 173, 42, 26},
      {"magenta", 640, 800, 255, 0, 255, 78, 214, 230},
      {"red", 800, 960, 255, 0, 0, 63, 102, 240},
      {"blue", 960, 1120, 0, 0, 255, 32, 240, 118},
      {"black", 1120, 1280, 0, 0, 0, 16, 128, 128},
  }};
  return bands;
}

namespace {

// One I420 frame whose Y'CbCr codes depend on the column only.
std::string frameI420(const std::function<std::array<uint8_t, 3>(size_t)>& codesAt) {
  constexpr size_t kW = kPatternWidth, kH = kPatternHeight;
  std::string frame(kW * kH * 3 / 2, '\0');
  for (size_t x = 0; x < kW; ++x) {
    const auto codes = codesAt(x);
    for (size_t row = 0; row < kH; ++row) frame[row * kW + x] = codes[0];
    for (size_t row = 0; row < kH / 2 && x % 2 == 0; ++row) {
      frame[kW * kH + row * kW / 2 + x / 2] = codes[1];
      frame[kW * kH * 5 / 4 + row * kW / 2 + x / 2] = codes[2];
    }
  }
  return frame;
}

// The raw frame goes straight to the encoder, so no RGB-to-YUV step of
// ffmpeg's own stands between the codes and the stream. Flat 16x16-aligned
// blocks at CRF 18 decode exactly.
void encodeStill(const std::string& frame, const std::string& out) {
  const std::string raw = out + ".frame.yuv";
  writeFile(raw, frame);
  runFfmpeg(Args{"-f", "rawvideo", "-pix_fmt", "yuv420p", "-s", "1280x720", "-r", "30",
                 "-stream_loop", "-1", "-i", raw, "-t", "5"} +
            h264Video() +
            Args{"-crf", "18", "-colorspace", "bt709", "-color_primaries", "bt709", "-color_trc",
                 "bt709", "-color_range", "tv", "-movflags", "+faststart", out});
  fs::remove(raw);
}

}  // namespace

std::string mp4_pattern() {
  return cachedMedia("mp4_pattern-v1.mp4", [](const std::string& out) {
    // Bands are 160 pixels wide: no 2x2 chroma block straddles two of them.
    encodeStill(frameI420([](size_t x) {
                  const PatternBand& band = patternBands()[x / 160];
                  return std::array<uint8_t, 3>{band.y, band.u, band.v};
                }),
                out);
  });
}

std::string mp4_deep_blue() {
  return cachedMedia("mp4_deep_blue-v1.mp4", [](const std::string& out) {
    encodeStill(frameI420([](size_t) { return std::array<uint8_t, 3>{31, 233, 118}; }), out);
  });
}

std::string dash_vod() {
  return cachedMedia("dash_vod-v1", [](const std::string& out) {
    fs::create_directories(out);
    runFfmpeg(Args{} + testPattern(1280, 720, 10) + sineTone(440, 10) + Args{"-t", "10"} +
              Args{"-filter_complex", kThreeRungSplitSameShape, "-map", "[v0]", "-map", "[v1]",
                   "-map", "[v2]", "-map", "1:a"} +
              h264Video() + Args{"-profile:v", "baseline"} + threeRungRates() + aacAudio("64k") +
              Args{"-metadata:s:a:0", "language=en", "-f", "dash", "-seg_duration", "2",
                   "-use_template", "1", "-use_timeline", "0", "-adaptation_sets",
                   "id=0,streams=v id=1,streams=a", "-init_seg_name", "init-$RepresentationID$.m4s",
                   "-media_seg_name", "chunk-$RepresentationID$-$Number%05d$.m4s",
                   out + "/manifest.mpd"});
  });
}

// ---- Garbage -----------------------------------------------------------

std::string garbage_file() {
  return cachedMedia("garbage-v1.mp4", [](const std::string& out) {
    std::string bytes = "This is not a media file.\n";
    uint32_t state = 12345;  // a fixed seed: the same bytes every time
    while (bytes.size() < 64 * 1024) {
      state = state * 1103515245u + 12345u;
      bytes.push_back(static_cast<char>((state >> 16) & 0xff));
    }
    writeFile(out, bytes);
  });
}

const std::array<VttCue, 3> kHlsCues = {{
    {1.0, 1.9, "First cue"},
    {4.0, 5.9, "Second cue"},
    {6.5, 7.5, "Third cue\nsecond line"},
}};

namespace {

constexpr int kSegmentSeconds = 2;
constexpr int kVodSeconds = 10;

std::string vttTime(double seconds) {
  int64_t ms = std::llround(seconds * 1000);
  char text[32];
  std::snprintf(text, sizeof text, "%02lld:%02lld:%02lld.%03lld",
                static_cast<long long>(ms / 3600000), static_cast<long long>(ms / 60000 % 60),
                static_cast<long long>(ms / 1000 % 60), static_cast<long long>(ms % 1000));
  return text;
}

// "2024-05-01T12:00:00.000Z" for milliseconds since 1970 (UTC).
std::string iso8601Utc(int64_t epochMs) {
  std::time_t seconds = static_cast<std::time_t>(epochMs / 1000);
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  char text[96];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", utc.tm_year + 1900,
                utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec,
                static_cast<int>(epochMs % 1000));
  return text;
}

std::string extinf(double seconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%.6f", seconds);
  return text;
}

// The 90 kHz timestamp of the first video frame of a TS segment: WebVTT
// segments map their local zero onto it (X-TIMESTAMP-MAP), so cue times count
// from the start of the presentation.
int64_t firstVideoPts90k(const std::string& segment) {
  std::string start = probeValue(segment, "stream=start_time", "v:0");
  if (start.empty()) throw std::runtime_error("no video start time in " + segment);
  return std::llround(std::stod(start) * 90000);
}

// One .vtt per 2 s segment; a cue goes in the segment where it starts (the
// fixture's cues never cross a segment boundary).
void writeSubtitles(const std::string& dir, int64_t mpegtsZero) {
  fs::create_directories(dir);
  std::ostringstream playlist;
  playlist << "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:" << kSegmentSeconds
           << "\n#EXT-X-MEDIA-SEQUENCE:0\n#EXT-X-PLAYLIST-TYPE:VOD\n";
  for (int index = 0; index * kSegmentSeconds < kVodSeconds; ++index) {
    const double from = index * kSegmentSeconds;
    const double to = from + kSegmentSeconds;
    std::ostringstream vtt;
    vtt << "WEBVTT\nX-TIMESTAMP-MAP=MPEGTS:" << mpegtsZero << ",LOCAL:00:00:00.000\n\n";
    for (const VttCue& cue : kHlsCues) {
      if (cue.start >= from && cue.start < to) {
        vtt << vttTime(cue.start) << " --> " << vttTime(cue.end) << "\n" << cue.text << "\n\n";
      }
    }
    char name[32];
    std::snprintf(name, sizeof name, "seg_%03d.vtt", index);
    writeFile(dir + "/" + name, vtt.str());
    playlist << "#EXTINF:" << kSegmentSeconds << ".000,\n" << name << "\n";
  }
  playlist << "#EXT-X-ENDLIST\n";
  writeFile(dir + "/index.m3u8", playlist.str());
}

constexpr const char* kMultivariantMaster =
    "#EXTM3U\n"
    "#EXT-X-VERSION:3\n"
    "#EXT-X-INDEPENDENT-SEGMENTS\n"
    "#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"aud\",NAME=\"English\",LANGUAGE=\"en\",DEFAULT=YES,"
    "AUTOSELECT=YES,CHANNELS=\"2\",URI=\"audio_en/index.m3u8\"\n"
    "#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"aud\",NAME=\"Commentary\",DEFAULT=NO,AUTOSELECT=NO,"
    "CHANNELS=\"2\",URI=\"audio_commentary/index.m3u8\"\n"
    "#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID=\"subs\",NAME=\"English\",LANGUAGE=\"en\",DEFAULT=NO,"
    "AUTOSELECT=YES,FORCED=NO,URI=\"subs_en/index.m3u8\"\n"
    "#EXT-X-STREAM-INF:BANDWIDTH=300000,RESOLUTION=426x240,FRAME-RATE=30.000,"
    "CODECS=\"avc1.42c015,mp4a.40.2\",AUDIO=\"aud\",SUBTITLES=\"subs\"\n"
    "video_240p/index.m3u8\n"
    "#EXT-X-STREAM-INF:BANDWIDTH=800000,RESOLUTION=640x360,FRAME-RATE=30.000,"
    "CODECS=\"avc1.42c01e,mp4a.40.2\",AUDIO=\"aud\",SUBTITLES=\"subs\"\n"
    "video_360p/index.m3u8\n"
    "#EXT-X-STREAM-INF:BANDWIDTH=2000000,RESOLUTION=1280x720,FRAME-RATE=30.000,"
    "CODECS=\"avc1.42c01f,mp4a.40.2\",AUDIO=\"aud\",SUBTITLES=\"subs\"\n"
    "video_720p/index.m3u8\n"
    "#EXT-X-STREAM-INF:BANDWIDTH=96000,CODECS=\"mp4a.40.2\",AUDIO=\"aud\"\n"
    "audio_en/index.m3u8\n";

// A VOD media playlist of 640x360 video and the 440 Hz tone muxed in TS.
void writeMuxedVariant(const std::string& dir, int seconds, int segmentSeconds,
                       const std::string& videoRate, const std::string& segmentPattern) {
  fs::create_directories(dir);
  const std::string duration = std::to_string(seconds);
  runFfmpeg(Args{} + testPattern(640, 360, seconds) + sineTone(440, seconds) +
            Args{"-t", duration} + h264Video() +
            Args{"-profile:v", "baseline", "-level:v", "3.0", "-b:v", videoRate, "-maxrate",
                 videoRate, "-bufsize", videoRate} +
            aacAudio("64k") +
            Args{"-f", "hls", "-hls_time", std::to_string(segmentSeconds), "-hls_list_size", "0",
                 "-hls_playlist_type", "vod", "-hls_segment_type", "mpegts",
                 "-hls_segment_filename", dir + "/" + segmentPattern, dir + "/index.m3u8"});
}

}  // namespace

std::string hls_multivariant() {
  return cachedMedia("hls_multivariant-v1", [](const std::string& out) {
    fs::create_directories(out);
    // One encoder run makes every rendition, so all share one timeline.
    runFfmpeg(Args{} + testPattern(1280, 720, kVodSeconds) + sineTone(440, kVodSeconds) +
              sineTone(1000, kVodSeconds) + Args{"-t", std::to_string(kVodSeconds)} +
              Args{"-filter_complex", kThreeRungSplit, "-map", "[v0]", "-map", "[v1]", "-map",
                   "[v2]", "-map", "1:a", "-map", "2:a"} +
              h264Video() + Args{"-profile:v", "baseline"} + threeRungRates() + aacAudio("64k") +
              Args{"-f", "hls", "-hls_time", std::to_string(kSegmentSeconds), "-hls_list_size", "0",
                   "-hls_playlist_type", "vod", "-hls_segment_type", "mpegts",
                   "-hls_segment_filename", out + "/%v/seg_%03d.ts", "-var_stream_map",
                   "v:0,name:video_240p v:1,name:video_360p v:2,name:video_720p "
                   "a:0,name:audio_en a:1,name:audio_commentary",
                   out + "/%v/index.m3u8"});
    writeSubtitles(out + "/subs_en", firstVideoPts90k(out + "/video_240p/seg_000.ts"));
    writeFile(out + "/master.m3u8", kMultivariantMaster);
  });
}

std::string hls_single_variant() {
  return cachedMedia("hls_single_variant-v1", [](const std::string& out) {
    writeMuxedVariant(out, kVodSeconds, kSegmentSeconds, "800k", "seg_%03d.ts");
  });
}

std::string hls_program_date_time() {
  const std::string source = hls_single_variant();
  return cachedMedia("hls_program_date_time-v1", [&source](const std::string& out) {
    fs::create_directories(out);
    std::vector<HlsSegment> segments = parseMediaSegments(readFile(source + "/index.m3u8"));
    if (segments.empty()) throw std::runtime_error("no segments in " + source + "/index.m3u8");
    std::ostringstream playlist;
    playlist << "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:" << kSegmentSeconds
             << "\n#EXT-X-MEDIA-SEQUENCE:0\n#EXT-X-PLAYLIST-TYPE:VOD\n";
    double elapsed = 0;
    for (const HlsSegment& segment : segments) {
      linkOrCopy(source + "/" + segment.uri, out + "/" + segment.uri);
      playlist << "#EXT-X-PROGRAM-DATE-TIME:"
               << iso8601Utc(kHlsProgramDateTimeEpochMs + std::llround(elapsed * 1000)) << "\n"
               << "#EXTINF:" << extinf(segment.duration) << ",\n"
               << segment.uri << "\n";
      elapsed += segment.duration;
    }
    playlist << "#EXT-X-ENDLIST\n";
    writeFile(out + "/index.m3u8", playlist.str());
    writeFile(out + "/master.m3u8",
              "#EXTM3U\n#EXT-X-VERSION:3\n"
              "#EXT-X-STREAM-INF:BANDWIDTH=900000,RESOLUTION=640x360,FRAME-RATE=30.000,"
              "CODECS=\"avc1.42c01e,mp4a.40.2\"\nindex.m3u8\n");
  });
}

std::string hls_live_segments() {
  return cachedMedia("hls_live_segments-v1", [](const std::string& out) {
    writeMuxedVariant(out, 60, 1, "500k", "seg_%05d.ts");
  });
}

// ---- Line-21 captions in H.264 -----------------------------------------

namespace {

using namespace zent::testing;

constexpr int kFrames = 180;  // 6 s at 30 fps
constexpr uint8_t RCL = 0x20, RU2 = 0x25, EDM = 0x2C, CR = 0x2D, ENM = 0x2E, EOC = 0x2F;

// One byte pair per frame and field; null pairs where nothing is sent.
struct Tracks {
  std::vector<CcPair> field1 = std::vector<CcPair>(kFrames, CcPair{0x80, 0x80});
  std::vector<CcPair> field2 = std::vector<CcPair>(kFrames, CcPair{0x80, 0x80});
};

void place(std::vector<CcPair>& track, int frame, const CcPairs& pairs) {
  for (const CcPair& pair : pairs) track.at(static_cast<size_t>(frame++)) = pair;
}

// A pop-on caption whose end of caption (sent twice, acting once) is at frame.
void popOn(std::vector<CcPair>& track, int frame, uint8_t misc, const CcPairs& text) {
  CcPairs pairs = control(0, misc, RCL) + control(0, misc, ENM) + preamble(0, 15) + text +
                  control(0, misc, EOC);
  place(track, frame - static_cast<int>(pairs.size()) + 2, pairs);
}

Tracks captionTracks() {
  Tracks tracks;
  // CC1: "Café ♪" (é from the basic set, ♪ from the special set).
  popOn(tracks.field1, 30, 0x14, text("Caf\x5C ") + control(0, 0x11, 0x37));
  place(tracks.field1, 60, misc(0, EDM));
  // Roll-up from 2.5 s: each pair a frame; "½" from the special set.
  place(tracks.field1, 75,
        misc(0, RU2) + text("One") + misc(0, CR) + text("Two") + misc(0, CR) +
            control(0, 0x11, 0x32) + text(" Three"));
  place(tracks.field1, 150, misc(0, EDM));
  // CC3, on field 2, whose miscellaneous codes start with 0x15.
  popOn(tracks.field2, 45, 0x15, text("Hola \x7E"));
  place(tracks.field2, 120, control(0, 0x15, EDM));
  return tracks;
}

// An SEI NAL unit (with start code) carrying one frame's cc_data as ATSC A/53
// user data registered by ITU-T T.35.
std::string captionSei(CcPair field1, CcPair field2) {
  std::vector<uint8_t> payload = {
      0xB5,     0x00,         0x31,          'G',  'A',          '9',           '4', 0x03,
      0x40 | 2,  // process_cc_data_flag, cc_count
      0xFF,      // em_data
      0xFC,     field1.first, field1.second, 0xFD, field2.first, field2.second, 0xFF};
  std::vector<uint8_t> rbsp = {0x04, static_cast<uint8_t>(payload.size())};
  rbsp.insert(rbsp.end(), payload.begin(), payload.end());
  rbsp.push_back(0x80);  // rbsp_trailing_bits
  std::string nal = std::string("\x00\x00\x00\x01\x06", 5);
  int zeros = 0;
  for (uint8_t byte : rbsp) {
    if (zeros >= 2 && byte <= 3) {  // emulation prevention
      nal += '\x03';
      zeros = 0;
    }
    nal += static_cast<char>(byte);
    zeros = byte == 0 ? zeros + 1 : 0;
  }
  return nal;
}

// Inserts one caption SEI before each picture of an Annex B stream (one slice
// per picture, no B-frames: stream order is presentation order).
std::string withCaptions(const std::string& annexB) {
  Tracks tracks = captionTracks();
  std::vector<size_t> starts;  // positions of the 00 00 01 of each NAL unit
  for (size_t i = 0; i + 3 <= annexB.size(); ++i) {
    if (annexB[i] == 0 && annexB[i + 1] == 0 && annexB[i + 2] == 1) starts.push_back(i);
  }
  std::string out;
  size_t copied = 0;
  int frame = 0;
  for (size_t start : starts) {
    if (start + 3 >= annexB.size()) break;
    int type = annexB[start + 3] & 0x1F;
    if (type != 1 && type != 5) continue;
    size_t nalBegin = (start > 0 && annexB[start - 1] == 0) ? start - 1 : start;
    out.append(annexB, copied, nalBegin - copied);
    copied = nalBegin;
    if (frame < kFrames) {
      out += captionSei(tracks.field1[static_cast<size_t>(frame)],
                        tracks.field2[static_cast<size_t>(frame)]);
    }
    ++frame;
  }
  out.append(annexB, copied, std::string::npos);
  if (frame != kFrames) throw std::runtime_error("unexpected picture count in caption media");
  return out;
}

// The captioned elementary stream, in dir.
std::string captionedH264(const ScopedTempDir& dir) {
  std::string plain = dir.file("plain.h264");
  runFfmpeg(testPattern(320, 240, 6) + h264Video() + Args{"-an", "-f", "h264", plain});
  return dir.write("captioned.h264", withCaptions(readFile(plain)));
}

}  // namespace

const std::vector<CaptionScreen> kCc1Screens = {{30 / 30.0, "Caf\xC3\xA9 \xE2\x99\xAA"},
                                                {60 / 30.0, ""},
                                                {78 / 30.0, "One"},
                                                {82 / 30.0, "One\nTwo"},
                                                {83 / 30.0, "Two"},
                                                {89 / 30.0, "Two\n\xC2\xBD Three"},
                                                {150 / 30.0, ""}};
const std::vector<CaptionScreen> kCc3Screens = {{45 / 30.0, "Hola \xC3\xB1"}, {120 / 30.0, ""}};

std::string cea608Mp4() {
  return cachedMedia("cea608-v1.mp4", [](const std::string& path) {
    ScopedTempDir dir;
    runFfmpeg({"-f", "h264", "-framerate", "30", "-i", captionedH264(dir), "-c", "copy", "-f",
               "mp4", path});
  });
}

std::string cea608Hls() {
  return cachedMedia("cea608_hls-v2", [](const std::string& path) {
    ScopedTempDir dir;
    std::string source = captionedH264(dir);
    std::filesystem::create_directories(path);
    runFfmpeg({"-f", "h264", "-framerate", "30", "-i", source, "-c", "copy", "-f", "hls",
               "-hls_time", "2", "-hls_playlist_type", "vod", "-hls_segment_filename",
               path + "/seg_%03d.ts", path + "/index.m3u8"});
    std::ofstream(path + "/master.m3u8")
        << "#EXTM3U\n#EXT-X-VERSION:4\n"
           "#EXT-X-MEDIA:TYPE=CLOSED-CAPTIONS,GROUP-ID=\"cc\",NAME=\"English\",LANGUAGE=\"en\","
           "INSTREAM-ID=\"CC1\",DEFAULT=YES,AUTOSELECT=YES\n"
           "#EXT-X-MEDIA:TYPE=CLOSED-CAPTIONS,GROUP-ID=\"cc\",NAME=\"Espa\xC3\xB1ol\","
           "LANGUAGE=\"es\",INSTREAM-ID=\"CC3\"\n"
           "#EXT-X-STREAM-INF:BANDWIDTH=400000,RESOLUTION=320x240,CODECS=\"avc1.42c00d\","
           "CLOSED-CAPTIONS=\"cc\"\nindex.m3u8\n";
  });
}

}  // namespace zent::test
