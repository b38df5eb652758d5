#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "manifest/log_capture.h"
#include "platform/manifest/hls_media_playlist.h"
#include "platform/manifest/manifest_text.h"

namespace zent {
namespace {

using testing::LogCapture;

const std::string kBase = "http://live.example.com/ch1/720p.m3u8";
constexpr double k20240301 = 1709251200.0;  // 2024-03-01T00:00:00Z

// A live window with a program date-time, a discontinuity that restates the
// date, and an undated segment after it.
const char* const kLive = R"(#EXTM3U
#EXT-X-VERSION:3
#EXT-X-TARGETDURATION:6
#EXT-X-MEDIA-SEQUENCE:100
#EXT-X-PROGRAM-DATE-TIME:2024-03-01T12:00:00.000+01:00
#EXTINF:6.0,
seg100.ts
#EXTINF:6.0,Second
seg101.ts
#EXT-X-DISCONTINUITY
#EXT-X-PROGRAM-DATE-TIME:2024-03-01T11:30:00Z
#EXTINF:4.5,
seg102.ts
#EXTINF:6,
https://cdn.example.com/ch1/seg103.ts
)";

TEST(MediaPlaylist, SegmentsCarryDurationsUrisAndSequence) {
  LogCapture log;
  auto playlist = parseMediaPlaylist(kLive, kBase);
  ASSERT_TRUE(playlist.has_value());
  EXPECT_EQ(LogCapture::problems(), "");
  EXPECT_TRUE(playlist->isLive());
  EXPECT_EQ(playlist->targetDurationSeconds, 6.0);
  EXPECT_EQ(playlist->mediaSequence, 100);
  ASSERT_EQ(playlist->segments.size(), 4u);
  EXPECT_EQ(playlist->segments[0].uri, "http://live.example.com/ch1/seg100.ts");
  EXPECT_EQ(playlist->segments[1].title, "Second");
  EXPECT_EQ(playlist->segments[2].sequenceNumber, 102);
  EXPECT_TRUE(playlist->segments[2].discontinuity);
  EXPECT_EQ(playlist->segments[2].startSeconds, 12.0);
  EXPECT_EQ(playlist->segments[3].uri, "https://cdn.example.com/ch1/seg103.ts");
  EXPECT_DOUBLE_EQ(playlist->totalDurationSeconds(), 22.5);
}

TEST(MediaPlaylist, PositionsMapToWallClockDates) {
  auto playlist = parseMediaPlaylist(kLive, kBase);
  ASSERT_TRUE(playlist.has_value());
  ASSERT_TRUE(playlist->hasProgramDateTime());
  const double eleven = k20240301 + 11 * 3600.0;  // 12:00+01:00
  EXPECT_DOUBLE_EQ(*programDateAt(*playlist, 0.0), eleven);
  EXPECT_DOUBLE_EQ(*programDateAt(*playlist, 7.5), eleven + 7.5);
  // The discontinuity restates the date: 11:30Z, one second into the segment.
  const double elevenThirty = k20240301 + 11.5 * 3600.0;
  EXPECT_DOUBLE_EQ(*programDateAt(*playlist, 13.0), elevenThirty + 1.0);
  // The undated last segment continues from the one before it.
  EXPECT_DOUBLE_EQ(*programDateAt(*playlist, 18.5), elevenThirty + 4.5 + 2.0);
  // Past the end of a live window the clock keeps running from the last segment.
  EXPECT_DOUBLE_EQ(*programDateAt(*playlist, 30.0), elevenThirty + 4.5 + 13.5);
  EXPECT_FALSE(programDateAt(*playlist, -1.0).has_value());
  EXPECT_FALSE(programDateAt(*playlist, NAN).has_value());
}

TEST(MediaPlaylist, DatesBeforeTheFirstTagAreCountedBack) {
  const char* text = R"(#EXTM3U
#EXT-X-TARGETDURATION:4
#EXTINF:4,
a.ts
#EXTINF:4,
b.ts
#EXT-X-PROGRAM-DATE-TIME:2024-03-01T00:00:08Z
#EXTINF:4,
c.ts
#EXT-X-ENDLIST
)";
  auto playlist = parseMediaPlaylist(text, kBase);
  ASSERT_TRUE(playlist.has_value());
  EXPECT_FALSE(playlist->isLive());
  EXPECT_DOUBLE_EQ(*programDateAt(*playlist, 1.0), k20240301 + 1.0);
  EXPECT_DOUBLE_EQ(*programDateAt(*playlist, 9.0), k20240301 + 9.0);
}

TEST(MediaPlaylist, NoProgramDateTimeGivesNoDate) {
  const char* text = "#EXTM3U\n#EXTINF:4,\na.ts\n#EXT-X-ENDLIST\n";
  auto playlist = parseMediaPlaylist(text, kBase);
  ASSERT_TRUE(playlist.has_value());
  EXPECT_FALSE(playlist->hasProgramDateTime());
  EXPECT_FALSE(programDateAt(*playlist, 1.0).has_value());
  EXPECT_EQ(segmentIndexAt(*playlist, 100.0), 0u);
}

TEST(MediaPlaylist, MasterPlaylistIsNotAMediaPlaylist) {
  LogCapture log;
  const char* text = "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1\nv.m3u8\n";
  EXPECT_FALSE(parseMediaPlaylist(text, kBase).has_value());
  EXPECT_EQ(LogCapture::problems(), "");
}

TEST(MediaPlaylist, BadSegmentsAreSkippedWithAWarning) {
  const char* text = R"(#EXTM3U
#EXTINF:abc,
bad-duration.ts
#EXTINF:4,
good.ts
orphan-without-extinf.ts
#EXT-X-PROGRAM-DATE-TIME:yesterday
#EXTINF:4,
undated.ts
)";
  LogCapture log;
  auto playlist = parseMediaPlaylist(text, kBase);
  ASSERT_TRUE(playlist.has_value());
  ASSERT_EQ(playlist->segments.size(), 2u);
  EXPECT_EQ(playlist->segments[0].uri, "http://live.example.com/ch1/good.ts");
  EXPECT_EQ(playlist->segments[1].sequenceNumber, 3);  // skipped lines still count
  EXPECT_EQ(LogCapture::count(LogLevel::WARNING), 3u) << LogCapture::problems();
}

TEST(MediaPlaylist, NotAPlaylistIsAnError) {
  LogCapture log;
  EXPECT_FALSE(parseMediaPlaylist("WEBVTT\n\n00:00.000 --> 00:01.000\nhi\n", kBase).has_value());
  EXPECT_EQ(LogCapture::count(LogLevel::ERROR), 1u);
}

TEST(Iso8601, OffsetsFractionsAndCalendarChecks) {
  using manifest::parseIso8601;
  EXPECT_DOUBLE_EQ(*parseIso8601("2024-03-01T00:00:00Z"), k20240301);
  EXPECT_DOUBLE_EQ(*parseIso8601("2024-03-01T05:30:00+05:30"), k20240301);
  EXPECT_DOUBLE_EQ(*parseIso8601("2024-03-01T05:30:00.125+0530"), k20240301 + 0.125);
  EXPECT_DOUBLE_EQ(*parseIso8601("2024-02-29T19:00:00-05"), k20240301);
  EXPECT_DOUBLE_EQ(*parseIso8601("2024-02-29T23:59:59.5z"), k20240301 - 0.5);
  EXPECT_DOUBLE_EQ(*parseIso8601("1969-12-31T23:00:00Z"), -3600.0);
  EXPECT_DOUBLE_EQ(*parseIso8601("2024-03-01T00:00:00"), k20240301);  // no offset: UTC
  EXPECT_FALSE(parseIso8601("2023-02-29T00:00:00Z"));                 // not a leap year
  EXPECT_FALSE(parseIso8601("2024-13-01T00:00:00Z"));
  EXPECT_FALSE(parseIso8601("2024-03-01T24:00:00Z"));
  EXPECT_FALSE(parseIso8601("2024-03-01T00:00:00.Z"));
  EXPECT_FALSE(parseIso8601("2024-03-01T00:00:00+5"));
  EXPECT_FALSE(parseIso8601("2024-03-01"));
  EXPECT_FALSE(parseIso8601("2024-03-01T00:00:00Z trailing"));
}

}  // namespace
}  // namespace zent
