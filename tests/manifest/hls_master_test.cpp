#include <gtest/gtest.h>

#include <string>

#include "manifest/log_capture.h"
#include "platform/manifest/manifest_reader.h"

namespace zent {
namespace {

using testing::LogCapture;
using Type = RenditionInfo::Type;

const std::string kBase = "http://media.example.com/show/master.m3u8";

// Three video variants around an audio-only one; a quoted comma in NAME and
// in a URI; relative, parent-relative and absolute URIs; the variants are not
// in bit-rate order, and that order must be kept.
const char* const kMaster = R"(#EXTM3U
#EXT-X-VERSION:6
#EXT-X-INDEPENDENT-SEGMENTS
#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID="aud",NAME="English",LANGUAGE="en",DEFAULT=YES,AUTOSELECT=YES,URI="audio/en/index.m3u8"
#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID="aud",NAME="Français, doublé",LANGUAGE="fr",URI="audio/fr/index.m3u8"
#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID="subs",NAME="Deutsch",LANGUAGE="de",AUTOSELECT=YES,FORCED=YES,URI="https://cdn.example.com/subs/de.m3u8"
#EXT-X-MEDIA:TYPE=CLOSED-CAPTIONS,GROUP-ID="cc",NAME="English CC",LANGUAGE="en",INSTREAM-ID="CC1"
#EXT-X-STREAM-INF:BANDWIDTH=2500000,AVERAGE-BANDWIDTH=2000000,RESOLUTION=1280x720,FRAME-RATE=30.000,CODECS="avc1.64001f,mp4a.40.2",AUDIO="aud",SUBTITLES="subs",CLOSED-CAPTIONS="cc"
v720/index.m3u8
#EXT-X-STREAM-INF:BANDWIDTH=128000,CODECS="mp4a.40.2",AUDIO="aud"
audio-only/index.m3u8
#EXT-X-STREAM-INF:BANDWIDTH=800000,RESOLUTION=640x360,FRAME-RATE=29.97,CODECS="avc1.4d401e,mp4a.40.2",AUDIO="aud"
# a comment between the tag and its URI
../other/v360.m3u8?token=a,b
#EXT-X-I-FRAME-STREAM-INF:BANDWIDTH=90000,RESOLUTION=640x360,URI="iframes.m3u8"
#EXT-X-STREAM-INF:BANDWIDTH=6000000,RESOLUTION=1920x1080,CODECS="avc1.640028,mp4a.40.2",CLOSED-CAPTIONS=NONE
https://cdn.example.com/v1080/index.m3u8
)";

TEST(HlsMaster, VideoVariantsKeepDeclarationOrderAndSkipAudioOnly) {
  LogCapture log;
  ManifestInfo info = parseManifest(kMaster, kBase, kManifestSelectorHls);
  EXPECT_EQ(info.kind, ManifestInfo::Kind::HlsMaster);
  ASSERT_EQ(info.videoVariants.size(), 3u);
  EXPECT_EQ(LogCapture::problems(), "");

  const VariantInfo& first = info.videoVariants[0];
  EXPECT_EQ(first.peakBitRate, 2500000);
  EXPECT_EQ(first.averageBitRate, 2000000);
  EXPECT_EQ(first.width, 1280);
  EXPECT_EQ(first.height, 720);
  EXPECT_EQ(first.frameRate, 30.0f);
  EXPECT_EQ(first.codecs, "avc1.64001f,mp4a.40.2");
  EXPECT_EQ(first.audioGroup, "aud");
  EXPECT_EQ(first.subtitlesGroup, "subs");
  EXPECT_EQ(first.closedCaptionsGroup, "cc");
  EXPECT_EQ(first.uri, "http://media.example.com/show/v720/index.m3u8");

  const VariantInfo& second = info.videoVariants[1];
  EXPECT_EQ(second.peakBitRate, 800000);
  EXPECT_FALSE(second.averageBitRate.has_value());
  EXPECT_EQ(second.width, 640);
  EXPECT_EQ(second.height, 360);
  EXPECT_EQ(second.frameRate, 29.97f);
  EXPECT_EQ(second.uri, "http://media.example.com/other/v360.m3u8?token=a,b");

  const VariantInfo& third = info.videoVariants[2];
  EXPECT_EQ(third.peakBitRate, 6000000);
  EXPECT_EQ(third.width, 1920);
  EXPECT_EQ(third.height, 1080);
  EXPECT_FALSE(third.frameRate.has_value());
  EXPECT_EQ(third.closedCaptionsGroup, "");  // CLOSED-CAPTIONS=NONE
  EXPECT_EQ(third.uri, "https://cdn.example.com/v1080/index.m3u8");
}

TEST(HlsMaster, MediaEntriesGiveRenditionNamesAndLanguagesInOrder) {
  ManifestInfo info = parseManifest(kMaster, kBase, kManifestSelectorHls);
  ASSERT_EQ(info.renditions.size(), 4u);

  const RenditionInfo& english = info.renditions[0];
  EXPECT_EQ(english.type, Type::Audio);
  EXPECT_EQ(english.groupId, "aud");
  EXPECT_EQ(english.name, "English");
  EXPECT_EQ(english.language, "en");
  EXPECT_TRUE(english.isDefault);
  EXPECT_TRUE(english.autoselect);
  EXPECT_EQ(english.uri, "http://media.example.com/show/audio/en/index.m3u8");

  const RenditionInfo& french = info.renditions[1];
  EXPECT_EQ(french.name, "Français, doublé");  // the comma sits inside the quotes
  EXPECT_EQ(french.language, "fr");
  EXPECT_FALSE(french.isDefault);
  EXPECT_FALSE(french.autoselect);

  const RenditionInfo& german = info.renditions[2];
  EXPECT_EQ(german.type, Type::Subtitles);
  EXPECT_EQ(german.name, "Deutsch");
  EXPECT_TRUE(german.forced);
  EXPECT_EQ(german.uri, "https://cdn.example.com/subs/de.m3u8");

  const RenditionInfo& captions = info.renditions[3];
  EXPECT_EQ(captions.type, Type::ClosedCaptions);
  EXPECT_EQ(captions.instreamId, "CC1");
  EXPECT_EQ(captions.uri, "");
}

TEST(HlsMaster, CrlfLinesBomAndBlanksReadTheSame) {
  std::string text = "\xEF\xBB\xBF";
  for (char c : std::string(kMaster)) {
    if (c == '\n')
      text += "  \r\n";
    else
      text += c;
  }
  ManifestInfo info = parseManifest(text, kBase, kManifestSelectorHls);
  ASSERT_EQ(info.videoVariants.size(), 3u);
  EXPECT_EQ(info.videoVariants[1].uri, "http://media.example.com/other/v360.m3u8?token=a,b");
  EXPECT_EQ(info.renditions.size(), 4u);
}

TEST(HlsMaster, VariantKindFollowsCodecsThenResolution) {
  const char* text = R"(#EXTM3U
#EXT-X-STREAM-INF:BANDWIDTH=100
legacy-no-codecs.m3u8
#EXT-X-STREAM-INF:BANDWIDTH=200,CODECS="ec-3,wvtt"
audio-and-text.m3u8
#EXT-X-STREAM-INF:BANDWIDTH=300,CODECS="hvc1.2.4.L123.B0"
hevc-video-only.m3u8
#EXT-X-STREAM-INF:BANDWIDTH=400,CODECS="zzzz.1",RESOLUTION=320x240
unknown-codec-with-size.m3u8
#EXT-X-STREAM-INF:BANDWIDTH=500,CODECS="zzzz.1"
unknown-codec-no-size.m3u8
)";
  ManifestInfo info = parseManifest(text, kBase, kManifestSelectorHls);
  ASSERT_EQ(info.videoVariants.size(), 3u);
  EXPECT_EQ(info.videoVariants[0].peakBitRate, 100);
  EXPECT_EQ(info.videoVariants[1].peakBitRate, 300);
  EXPECT_EQ(info.videoVariants[2].peakBitRate, 400);
}

TEST(HlsMaster, MediaPlaylistHasNoVariants) {
  const char* text = "#EXTM3U\n#EXT-X-TARGETDURATION:6\n#EXTINF:6,\nseg0.ts\n#EXT-X-ENDLIST\n";
  LogCapture log;
  ManifestInfo info = parseManifest(text, kBase, kManifestSelectorHls);
  EXPECT_EQ(info.kind, ManifestInfo::Kind::HlsMedia);
  EXPECT_TRUE(info.videoVariants.empty());
  EXPECT_TRUE(info.renditions.empty());
  EXPECT_EQ(LogCapture::problems(), "");
}

TEST(HlsMaster, LocalPathBaseResolvesToPaths) {
  ManifestInfo info = parseManifest(kMaster, "/srv/media/show/master.m3u8", kManifestSelectorHls);
  ASSERT_EQ(info.videoVariants.size(), 3u);
  EXPECT_EQ(info.videoVariants[0].uri, "/srv/media/show/v720/index.m3u8");
  EXPECT_EQ(info.videoVariants[1].uri, "/srv/media/other/v360.m3u8?token=a,b");
  EXPECT_EQ(info.videoVariants[2].uri, "https://cdn.example.com/v1080/index.m3u8");
}

}  // namespace
}  // namespace zent
