#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <string>
#include <vector>

#include "platform/manifest/hls_media_playlist.h"
#include "platform/manifest/manifest_reader.h"
#include "support/library_log.h"
#include "support/logger.h"

namespace zent {
namespace {

using test::logRecorder;
using Kind = ManifestInfo::Kind;

// One line per variant: "peak[/average] WxH[@rate] codecs [groups] uri".
std::string variants(const ManifestInfo& info) {
  std::string out;
  for (const VariantInfo& v : info.videoVariants) {
    std::ostringstream s;
    s << v.peakBitRate;
    if (v.averageBitRate) s << "/" << *v.averageBitRate;
    s << " " << v.width << "x" << v.height;
    if (v.frameRate) s << "@" << *v.frameRate;
    s << " " << v.codecs << " [" << v.audioGroup << "," << v.subtitlesGroup << ","
      << v.closedCaptionsGroup << "] " << v.uri;
    out += s.str() + "\n";
  }
  return out;
}

// One line per rendition: "type group name language flags instream-id uri".
std::string renditions(const ManifestInfo& info) {
  std::string out;
  for (const RenditionInfo& r : info.renditions) {
    const char* const types[] = {"Audio", "Subs", "CC"};
    out += types[static_cast<int>(r.type)] +
           (" " + r.groupId + " " + r.name + " " + r.language + " " + (r.isDefault ? "D" : "") +
            (r.autoselect ? "A" : "") + (r.forced ? "F" : "") + " " + r.instreamId + " " + r.uri +
            "\n");
  }
  return out;
}

const std::string kHlsBase = "http://media.example.com/show/master.m3u8";
const std::string kDashBase = "http://dash.example.com/vod/stream.mpd";

// Variants out of bit-rate order around an audio-only one, a comment between a tag and
// its URI, quoted commas, relative, parent-relative and absolute URIs.
const std::string kMaster = R"(#EXTM3U
#EXT-X-VERSION:6
#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID="aud",NAME="English",LANGUAGE="en",DEFAULT=YES,AUTOSELECT=YES,URI="audio/en/index.m3u8"
#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID="aud",NAME="Français, doublé",LANGUAGE="fr",URI="audio/fr/index.m3u8"
#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID="subs",NAME="Deutsch",LANGUAGE="de",AUTOSELECT=YES,FORCED=YES,URI="https://cdn.example.com/subs/de.m3u8"
#EXT-X-MEDIA:TYPE=CLOSED-CAPTIONS,GROUP-ID="cc",NAME="English CC",LANGUAGE="en",INSTREAM-ID="CC1"
#EXT-X-STREAM-INF:BANDWIDTH=2500000,AVERAGE-BANDWIDTH=2000000,RESOLUTION=1280x720,FRAME-RATE=30.000,CODECS="avc1.64001f,mp4a.40.2",AUDIO="aud",SUBTITLES="subs",CLOSED-CAPTIONS="cc"
v720/index.m3u8
#EXT-X-STREAM-INF:BANDWIDTH=128000,CODECS="mp4a.40.2",AUDIO="aud"
audio-only/index.m3u8
#EXT-X-STREAM-INF:BANDWIDTH=800000,RESOLUTION=640x360,FRAME-RATE=29.97,CODECS="avc1.4d401e,mp4a.40.2",AUDIO="aud"
# a comment
../other/v360.m3u8?token=a,b
#EXT-X-I-FRAME-STREAM-INF:BANDWIDTH=90000,RESOLUTION=640x360,URI="iframes.m3u8"
#EXT-X-STREAM-INF:BANDWIDTH=6000000,RESOLUTION=1920x1080,CODECS="avc1.640028,mp4a.40.2",CLOSED-CAPTIONS=NONE
https://cdn.example.com/v1080/index.m3u8
)";

const std::string kMasterVariants =
    "2500000/2000000 1280x720@30 avc1.64001f,mp4a.40.2 [aud,subs,cc] "
    "http://media.example.com/show/v720/index.m3u8\n"
    "800000 640x360@29.97 avc1.4d401e,mp4a.40.2 [aud,,] "
    "http://media.example.com/other/v360.m3u8?token=a,b\n"
    "6000000 1920x1080 avc1.640028,mp4a.40.2 [,,] https://cdn.example.com/v1080/index.m3u8\n";

// Sizes and rates on the set or the Representation, audio, text, thumbnail and
// trick-play sets, and a second Period that is ignored.
const char* const kMpd = R"(<?xml version="1.0" encoding="UTF-8"?>
<MPD xmlns="urn:mpeg:dash:schema:mpd:2011" type="static"><BaseURL>media/</BaseURL><Period id="p0">
  <AdaptationSet id="1" contentType="video" mimeType="video/mp4" width="1920" height="1080" frameRate="30000/1001">
    <Representation id="v1080" bandwidth="5000000" codecs="avc1.640028"><BaseURL>v1080.mp4</BaseURL></Representation>
    <Representation id="v720" bandwidth="2500000" width="1280" height="720" codecs="avc1.64001f"/>
  </AdaptationSet>
  <AdaptationSet id="2" mimeType="audio/mp4" lang="en"><Label>English stereo</Label>
    <Role schemeIdUri="urn:mpeg:dash:role:2011" value="main"/><Representation id="a1" bandwidth="128000" codecs="mp4a.40.2"/>
  </AdaptationSet>
  <AdaptationSet id="3" mimeType="video/mp4" frameRate="25">
    <Representation id="v360" bandwidth="700000" width="640" height="360" frameRate="24" codecs="avc1.4d401e"/>
  </AdaptationSet>
  <AdaptationSet id="4" contentType="text" mimeType="application/mp4" label="Deutsch">
    <Representation id="t1" bandwidth="1000" codecs="stpp" lang="de"/></AdaptationSet>
  <AdaptationSet id="5" contentType="image" mimeType="image/jpeg">
    <Representation id="thumbs" bandwidth="10000" width="320" height="180"/></AdaptationSet>
  <AdaptationSet id="6" mimeType="video/mp4">
    <EssentialProperty schemeIdUri="http://dashif.org/guidelines/trickmode" value="1"/>
    <Representation id="trick" bandwidth="90000" width="640" height="360"/></AdaptationSet>
</Period><Period id="p1"><AdaptationSet contentType="video">
  <Representation id="later" bandwidth="1" width="1" height="1"/></AdaptationSet></Period></MPD>
)";

struct DocumentRow {
  const char* name;
  std::string text;
  std::string base;
  int64_t selector;
  Kind kind;
  std::string variants;
  std::string renditions;  // checked when not empty
};

TEST(Manifest, EachDocumentGivesItsVariantsAndRenditionsWithoutAProblemLine) {
  const DocumentRow rows[] = {
      {"hls master", kMaster, kHlsBase, kManifestSelectorHls, Kind::HlsMaster, kMasterVariants,
       "Audio aud English en DA  http://media.example.com/show/audio/en/index.m3u8\n"
       "Audio aud Français, doublé fr   http://media.example.com/show/audio/fr/index.m3u8\n"
       "Subs subs Deutsch de AF  https://cdn.example.com/subs/de.m3u8\n"
       "CC cc English CC en  CC1 \n"},
      {"kind by codecs, then size",
       "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=100\na.m3u8\n"
       "#EXT-X-STREAM-INF:BANDWIDTH=200,CODECS=\"ec-3,wvtt\"\nb.m3u8\n"
       "#EXT-X-STREAM-INF:BANDWIDTH=300,CODECS=\"hvc1.2.4.L123.B0\"\nc.m3u8\n"
       "#EXT-X-STREAM-INF:BANDWIDTH=400,CODECS=\"zzzz.1\",RESOLUTION=320x240\nd.m3u8\n"
       "#EXT-X-STREAM-INF:BANDWIDTH=500,CODECS=\"zzzz.1\"\ne.m3u8\n",
       "http://h/m.m3u8", 1, Kind::HlsMaster,
       "100 0x0  [,,] http://h/a.m3u8\n"
       "300 0x0 hvc1.2.4.L123.B0 [,,] http://h/c.m3u8\n"
       "400 320x240 zzzz.1 [,,] http://h/d.m3u8\n",
       ""},
      {"media playlist", "#EXTM3U\n#EXT-X-TARGETDURATION:6\n#EXTINF:6,\ns.ts\n#EXT-X-ENDLIST\n",
       kHlsBase, 1, Kind::HlsMedia, "", ""},
      {"dash", kMpd, kDashBase, kManifestSelectorDash, Kind::Dash,
       "5000000 1920x1080@29.97 avc1.640028 [,,] http://dash.example.com/vod/media/v1080.mp4\n"
       "2500000 1280x720@29.97 avc1.64001f [,,] \n"
       "700000 640x360@24 avc1.4d401e [,,] \n",
       "Audio 2 English stereo en DA  \n"
       "Subs 4 Deutsch de A  \n"},
      {"empty, guessed", "", kHlsBase, 0, Kind::Unknown, "", ""},
      {"webvtt, guessed", "WEBVTT\n", kHlsBase, 0, Kind::Unknown, "", ""},
      {"mp4, guessed", std::string("\0\0\0\x18", 4) + "ftypmp42", kHlsBase, 0, Kind::Unknown, "",
       ""},
      {"html, guessed", "<html><body/></html>", kHlsBase, 0, Kind::Unknown, "", ""},
  };
  for (const DocumentRow& row : rows) {
    test::recordLibraryLog();
    ManifestInfo info = parseManifest(row.text, row.base, row.selector);
    EXPECT_EQ(info.kind, row.kind) << row.name;
    EXPECT_EQ(variants(info), row.variants) << row.name;
    if (!row.renditions.empty()) {
      EXPECT_EQ(renditions(info), row.renditions) << row.name;
    }
    EXPECT_EQ(logRecorder().count("", 2), 0u) << row.name << "\n" << logRecorder().describe();
  }
}

std::string hlsWith(const std::string& bad) {
  return "#EXTM3U\n" + bad + "#EXT-X-STREAM-INF:BANDWIDTH=500000,RESOLUTION=416x234\ngood.m3u8\n";
}
std::string dashWith(const std::string& bad) {
  return R"(<MPD><Period><AdaptationSet contentType="video">)" + bad +
         R"(<Representation bandwidth="5" width="4" height="2"/></AdaptationSet></Period></MPD>)";
}

// Bad data: the bad part left out, one WARNING (or ERROR when nothing is left) naming
// the manifest.
TEST(Manifest, MalformedDocumentsKeepTheRestAndLogOneProblem) {
  struct Row {
    int64_t selector;
    std::string text;
    size_t variantsLeft;
    int32_t level;
  };
  const Row rows[] = {
      {1, hlsWith("#EXT-X-STREAM-INF:RESOLUTION=640x360\nx.m3u8\n"), 1, 2},
      {1, hlsWith("#EXT-X-STREAM-INF:BANDWIDTH=12ab\nx.m3u8\n"), 1, 2},
      {1, hlsWith("#EXT-X-STREAM-INF:BANDWIDTH=-5\nx.m3u8\n"), 1, 2},
      {1, hlsWith("#EXT-X-STREAM-INF:BANDWIDTH=99999999999999999999\nx.m3u8\n"), 1, 2},
      {1, hlsWith("#EXT-X-STREAM-INF:BANDWIDTH=1,RESOLUTION=640by360\nx.m3u8\n"), 1, 2},
      {1, hlsWith("#EXT-X-STREAM-INF:BANDWIDTH=1,FRAME-RATE=fast\nx.m3u8\n"), 1, 2},
      {1, hlsWith("#EXT-X-STREAM-INF:BANDWIDTH=1,CODECS=\"avc1\nx.m3u8\n"), 1, 2},
      {1, hlsWith("#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"a\"\n"), 1, 2},
      {1, "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1,RESOLUTION=2x2", 0, 2},
      {1, std::string("\x89PNG\r\n\x1a\n\x00\x00\x00\rIHDR", 16), 0, 3},
      {1, "", 0, 3},
      {2, dashWith(R"(<Representation width="1" height="1"/>)"), 1, 2},
      {2, dashWith(R"(<Representation bandwidth="1" width="wide"/>)"), 1, 2},
      {2, dashWith(R"(<Representation bandwidth="1" frameRate="30/0"/>)"), 1, 2},
      {2, std::string(kMpd).substr(0, 120), 0, 3},
      {2, "<?xml version=\"1.0\"?><html/>", 0, 3},
      {2, "<MPD/>", 0, 3},
      {2, std::string("\x00\xff\xfe<\x01MPD", 8), 0, 3},
      {0, "<MPD><Period><AdaptationSet>", 0, 3},
      {2, hlsWith(""), 0, 3},  // the declared type wins over the content
      {1, dashWith(""), 0, 3},
  };
  for (const Row& row : rows) {
    test::recordLibraryLog();
    EXPECT_EQ(parseManifest(row.text, kHlsBase, row.selector).videoVariants.size(),
              row.variantsLeft)
        << row.text;
    ASSERT_EQ(logRecorder().count("", 2), 1u) << row.text << "\n" << logRecorder().describe();
    EXPECT_EQ(logRecorder().count(kHlsBase, row.level), 1u) << logRecorder().describe();
    EXPECT_EQ(logRecorder().count("", row.level + 1), 0u) << logRecorder().describe();
  }
  std::string flood = "#EXTM3U\n";
  for (int i = 0; i < 1000; ++i) flood += "#EXT-X-STREAM-INF:BANDWIDTH=x\nv.m3u8\n";
  test::recordLibraryLog();
  EXPECT_TRUE(parseManifest(flood, kHlsBase, 1).videoVariants.empty());
  EXPECT_EQ(logRecorder().count("", 2), 21u);
  EXPECT_EQ(logRecorder().count("980 more problems", 2), 1u);
}

// Segments resolved and numbered; wall-clock dates from each segment's tag, carried
// forward, counted back before the first tag and restated at a discontinuity.
TEST(MediaPlaylist, SegmentsAndProgramDates) {
  test::recordLibraryLog();
  auto playlist = parseMediaPlaylist(
      "#EXTM3U\n#EXT-X-MEDIA-SEQUENCE:100\n#EXTINF:4,\nseg100.ts\n"
      "#EXT-X-PROGRAM-DATE-TIME:2024-03-01T12:00:04.000+01:00\n#EXTINF:6.0,\nseg101.ts\n"
      "#EXT-X-DISCONTINUITY\n#EXT-X-PROGRAM-DATE-TIME:2024-03-01T11:30:00Z\n#EXTINF:4.5,\n"
      "seg102.ts\n#EXTINF:6,\nhttps://cdn.example.com/ch1/seg103.ts\n",
      "http://live.example.com/ch1/720p.m3u8");
  ASSERT_TRUE(playlist.has_value());
  EXPECT_EQ(logRecorder().count("", 2), 0u);
  ASSERT_EQ(playlist->segments.size(), 4u);
  EXPECT_EQ(playlist->segments[0].uri, "http://live.example.com/ch1/seg100.ts");
  EXPECT_EQ(playlist->segments[3].uri, "https://cdn.example.com/ch1/seg103.ts");
  EXPECT_EQ(playlist->segments[2].sequenceNumber, 102);
  EXPECT_TRUE(playlist->segments[2].discontinuity);
  EXPECT_DOUBLE_EQ(playlist->totalDurationSeconds(), 20.5);
  const double eleven = 1709290800.0, elevenThirty = eleven + 1800.0;  // 2024-03-01T11:00Z
  for (auto [at, date] : {std::pair{1.0, eleven + 1.0}, std::pair{7.5, eleven + 7.5},
                          std::pair{11.0, elevenThirty + 1.0}, std::pair{16.5, elevenThirty + 6.5},
                          std::pair{30.0, elevenThirty + 20.0}}) {
    EXPECT_DOUBLE_EQ(*programDateAt(*playlist, at), date) << at;
  }
  EXPECT_FALSE(programDateAt(*playlist, -1.0).has_value());
  EXPECT_FALSE(programDateAt(*playlist, NAN).has_value());
  playlist = parseMediaPlaylist("#EXTM3U\n#EXTINF:4,\na.ts\n#EXT-X-ENDLIST\n", "http://h/p.m3u8");
  EXPECT_FALSE(playlist->isLive());
  EXPECT_FALSE(programDateAt(*playlist, 1.0).has_value());
}

TEST(MediaPlaylist, BadSegmentsAreSkippedAndOtherDocumentsRefused) {
  test::recordLibraryLog();
  auto playlist = parseMediaPlaylist(
      "#EXTM3U\n#EXTINF:abc,\nbad.ts\n#EXTINF:4,\ngood.ts\norphan.ts\n"
      "#EXT-X-PROGRAM-DATE-TIME:yesterday\n#EXTINF:4,\nundated.ts\n",
      "http://h/p.m3u8");
  ASSERT_EQ(playlist->segments.size(), 2u);
  EXPECT_EQ(playlist->segments[0].uri, "http://h/good.ts");
  EXPECT_EQ(playlist->segments[1].sequenceNumber, 3);  // skipped lines still count
  EXPECT_EQ(logRecorder().count("", 2), 3u) << logRecorder().describe();
  test::recordLibraryLog();
  EXPECT_FALSE(parseMediaPlaylist("#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1\nv.m3u8\n", "h"));
  EXPECT_EQ(logRecorder().count("", 2), 0u);  // a master playlist is not an error
  EXPECT_FALSE(parseMediaPlaylist("WEBVTT\n\n00:00.000 --> 00:01.000\nhi\n", "h"));
  EXPECT_EQ(logRecorder().count("", 3), 1u);
}

// RFC 3986 5.4.1 and 5.4.2, then local paths.
TEST(ResolveUrl, ReferencesResolveAgainstTheirBase) {
  const char* const rfc = R"(g:h>g:h g>http://a/b/c/g ./g>http://a/b/c/g g/>http://a/b/c/g/
/g>http://a/g //g>http://g ?y>http://a/b/c/d;p?y g?y>http://a/b/c/g?y #s>http://a/b/c/d;p?q#s
g#s>http://a/b/c/g#s g?y#s>http://a/b/c/g?y#s ;x>http://a/b/c/;x g;x>http://a/b/c/g;x
g;x?y#s>http://a/b/c/g;x?y#s >http://a/b/c/d;p?q .>http://a/b/c/ ./>http://a/b/c/ ..>http://a/b/
../>http://a/b/ ../g>http://a/b/g ../..>http://a/ ../../>http://a/ ../../g>http://a/g
../../../g>http://a/g ../../../../g>http://a/g /./g>http://a/g /../g>http://a/g g.>http://a/b/c/g.
.g>http://a/b/c/.g g..>http://a/b/c/g.. ..g>http://a/b/c/..g ./../g>http://a/b/g
./g/.>http://a/b/c/g/ g/./h>http://a/b/c/g/h g/../h>http://a/b/c/h g;x=1/./y>http://a/b/c/g;x=1/y
g;x=1/../y>http://a/b/c/y g?y/./x>http://a/b/c/g?y/./x g?y/../x>http://a/b/c/g?y/../x
g#s/./x>http://a/b/c/g#s/./x g#s/../x>http://a/b/c/g#s/../x http:g>http:g)";
  std::istringstream pairs(rfc);
  for (std::string pair; pairs >> pair;) {
    const size_t at = pair.find('>');
    EXPECT_EQ(resolveUrl("http://a/b/c/d;p?q", pair.substr(0, at)), pair.substr(at + 1)) << pair;
  }
  EXPECT_EQ(resolveUrl("/srv/hls/master.m3u8", "../x/./v.m3u8"), "/srv/x/v.m3u8");
  EXPECT_EQ(resolveUrl("media/master.m3u8", "../v.m3u8"), "v.m3u8");
}

}  // namespace
}  // namespace zent
