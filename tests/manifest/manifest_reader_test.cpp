#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "manifest/log_capture.h"
#include "platform/manifest/manifest_reader.h"
#include "support/http_server.h"

namespace zent {
namespace {

using testing::LogCapture;
using Kind = ManifestInfo::Kind;

const std::string kBase = "http://example.com/a/manifest";

const char* const kHls =
    "#EXTM3U\n"
    "#EXT-X-STREAM-INF:BANDWIDTH=1000000,RESOLUTION=640x360\nlow.m3u8\n"
    "#EXT-X-STREAM-INF:BANDWIDTH=3000000,RESOLUTION=1280x720\nhigh.m3u8\n";

const char* const kDash = R"(<?xml version="1.0"?>
<MPD xmlns="urn:mpeg:dash:schema:mpd:2011"><Period>
  <AdaptationSet mimeType="video/mp4">
    <Representation id="a" bandwidth="1000000" width="640" height="360"/>
    <Representation id="b" bandwidth="3000000" width="1280" height="720"/>
  </AdaptationSet>
</Period></MPD>)";

// ---- The MIME selector: 1 HLS, 2 DASH, 0 and anything else guess ----

TEST(MimeSelector, DeclaredOrGuessedHlsIsRead) {
  for (int64_t selector : {int64_t{0}, int64_t{1}, int64_t{7}, int64_t{-1}}) {
    ManifestInfo info = parseManifest(kHls, kBase, selector);
    EXPECT_EQ(info.kind, Kind::HlsMaster) << "selector " << selector;
    EXPECT_EQ(info.videoVariants.size(), 2u) << "selector " << selector;
  }
}

TEST(MimeSelector, DeclaredOrGuessedDashIsRead) {
  for (int64_t selector : {int64_t{0}, int64_t{2}, int64_t{7}}) {
    ManifestInfo info = parseManifest(kDash, kBase, selector);
    EXPECT_EQ(info.kind, Kind::Dash) << "selector " << selector;
    EXPECT_EQ(info.videoVariants.size(), 2u) << "selector " << selector;
  }
}

TEST(MimeSelector, DeclaredTypeWinsOverContent) {
  LogCapture log;
  ManifestInfo hlsAsDash = parseManifest(kHls, kBase, kManifestSelectorDash);
  EXPECT_TRUE(hlsAsDash.videoVariants.empty());
  EXPECT_EQ(LogCapture::count(LogLevel::ERROR), 1u) << LogCapture::problems();

  LogCapture::clear();
  ManifestInfo dashAsHls = parseManifest(kDash, kBase, kManifestSelectorHls);
  EXPECT_TRUE(dashAsHls.videoVariants.empty());
  EXPECT_EQ(LogCapture::count(LogLevel::ERROR), 1u) << LogCapture::problems();
}

TEST(MimeSelector, GuessingOnOtherContentIsQuiet) {
  LogCapture log;
  const std::string texts[] = {"", "WEBVTT\n",
                               std::string("\x00\x00\x00\x18"
                                           "ftypmp42",
                                           12),
                               "<html><body/></html>"};
  for (const std::string& text : texts) {
    ManifestInfo info = parseManifest(text, kBase, kManifestSelectorNone);
    EXPECT_EQ(info.kind, Kind::Unknown);
    EXPECT_TRUE(info.videoVariants.empty());
  }
  EXPECT_EQ(LogCapture::problems(), "");
}

// ---- Malformed documents: no crash, the bad part left out, one line each ----

struct Malformed {
  const char* name;
  int64_t selector;
  std::string text;
  std::size_t variantsLeft;
  LogLevel level;
};

std::string hlsWith(const std::string& badEntry) {
  return std::string("#EXTM3U\n") + badEntry +
         "#EXT-X-STREAM-INF:BANDWIDTH=500000,RESOLUTION=416x234\ngood.m3u8\n";
}

std::string dashWith(const std::string& badRepresentation) {
  return R"(<MPD><Period><AdaptationSet contentType="video">)" + badRepresentation +
         R"(<Representation bandwidth="500000" width="416" height="234"/>)"
         R"(</AdaptationSet></Period></MPD>)";
}

class MalformedManifest : public ::testing::TestWithParam<Malformed> {};

TEST_P(MalformedManifest, GivesOneProblemLineAndKeepsTheRest) {
  const Malformed& c = GetParam();
  LogCapture log;
  ManifestInfo info = parseManifest(c.text, kBase, c.selector);
  EXPECT_EQ(info.videoVariants.size(), c.variantsLeft);
  auto problems = LogCapture::atLeast(LogLevel::WARNING);
  ASSERT_EQ(problems.size(), 1u) << LogCapture::problems();
  EXPECT_EQ(problems[0].level, c.level) << problems[0].text;
  EXPECT_NE(problems[0].text.find(kBase), std::string::npos) << problems[0].text;
}

const Malformed kMalformed[] = {
    {"HlsMissingBandwidth", 1, hlsWith("#EXT-X-STREAM-INF:RESOLUTION=640x360\nx.m3u8\n"), 1,
     LogLevel::WARNING},
    {"HlsBandwidthNotANumber", 1, hlsWith("#EXT-X-STREAM-INF:BANDWIDTH=12ab\nx.m3u8\n"), 1,
     LogLevel::WARNING},
    {"HlsNegativeBandwidth", 1, hlsWith("#EXT-X-STREAM-INF:BANDWIDTH=-5\nx.m3u8\n"), 1,
     LogLevel::WARNING},
    {"HlsBandwidthBeyond64Bits", 1,
     hlsWith("#EXT-X-STREAM-INF:BANDWIDTH=99999999999999999999\nx.m3u8\n"), 1, LogLevel::WARNING},
    {"HlsBadResolution", 1, hlsWith("#EXT-X-STREAM-INF:BANDWIDTH=1,RESOLUTION=640by360\nx.m3u8\n"),
     1, LogLevel::WARNING},
    {"HlsBadFrameRate", 1, hlsWith("#EXT-X-STREAM-INF:BANDWIDTH=1,FRAME-RATE=fast\nx.m3u8\n"), 1,
     LogLevel::WARNING},
    {"HlsUnterminatedQuote", 1, hlsWith("#EXT-X-STREAM-INF:BANDWIDTH=1,CODECS=\"avc1\nx.m3u8\n"), 1,
     LogLevel::WARNING},
    {"HlsMediaWithoutName", 1, hlsWith("#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"a\"\n"), 1,
     LogLevel::WARNING},
    {"HlsTruncatedAfterTag", 1, "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1,RESOLUTION=2x2", 0,
     LogLevel::WARNING},
    {"HlsBinaryGarbage", 1, std::string("\x89PNG\r\n\x1a\n\x00\x00\x00\rIHDR", 16), 0,
     LogLevel::ERROR},
    {"HlsEmpty", 1, "", 0, LogLevel::ERROR},
    {"DashMissingBandwidth", 2, dashWith(R"(<Representation width="1" height="1"/>)"), 1,
     LogLevel::WARNING},
    {"DashBadWidth", 2, dashWith(R"(<Representation bandwidth="1" width="wide"/>)"), 1,
     LogLevel::WARNING},
    {"DashZeroDenominator", 2, dashWith(R"(<Representation bandwidth="1" frameRate="30/0"/>)"), 1,
     LogLevel::WARNING},
    {"DashTruncated", 2, std::string(kDash).substr(0, 120), 0, LogLevel::ERROR},
    {"DashNotMpd", 2, "<?xml version=\"1.0\"?><html/>", 0, LogLevel::ERROR},
    {"DashNoPeriod", 2, "<MPD/>", 0, LogLevel::ERROR},
    {"DashBinaryGarbage", 2, std::string("\x00\xff\xfe<\x01MPD", 8), 0, LogLevel::ERROR},
    {"GuessedTruncatedMpd", 0, "<MPD><Period><AdaptationSet>", 0, LogLevel::ERROR},
};

INSTANTIATE_TEST_SUITE_P(Cases, MalformedManifest, ::testing::ValuesIn(kMalformed),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(MalformedManifest, GarbageCannotFloodTheLog) {
  std::string text = "#EXTM3U\n";
  for (int i = 0; i < 1000; ++i) text += "#EXT-X-STREAM-INF:BANDWIDTH=x\nv.m3u8\n";
  LogCapture log;
  ManifestInfo info = parseManifest(text, kBase, kManifestSelectorHls);
  EXPECT_TRUE(info.videoVariants.empty());
  // The first problems one by one, then one line with the count of the rest.
  auto lines = LogCapture::atLeast(LogLevel::WARNING);
  ASSERT_EQ(lines.size(), 21u);
  EXPECT_NE(lines.back().text.find("980 more problems"), std::string::npos) << lines.back().text;
}

// ---- Reading from disk ----

class ManifestFile : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = ::testing::TempDir() + "manifest_reader_" +
           ::testing::UnitTest::GetInstance()->current_test_info()->name();
    std::filesystem::create_directories(dir_ + "/sub");
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }
  std::string write(const std::string& name, const std::string& text) {
    std::string path = dir_ + "/" + name;
    std::ofstream(path, std::ios::binary) << text;
    return path;
  }
  std::string dir_;
};

TEST_F(ManifestFile, LocalPathAndFileUrlResolveAgainstTheirFolder) {
  std::string path = write("sub/master.m3u8", kHls);
  ManifestInfo byPath = readManifest(path, kManifestSelectorNone);
  ASSERT_EQ(byPath.videoVariants.size(), 2u);
  EXPECT_EQ(byPath.videoVariants[0].uri, dir_ + "/sub/low.m3u8");

  ManifestInfo byUrl = readManifest("file://" + path, kManifestSelectorHls);
  ASSERT_EQ(byUrl.videoVariants.size(), 2u);
  EXPECT_EQ(byUrl.videoVariants[1].uri, "file://" + dir_ + "/sub/high.m3u8");
}

TEST_F(ManifestFile, FileOverTheCapIsRefusedWithAnError) {
  std::string path = write("huge.m3u8", std::string(kHls) + std::string(4096, '#'));
  FetchOptions options;
  options.maxBytes = 1024;
  LogCapture log;
  ManifestInfo info = readManifest(path, kManifestSelectorHls, options);
  EXPECT_EQ(info.kind, Kind::Unknown);
  EXPECT_TRUE(info.videoVariants.empty());
  auto errors = LogCapture::atLeast(LogLevel::ERROR);
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_NE(errors[0].text.find("1024-byte limit"), std::string::npos) << errors[0].text;
}

TEST_F(ManifestFile, MissingFileIsAnError) {
  LogCapture log;
  ManifestInfo info = readManifest(dir_ + "/absent.mpd", kManifestSelectorDash);
  EXPECT_EQ(info.kind, Kind::Unknown);
  auto errors = LogCapture::atLeast(LogLevel::ERROR);
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_NE(errors[0].text.find("No such file"), std::string::npos) << errors[0].text;
}

// An address that names neither media nor a manifest: media are told by their
// first bytes and not downloaded; a playlist there is read whole.
TEST_F(ManifestFile, MediaAtAnAddressWithoutExtensionIsNotDownloaded) {
  std::string media(8 * 1024 * 1024, '\x5a');
  media.replace(0, 12,
                std::string("\0\0\0\x20"
                            "ftypisom",
                            12));
  write("movie", media);
  write("playlist", kHls);
  test::HttpServer server(dir_);
  // Slow enough that a full read would show in the byte count, not in a timeout.
  server.setBytesPerSecond(512 * 1024);
  LogCapture log;
  EXPECT_EQ(readManifest(server.url("movie"), kManifestSelectorNone).kind, Kind::Unknown);
  EXPECT_LT(server.bytesSent(), 1024u * 1024u);
  EXPECT_EQ(readManifest(dir_ + "/movie", kManifestSelectorNone).kind, Kind::Unknown);
  EXPECT_EQ(LogCapture::problems(), "");
  server.setBytesPerSecond(0);
  EXPECT_EQ(readManifest(server.url("playlist"), kManifestSelectorNone).kind, Kind::HlsMaster);
}

}  // namespace
}  // namespace zent
