// Each fixture is made and then measured with ffprobe, ffmpeg and GStreamer.
#include "support/media_fixtures.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>

#include "media_checks.h"
#include "support/file_util.h"
#include "support/hls_text.h"

namespace fs = std::filesystem;

namespace zent::test {
namespace {

using namespace std::chrono_literals;

double number(const std::string& text) {
  return std::strtod(text.c_str(), nullptr);
}

// The first line of `text` that contains `fragment` ("" when none does).
std::string lineWith(const std::string& text, const std::string& fragment) {
  size_t at = text.find(fragment);
  if (at == std::string::npos) return "";
  size_t start = text.rfind('\n', at);
  start = start == std::string::npos ? 0 : start + 1;
  return text.substr(start, text.find('\n', at) - start);
}

// Keyframes at 0, 1, 2, ... s (within a frame).
void expectKeyframeEverySecond(const std::string& path, int seconds) {
  std::vector<double> keys = keyframeTimes(path);
  ASSERT_EQ(keys.size(), static_cast<size_t>(seconds)) << path;
  for (size_t i = 0; i < keys.size(); ++i) {
    EXPECT_NEAR(keys[i] - keys[0], static_cast<double>(i), 0.034) << path << " keyframe " << i;
  }
}

TEST(MediaFixtures, Mp4At720pIsExactlyTenSecondsWithA440HzTone) {
  const std::string path = mp4_720p();
  EXPECT_EQ(probeValue(path, "format=duration"), "10.000000");
  EXPECT_EQ(probeValue(path, "stream=codec_name", "v:0"), "h264");
  EXPECT_EQ(probeValue(path, "stream=width", "v:0"), "1280");
  EXPECT_EQ(probeValue(path, "stream=height", "v:0"), "720");
  EXPECT_EQ(probeValue(path, "stream=r_frame_rate", "v:0"), "30/1");
  EXPECT_EQ(probeValue(path, "stream=nb_frames", "v:0"), "300");
  EXPECT_EQ(probeValue(path, "stream=codec_name", "a:0"), "aac");
  EXPECT_EQ(probeValue(path, "stream=sample_rate", "a:0"), "48000");
  EXPECT_NEAR(toneFrequency(path), 440.0, 3.0);
  expectKeyframeEverySecond(path, 10);
  // faststart: the movie header comes before the media data.
  std::string bytes = readFile(path);
  ASSERT_NE(bytes.find("mdat"), std::string::npos);
  EXPECT_LT(bytes.find("moov"), bytes.find("mdat"));
}

TEST(MediaFixtures, RotatedMp4CarriesANinetyDegreeDisplayMatrix) {
  const std::string path = mp4_rotated();
  EXPECT_EQ(probeValue(path, "stream=width", "v:0"), "640");
  EXPECT_EQ(probeValue(path, "stream=height", "v:0"), "360");
  EXPECT_EQ(probeValue(path, "stream_side_data=rotation", "v:0"), "-90");
  EXPECT_NEAR(number(probeValue(path, "format=duration")), 4.0, 0.05);
  EXPECT_EQ(probeValue(path, "stream=codec_type", "a"), "");

  ProcessResult tags =
      gstLaunch({"filesrc", "location=" + path, "!", "decodebin", "!", "fakesink"}, 120s, "-t");
  ASSERT_TRUE(tags.ok()) << tags.describe();
  EXPECT_NE(tags.out.find("image orientation: rotate-90"), std::string::npos) << tags.out;
  std::string bytes = readFile(path);
  ASSERT_NE(bytes.find("mdat"), std::string::npos);
  EXPECT_LT(bytes.find("moov"), bytes.find("mdat"));
}

TEST(MediaFixtures, TenSecondAndMinuteLong1080pClips) {
  for (const auto& [path, seconds] :
       {std::pair{mp4_1080p(), 10}, std::pair{mp4_1080p_long(), 60}}) {
    SCOPED_TRACE(path);
    EXPECT_EQ(probeValue(path, "stream=width", "v:0"), "1920");
    EXPECT_EQ(probeValue(path, "stream=height", "v:0"), "1080");
    EXPECT_EQ(probeValue(path, "stream=r_frame_rate", "v:0"), "30/1");
    EXPECT_EQ(probeValue(path, "stream=nb_frames", "v:0"), std::to_string(seconds * 30));
    EXPECT_NEAR(number(probeValue(path, "format=duration")), seconds, 0.05);
    double bitrate = number(probeValue(path, "stream=bit_rate", "v:0"));
    EXPECT_GT(bitrate, 3e6);
    EXPECT_LT(bitrate, 7e6);
  }
  expectKeyframeEverySecond(mp4_1080p(), 10);
  expectKeyframeEverySecond(mp4_1080p_long(), 60);
}

TEST(MediaFixtures, PatternBandsMatchTheirDocumentedColours) {
  // The stored codes turned back into RGB with BT.709 limited-range math.
  for (const PatternBand& band : patternBands()) {
    SCOPED_TRACE(band.name);
    double y = (band.y - 16) / 219.0;
    double cb = (band.u - 128) / 224.0;
    double cr = (band.v - 128) / 224.0;
    double r = y + 1.5748 * cr;
    double b = y + 1.8556 * cb;
    double g = (y - 0.2126 * r - 0.0722 * b) / 0.7152;
    EXPECT_NEAR(255 * r, band.r, 1.5);
    EXPECT_NEAR(255 * g, band.g, 1.5);
    EXPECT_NEAR(255 * b, band.b, 1.5);
    EXPECT_EQ(band.x1 - band.x0, 160);
    EXPECT_EQ(&patternBandAt((band.x0 + band.x1) / 2), &band);
  }
  EXPECT_EQ(patternBands().back().x1, kPatternWidth);
}

TEST(MediaFixtures, PatternFrameLayoutsCarryTheSameSamples) {
  std::vector<uint8_t> i420 = patternFrame(PixelLayout::I420);
  std::vector<uint8_t> nv12 = patternFrame(PixelLayout::NV12);
  const size_t lumaSize = kPatternWidth * kPatternHeight;
  const size_t chromaSize = lumaSize / 4;
  ASSERT_EQ(i420.size(), lumaSize * 3 / 2);
  ASSERT_EQ(nv12.size(), i420.size());
  EXPECT_TRUE(std::equal(i420.begin(), i420.begin() + lumaSize, nv12.begin()));
  for (size_t i = 0; i < chromaSize; ++i) {
    ASSERT_EQ(nv12[lumaSize + 2 * i], i420[lumaSize + i]) << "U " << i;
    ASSERT_EQ(nv12[lumaSize + 2 * i + 1], i420[lumaSize + chromaSize + i]) << "V " << i;
  }
  EXPECT_EQ(i420[kPatternWidth * 400 + 1000], patternBandAt(1000).y);
}

TEST(MediaFixtures, PatternClipDecodesToTheExactCodesInBt709) {
  const std::string path = mp4_pattern();
  EXPECT_EQ(probeValue(path, "stream=pix_fmt", "v:0"), "yuv420p");
  EXPECT_EQ(probeValue(path, "stream=color_space", "v:0"), "bt709");
  EXPECT_EQ(probeValue(path, "stream=color_primaries", "v:0"), "bt709");
  EXPECT_EQ(probeValue(path, "stream=color_transfer", "v:0"), "bt709");
  EXPECT_EQ(probeValue(path, "stream=color_range", "v:0"), "tv");
  EXPECT_NEAR(number(probeValue(path, "format=duration")), 5.0, 0.001);

  for (const char* at : {"0", "2.5", "4.9"}) {
    ProcessResult frame =
        runChecked({"ffmpeg", "-hide_banner", "-nostdin", "-loglevel", "error", "-ss", at, "-i",
                    path, "-frames:v", "1", "-f", "rawvideo", "-pix_fmt", "yuv420p", "-"},
                   std::chrono::minutes(2));
    std::vector<uint8_t> expected = patternFrame(PixelLayout::I420);
    ASSERT_EQ(frame.out.size(), expected.size());
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(),
                           reinterpret_cast<const uint8_t*>(frame.out.data())))
        << "decoded frame at " << at << " s differs from the pattern";
  }

  ProcessResult caps =
      gstLaunch({"filesrc", "location=" + path, "!", "decodebin", "!", "fakesink"}, 120s, "-v");
  ASSERT_TRUE(caps.ok()) << caps.describe();
  std::string sinkCaps = lineWith(caps.out, "fakesink0.GstPad:sink: caps = video/x-raw");
  EXPECT_NE(sinkCaps.find("format=(string)I420"), std::string::npos) << caps.out;
  EXPECT_NE(sinkCaps.find("colorimetry=(string)bt709"), std::string::npos) << sinkCaps;
}

TEST(MediaFixtures, MultivariantHlsHasTheDocumentedMasterAndRenditions) {
  const std::string dir = hls_multivariant();
  const std::string master = readFile(dir + "/master.m3u8");
  std::vector<std::string> variants = linesStartingWith(master, "#EXT-X-STREAM-INF:");
  ASSERT_EQ(variants.size(), 4u) << master;
  EXPECT_NE(variants[0].find("BANDWIDTH=300000,RESOLUTION=426x240,FRAME-RATE=30.000"),
            std::string::npos);
  EXPECT_NE(variants[1].find("BANDWIDTH=800000,RESOLUTION=640x360,FRAME-RATE=30.000"),
            std::string::npos);
  EXPECT_NE(variants[2].find("BANDWIDTH=2000000,RESOLUTION=1280x720,FRAME-RATE=30.000"),
            std::string::npos);
  EXPECT_EQ(variants[3], "#EXT-X-STREAM-INF:BANDWIDTH=96000,CODECS=\"mp4a.40.2\",AUDIO=\"aud\"");
  std::vector<std::string> media = linesStartingWith(master, "#EXT-X-MEDIA:");
  ASSERT_EQ(media.size(), 3u);
  EXPECT_NE(media[0].find("TYPE=AUDIO,GROUP-ID=\"aud\",NAME=\"English\",LANGUAGE=\"en\""),
            std::string::npos);
  EXPECT_NE(media[1].find("NAME=\"Commentary\""), std::string::npos);
  EXPECT_EQ(media[1].find("LANGUAGE"), std::string::npos);
  EXPECT_NE(media[2].find("TYPE=SUBTITLES,GROUP-ID=\"subs\",NAME=\"English\",LANGUAGE=\"en\""),
            std::string::npos);

  // Each rung: five 2 s segments at the declared size, profile and level.
  const struct {
    const char* name;
    const char* width;
    const char* height;
    const char* level;
  } rungs[] = {{"video_240p", "426", "240", "21"},
               {"video_360p", "640", "360", "30"},
               {"video_720p", "1280", "720", "31"}};
  for (const auto& rung : rungs) {
    SCOPED_TRACE(rung.name);
    const std::string playlist = dir + "/" + rung.name + "/index.m3u8";
    std::vector<HlsSegment> segments = parseMediaSegments(readFile(playlist));
    ASSERT_EQ(segments.size(), 5u);
    for (const HlsSegment& segment : segments) EXPECT_NEAR(segment.duration, 2.0, 0.001);
    const std::string first = dir + "/" + rung.name + "/" + segments[0].uri;
    EXPECT_EQ(probeValue(first, "stream=width", "v:0"), rung.width);
    EXPECT_EQ(probeValue(first, "stream=height", "v:0"), rung.height);
    EXPECT_EQ(probeValue(first, "stream=profile", "v:0"), "Constrained Baseline");
    EXPECT_EQ(probeValue(first, "stream=level", "v:0"), rung.level);
    EXPECT_EQ(probeValue(first, "stream=codec_type", "a:0"), "") << "video segments carry no audio";
    expectKeyframeEverySecond(first, 2);
  }
  EXPECT_NEAR(toneFrequency(dir + "/audio_en/seg_001.ts", 0.2), 440.0, 3.0);
  EXPECT_NEAR(toneFrequency(dir + "/audio_commentary/seg_001.ts", 0.2), 1000.0, 5.0);
}

TEST(MediaFixtures, MultivariantSubtitlesAreSegmentedWebVttWithTimestampMaps) {
  const std::string dir = hls_multivariant();
  std::vector<HlsSegment> segments = parseMediaSegments(readFile(dir + "/subs_en/index.m3u8"));
  ASSERT_EQ(segments.size(), 5u);
  // Local zero of every .vtt is the first video frame of the presentation.
  const long long zero = std::llround(
      number(probeValue(dir + "/video_240p/seg_000.ts", "stream=start_time", "v:0")) * 90000);
  std::string all;
  for (const HlsSegment& segment : segments) {
    std::string vtt = readFile(dir + "/subs_en/" + segment.uri);
    EXPECT_EQ(
        vtt.rfind(
            "WEBVTT\nX-TIMESTAMP-MAP=MPEGTS:" + std::to_string(zero) + ",LOCAL:00:00:00.000\n", 0),
        0u)
        << vtt;
    all += vtt;
  }
  EXPECT_NE(all.find("00:00:01.000 --> 00:00:01.900\nFirst cue\n"), std::string::npos) << all;
  EXPECT_NE(all.find("00:00:04.000 --> 00:00:05.900\nSecond cue\n"), std::string::npos);
  EXPECT_NE(all.find("00:00:06.500 --> 00:00:07.500\nThird cue\nsecond line\n"), std::string::npos);
  EXPECT_EQ(std::string(kHlsCues[2].text), "Third cue\nsecond line");
}

TEST(MediaFixtures, SingleVariantIsAPlainMediaPlaylist) {
  const std::string dir = hls_single_variant();
  const std::string playlist = readFile(dir + "/index.m3u8");
  EXPECT_EQ(playlist.find("#EXT-X-STREAM-INF"), std::string::npos);
  EXPECT_NE(playlist.find("#EXT-X-ENDLIST"), std::string::npos);
  std::vector<HlsSegment> segments = parseMediaSegments(playlist);
  ASSERT_EQ(segments.size(), 5u);
  const std::string first = dir + "/" + segments[0].uri;
  EXPECT_EQ(probeValue(first, "stream=width", "v:0"), "640");
  EXPECT_EQ(probeValue(first, "stream=height", "v:0"), "360");
  EXPECT_EQ(probeValue(first, "stream=codec_name", "a:0"), "aac");
}

TEST(MediaFixtures, ProgramDateTimePlaylistStampsEverySegment) {
  const std::string dir = hls_program_date_time();
  const std::string playlist = readFile(dir + "/index.m3u8");
  std::vector<std::string> stamps = linesStartingWith(playlist, "#EXT-X-PROGRAM-DATE-TIME:");
  ASSERT_EQ(stamps.size(), 5u) << playlist;
  EXPECT_EQ(stamps[0], "#EXT-X-PROGRAM-DATE-TIME:2024-05-01T12:00:00.000Z");
  EXPECT_EQ(stamps[1], "#EXT-X-PROGRAM-DATE-TIME:2024-05-01T12:00:02.000Z");
  EXPECT_EQ(stamps[4], "#EXT-X-PROGRAM-DATE-TIME:2024-05-01T12:00:08.000Z");
  EXPECT_EQ(iso8601Utc(kHlsProgramDateTimeEpochMs), "2024-05-01T12:00:00.000Z");
  for (const HlsSegment& segment : parseMediaSegments(playlist)) {
    EXPECT_TRUE(fs::exists(dir + "/" + segment.uri)) << segment.uri;
  }
  EXPECT_NE(readFile(dir + "/master.m3u8").find("\nindex.m3u8\n"), std::string::npos);
}

TEST(MediaFixtures, LiveSegmentsAreSixtyOneSecondPieces) {
  const std::string dir = hls_live_segments();
  std::vector<HlsSegment> segments = parseMediaSegments(readFile(dir + "/index.m3u8"));
  ASSERT_EQ(segments.size(), 60u);
  double total = 0;
  for (const HlsSegment& segment : segments) {
    EXPECT_NEAR(segment.duration, 1.0, 0.03) << segment.uri;
    EXPECT_TRUE(fs::exists(dir + "/" + segment.uri));
    total += segment.duration;
  }
  EXPECT_NEAR(total, 60.0, 0.05);
  EXPECT_EQ(segments.front().uri, "seg_00000.ts");
  EXPECT_EQ(keyframeTimes(dir + "/seg_00017.ts").size(), 1u);
}

TEST(MediaFixtures, DashManifestListsThreeVideoRepresentationsAndEnglishAudio) {
  const std::string dir = dash_vod();
  const std::string mpd = readFile(dir + "/manifest.mpd");
  EXPECT_NE(mpd.find("mediaPresentationDuration=\"PT10.0S\""), std::string::npos) << mpd;
  EXPECT_NE(lineWith(mpd, "<Representation id=\"0\"")
                .find("bandwidth=\"300000\" width=\"426\" height=\"240\""),
            std::string::npos)
      << mpd;
  EXPECT_NE(lineWith(mpd, "<Representation id=\"1\"")
                .find("bandwidth=\"800000\" width=\"640\" height=\"360\""),
            std::string::npos);
  EXPECT_NE(lineWith(mpd, "<Representation id=\"2\"")
                .find("bandwidth=\"2000000\" width=\"1280\" height=\"720\""),
            std::string::npos);
  EXPECT_NE(lineWith(mpd, "contentType=\"audio\"").find("lang=\"en\""), std::string::npos);
  EXPECT_TRUE(fs::exists(dir + "/init-3.m4s"));
  EXPECT_TRUE(fs::exists(dir + "/chunk-2-00005.m4s"));
}

TEST(MediaFixtures, GarbageFileIsNotRecognisedAsMedia) {
  const std::string path = garbage_file();
  EXPECT_EQ(fs::path(path).extension(), ".mp4");
  EXPECT_EQ(fs::file_size(path), 64u * 1024);
  EXPECT_EQ(readFile(path).rfind("This is not a media file.\n", 0), 0u);
  ProcessResult typefind = runProcess({"gst-typefind-1.0", path}, 60s);
  EXPECT_NE((typefind.out + typefind.err).find("FAILED: Could not determine type of stream"),
            std::string::npos)
      << typefind.out << typefind.err;
  EXPECT_FALSE(runProcess({"ffprobe", "-v", "error", path}, 60s).ok());
}

}  // namespace
}  // namespace zent::test
