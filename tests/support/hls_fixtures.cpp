// The HLS presentations: multivariant with renditions and subtitles, single
// variant, program date-time, and the segments behind the live playlist.
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <stdexcept>

#include "support/file_util.h"
#include "support/hls_text.h"
#include "support/media_fixtures.h"
#include "support/media_recipes.h"

namespace fs = std::filesystem;

namespace zent::test {

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

}  // namespace zent::test
