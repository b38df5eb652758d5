#include <gtest/gtest.h>

#include <string>

#include "manifest/log_capture.h"
#include "platform/manifest/manifest_reader.h"

namespace zent {
namespace {

using testing::LogCapture;
using Type = RenditionInfo::Type;

const std::string kBase = "http://dash.example.com/vod/stream.mpd";

// Sizes and frame rates on the AdaptationSet or the Representation, a
// fractional frame rate, audio and text sets with labels, a thumbnail set, a
// trick-play set and a second Period that must be ignored.
const char* const kMpd = R"(<?xml version="1.0" encoding="UTF-8"?>
<MPD xmlns="urn:mpeg:dash:schema:mpd:2011" type="static" mediaPresentationDuration="PT30S"
     profiles="urn:mpeg:dash:profile:isoff-on-demand:2011">
  <BaseURL>media/</BaseURL>
  <Period id="p0">
    <AdaptationSet id="1" contentType="video" mimeType="video/mp4" width="1920" height="1080"
                   frameRate="30000/1001">
      <Representation id="v1080" bandwidth="5000000" codecs="avc1.640028">
        <BaseURL>v1080.mp4</BaseURL>
      </Representation>
      <Representation id="v720" bandwidth="2500000" width="1280" height="720" codecs="avc1.64001f"/>
    </AdaptationSet>
    <AdaptationSet id="2" mimeType="audio/mp4" lang="en">
      <Label>English stereo</Label>
      <Role schemeIdUri="urn:mpeg:dash:role:2011" value="main"/>
      <Representation id="a1" bandwidth="128000" codecs="mp4a.40.2"/>
    </AdaptationSet>
    <AdaptationSet id="3" mimeType="video/mp4" frameRate="25">
      <Representation id="v360" bandwidth="700000" width="640" height="360" frameRate="24"
                      codecs="avc1.4d401e"/>
    </AdaptationSet>
    <AdaptationSet id="4" contentType="text" mimeType="application/mp4" label="Deutsch">
      <Representation id="t1" bandwidth="1000" codecs="stpp" lang="de"/>
    </AdaptationSet>
    <AdaptationSet id="5" contentType="image" mimeType="image/jpeg">
      <Representation id="thumbs" bandwidth="10000" width="320" height="180"/>
    </AdaptationSet>
    <AdaptationSet id="6" mimeType="video/mp4">
      <EssentialProperty schemeIdUri="http://dashif.org/guidelines/trickmode" value="1"/>
      <Representation id="trick" bandwidth="90000" width="640" height="360"/>
    </AdaptationSet>
  </Period>
  <Period id="p1">
    <AdaptationSet contentType="video">
      <Representation id="later" bandwidth="1" width="1" height="1"/>
    </AdaptationSet>
  </Period>
</MPD>
)";

TEST(DashMpd, VideoRepresentationsOfFirstPeriodInDocumentOrder) {
  LogCapture log;
  ManifestInfo info = parseManifest(kMpd, kBase, kManifestSelectorDash);
  EXPECT_EQ(info.kind, ManifestInfo::Kind::Dash);
  EXPECT_EQ(LogCapture::problems(), "");
  ASSERT_EQ(info.videoVariants.size(), 3u);

  const VariantInfo& v1080 = info.videoVariants[0];
  EXPECT_EQ(v1080.peakBitRate, 5000000);
  EXPECT_EQ(v1080.width, 1920);  // from the AdaptationSet
  EXPECT_EQ(v1080.height, 1080);
  ASSERT_TRUE(v1080.frameRate.has_value());
  EXPECT_FLOAT_EQ(*v1080.frameRate, 30000.0f / 1001.0f);
  EXPECT_EQ(v1080.codecs, "avc1.640028");
  EXPECT_EQ(v1080.uri, "http://dash.example.com/vod/media/v1080.mp4");

  const VariantInfo& v720 = info.videoVariants[1];
  EXPECT_EQ(v720.peakBitRate, 2500000);
  EXPECT_EQ(v720.width, 1280);  // the Representation overrides its set
  EXPECT_EQ(v720.height, 720);
  EXPECT_FLOAT_EQ(*v720.frameRate, 30000.0f / 1001.0f);
  EXPECT_EQ(v720.uri, "");  // no BaseURL of its own

  const VariantInfo& v360 = info.videoVariants[2];
  EXPECT_EQ(v360.peakBitRate, 700000);
  EXPECT_EQ(v360.width, 640);
  EXPECT_EQ(v360.frameRate, 24.0f);
}

TEST(DashMpd, AudioAndTextSetsBecomeRenditions) {
  ManifestInfo info = parseManifest(kMpd, kBase, kManifestSelectorDash);
  ASSERT_EQ(info.renditions.size(), 2u);
  EXPECT_EQ(info.renditions[0].type, Type::Audio);
  EXPECT_EQ(info.renditions[0].groupId, "2");
  EXPECT_EQ(info.renditions[0].name, "English stereo");
  EXPECT_EQ(info.renditions[0].language, "en");
  EXPECT_TRUE(info.renditions[0].isDefault);
  EXPECT_EQ(info.renditions[1].type, Type::Subtitles);
  EXPECT_EQ(info.renditions[1].name, "Deutsch");  // label attribute
  EXPECT_EQ(info.renditions[1].language, "de");   // from its Representation
  EXPECT_FALSE(info.renditions[1].isDefault);
}

TEST(DashMpd, PrefixedNamespaceAndCodecOnlyKinds) {
  const char* text = R"(<mpd:MPD xmlns:mpd="urn:mpeg:dash:schema:mpd:2011">
  <mpd:Period>
    <mpd:AdaptationSet>
      <mpd:Representation id="muxed" bandwidth="900000" codecs="avc1.4d401f,mp4a.40.2"
                          width="854" height="480" frameRate=" 50 "/>
      <mpd:Representation id="sound" bandwidth="64000" codecs="opus"/>
    </mpd:AdaptationSet>
  </mpd:Period>
</mpd:MPD>)";
  ManifestInfo info = parseManifest(text, kBase, kManifestSelectorNone);
  EXPECT_EQ(info.kind, ManifestInfo::Kind::Dash);
  ASSERT_EQ(info.videoVariants.size(), 1u);
  EXPECT_EQ(info.videoVariants[0].peakBitRate, 900000);
  EXPECT_EQ(info.videoVariants[0].height, 480);
  EXPECT_EQ(info.videoVariants[0].frameRate, 50.0f);
}

// GStreamer's dashsink in MPEG-TS mode: every set says "video/mp2t", the audio
// one declares its content type and codecs; a set without either is told by its
// picture size or, last, by the MIME type.
TEST(DashMpd, AContainerMimeTypeDoesNotMakeAudioAVideoVariant) {
  const char* text = R"(<MPD xmlns="urn:mpeg:dash:schema:mpd:2011">
  <Period>
    <AdaptationSet id="0" contentType="video" mimeType="video/mp2t">
      <Representation id="v" bandwidth="800000" codecs="avc1.64001f" width="640" height="360"/>
    </AdaptationSet>
    <AdaptationSet id="1" contentType="audio" mimeType="video/mp2t">
      <Representation id="a" bandwidth="128000" codecs="mp4a.40.2"/>
    </AdaptationSet>
    <AdaptationSet id="2" mimeType="video/mp2t">
      <Representation id="sound" bandwidth="96000" codecs="mp4a.40.2"/>
      <Representation id="sized" bandwidth="300000" width="320" height="180"/>
      <Representation id="bare" bandwidth="200000"/>
    </AdaptationSet>
  </Period>
</MPD>)";
  ManifestInfo info = parseManifest(text, kBase, kManifestSelectorDash);
  ASSERT_EQ(info.videoVariants.size(), 3u);
  EXPECT_EQ(info.videoVariants[0].peakBitRate, 800000);
  EXPECT_EQ(info.videoVariants[1].peakBitRate, 300000);
  EXPECT_EQ(info.videoVariants[2].peakBitRate, 200000);  // the MIME type decides
  ASSERT_EQ(info.renditions.size(), 2u);
  EXPECT_EQ(info.renditions[0].type, Type::Audio);
  EXPECT_EQ(info.renditions[0].groupId, "1");
  EXPECT_EQ(info.renditions[1].type, Type::Audio);  // told by its first codecs
}

}  // namespace
}  // namespace zent
