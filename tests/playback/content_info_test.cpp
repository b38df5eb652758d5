// What a host learns about loaded content: variants, rotation, renditions,
// program date-time, subtitles and ID3 metadata.
#include <filesystem>
#include <fstream>

#include "metadata/timed_id3_hls.h"
#include "playback/playback_fixture.h"
#include "support/files.h"

namespace zent::test {
namespace {

using ContentInfoTest = PlaybackTest;

// Variants in order, renditions named from the manifest, and selecting a
// variant changes the decoded size.
TEST_F(ContentInfoTest, MultiVariantHlsListsVariantsAndRenditionsAndSelects) {
  HttpServer server;
  openPlaying(server.url(hls_multivariant() + "/master.m3u8"), 1);
  ASSERT_EQ(api().NativeGetTrackCount(0), 3);
  const int64_t widths[] = {426, 640, 1280}, heights[] = {240, 360, 720},
                rates[] = {300000, 800000, 2000000};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(text(api().NativeGetTrackID(0, i)), std::to_string(i));
    EXPECT_EQ(api().NativeGetTrackWidth(0, i), widths[i]);
    EXPECT_EQ(api().NativeGetTrackHeight(0, i), heights[i]);
    EXPECT_EQ(api().NativeGetTrackBitrate(0, i), rates[i]);
    EXPECT_FLOAT_EQ(api().NativeGetTrackFrameRate(0, i), 30.0f);
  }
  ASSERT_EQ(api().NativeGetAudioStreamCount(0), 2) << describe();
  EXPECT_EQ(text(api().NativeGetAudioStreamName(0, 0)), "English");
  EXPECT_EQ(text(api().NativeGetAudioStreamName(0, 1)), "Commentary");
  EXPECT_EQ(text(api().NativeGetAudioStreamLanguage(0, 0)), "en");
  EXPECT_EQ(text(api().NativeGetAudioStreamLanguage(0, 1)), "");
  ASSERT_EQ(api().NativeGetCaptionStreamCount(0), 1);
  EXPECT_EQ(text(api().NativeGetCaptionStreamName(0, 0)), "English");
  EXPECT_EQ(text(api().NativeGetCaptionStreamLanguage(0, 0)), "en");
  api().NativeSelectTrack(0, 0);
  EXPECT_TRUE(pollUntil([&] { return api().NativeGetVideoWidth(0) == 426; }, seconds(15)))
      << "width " << api().NativeGetVideoWidth(0) << "\n"
      << describe();
  EXPECT_EQ(api().NativeGetVideoHeight(0), 240);
  api().NativeSelectTrack(0, 2);
  EXPECT_TRUE(pollUntil([&] { return api().NativeGetVideoWidth(0) == 1280; }, seconds(15)))
      << "width " << api().NativeGetVideoWidth(0);
}

// The clip is turned a quarter clockwise for display (360x640 shown): the
// transform's angle is +90 degrees, and no track is shown at the coded size.
TEST_F(ContentInfoTest, RotationOfAQuarterTurnMatchesOnlyTheDisplayedSize) {
  ASSERT_EQ(api().NativeAddStream(1), 0);
  ASSERT_EQ(api().NativeOpenLocalContent(0, mp4_rotated().c_str()), 0);
  ASSERT_TRUE(waitForEvent(0, 0, seconds(30))) << describe();
  EXPECT_NEAR(api().NativeGetTrackRotation(0, 360, 640), 90.0f, 0.01f);
  EXPECT_EQ(api().NativeGetTrackRotation(0, 640, 360), 0.0f);
}

TEST_F(ContentInfoTest, ProgramDateTimeFollowsThePosition) {
  HttpServer server;
  openPlaying(server.url(hls_program_date_time() + "/index.m3u8"), 1);
  ASSERT_TRUE(pollUntil([&] { return api().NativeGetCurrentTime(0) > 1000; }, seconds(10)));
  int64_t position = api().NativeGetCurrentTime(0);
  int64_t epoch = api().NativeGetProgramDateTimeEpoch(0);
  EXPECT_NEAR(static_cast<double>(epoch),
              (kHlsProgramDateTimeEpochMs + static_cast<double>(position)) / 1000.0, 1.5);

  api().NativeAddStream(1);
  api().NativeOpenLocalContent(1, mp4_720p().c_str());
  ASSERT_TRUE(waitForEvent(1, 0, seconds(30)));
  EXPECT_EQ(api().NativeGetProgramDateTimeEpoch(1), 0);
  EXPECT_TRUE(
      logRecorder().contains("PlayerIndex: 1 | Cannot get the PDT because the content is not HLS "
                             "PDT or not available yet"));
}

TEST_F(ContentInfoTest, ExternalSubtitlesFollowThePlaybackPosition) {
  ScopedTempDir dir;
  std::string path = dir.path() + "/movie.srt";
  std::ofstream(path) << "\xEF\xBB\xBF"
                      << "1\r\n00:00:01,000 --> 00:00:02,500\r\nFirst line\r\n"
                      << "second line\r\n\r\n2\r\n00:00:04,000 --> 00:00:05,000\r\nn\xC3\xA9\r\n";
  ASSERT_EQ(api().NativeAddStream(0), 0);
  ASSERT_EQ(api().NativeOpenLocalContent(0, mp4_720p().c_str()), 0);
  ASSERT_TRUE(waitForEvent(0, 0, seconds(30)));
  EXPECT_EQ(api().NativeOpenExternalSubtitles(0, path.c_str()), 1);
  api().NativePause(0);
  api().NativeSeek(0, 1500);
  EXPECT_TRUE(
      pollUntil([&] { return text(api().NativeUpdateSubtitle(0)) == "First line\nsecond line\n"; },
                seconds(10)));
  api().NativeSeek(0, 3000);
  EXPECT_TRUE(pollUntil([&] { return text(api().NativeUpdateSubtitle(0)).empty(); }, seconds(10)));
  api().NativeSeek(0, 4200);
  EXPECT_TRUE(
      pollUntil([&] { return text(api().NativeUpdateSubtitle(0)) == "n\xC3\xA9\n"; }, seconds(10)));
  EXPECT_EQ(api().NativeOpenExternalSubtitles(0, (dir.path() + "/missing.srt").c_str()), 0);
  EXPECT_TRUE(logRecorder().contains("missing.srt", 3));
}

TEST_F(ContentInfoTest, Id3FramesFromTheStreamFillTheRecord) {
  ScopedTempDir dir;
  zent::testing::Id3HlsStream stream = zent::testing::makeTimedId3Hls(dir.path());
  HttpServer server(dir.path());
  openPlaying(server.url(stream.playlist.filename().string()), 1);
  auto field = [&](int32_t f) { return text(api().NativeGetID3Field(0, f)); };
  // Each tag shows at its time (0.5 s, 2.5 s from the first audio sample, one
  // AAC frame before the first picture) within a 25 fps frame, never before.
  constexpr int64_t kAudioLeadMs = 1024 * 1000 / 48000;
  std::vector<std::pair<std::string, int64_t>> albums;  // value, position when first seen
  EXPECT_TRUE(pollUntil(
      [&] {
        int64_t position = api().NativeGetCurrentTime(0);
        std::string album = field(ZENTPLAYER_ID3_ALBUM);
        if (albums.empty() || albums.back().first != album) albums.emplace_back(album, position);
        return album == "Second Album";
      },
      seconds(15)))
      << field(ZENTPLAYER_ID3_ALBUM);
  ASSERT_EQ(albums.size(), 3u);
  for (auto [index, dueMs] :
       {std::pair{1, 500 - kAudioLeadMs}, std::pair{2, 2500 - kAudioLeadMs}}) {
    SCOPED_TRACE(albums[index].first);
    EXPECT_GE(albums[index].second, dueMs - 1) << "visible before its time";
    EXPECT_LE(albums[index].second, dueMs + 40 + 70) << "visible late";
  }
  EXPECT_FALSE(field(ZENTPLAYER_ID3_TITLE).empty());
  EXPECT_FALSE(field(ZENTPLAYER_ID3_ARTIST).empty());
  EXPECT_FALSE(field(ZENTPLAYER_ID3_COMMENT).empty());
  EXPECT_FALSE(field(ZENTPLAYER_ID3_TEXT).empty());
  EXPECT_EQ(field(99), "");
  EXPECT_EQ(text(api().NativeGetID3Field(5, 0)), "");
}

}  // namespace
}  // namespace zent::test
