#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "subtitles/srt_subtitles.h"
#include "support/library_log.h"
#include "support/logger.h"

namespace zent {
namespace {

using test::logRecorder;

// "start-end text|..." for every cue held.
std::string cues(const SRTSubtitles& subs) {
  std::string out;
  for (size_t i = 0; i < subs.cueCount(); ++i) {
    out += (i ? "|" : "") + std::to_string(subs.timesIni()[i]) + "-" +
           std::to_string(subs.timesEnd()[i]) + " " + subs.subtitleBuffer()[i];
  }
  return out;
}

std::string cue(int n, const char* start, const char* end, const char* text) {
  return std::to_string(n) + "\n" + start + " --> " + end + "\n" + text + "\n\n";
}

std::string between(const std::string& timing) {
  return "1\n00:00:01,000 --> 00:00:02,000\nBefore\n\n2\n" + timing +
         "\nBroken\n\n3\n00:00:09,000 --> 00:00:10,000\nAfter\n";
}

struct ParseRow {
  std::string content;
  std::string expected;  // cues(), "" when parsing fails
  std::string warning;   // the one WARNING expected, "" for none
};

const char* const kBeforeAfter = "1000-2000 Before\n|9000-10000 After\n";

TEST(SrtParse, EachContentGivesItsCuesAndItsProblemLine) {
  const ParseRow rows[] = {
      {"\xEF\xBB\xBF"
       "1\r\n00:00:01,000 --> 00:00:04,000\r\nHello there.\r\n\r\n"
       "2\r\n00:00:05,500 --> 00:00:07,250 X1:100 X2:600 Y1:50 Y2:80\r\nFirst\r\nSecond\r\n\r\n\r\n"
       "3\r\n00:00:09,000 --> 00:00:08,000\r\nNever shown\r\n\r\n"
       "4\r\n00:00:10.000 --> 00:00:12.000\r\nDot\r\n\r\n"
       "5\r\n01:02:03,456 --> 01:02:05,000\r\nPast one hour, n\xC3\xA9",
       "1000-4000 Hello there.\n|5500-7250 First\nSecond\n|10000-12000 Dot\n|3723456-3725000 Past "
       "one hour, n\xC3\xA9\n",
       "t.srt line 12: end before start"},
      {"1\r00:00:01,000 --> 00:00:02,000\rA\rB\r\r2\r00:00:03,000 --> 00:00:04,000\rC\r",
       "1000-2000 A\nB\n|3000-4000 C\n", ""},
      {"00:00:01,000 --> 00:00:02,000\nA\n\n00:00:03,000 --> 00:00:04,000\nB\n",
       "1000-2000 A\n|3000-4000 B\n", ""},
      {"1\n00:00:01,000 --> 00:00:02,000\nA\n2\n00:00:03,000 --> 00:00:04,000\nB\n",
       "1000-2000 A\n|3000-4000 B\n", ""},
      {"\n\n1\n00:00:01,000 --> 00:00:02,000\nA\n  \n\t\n2\n00:00:03,000 --> 00:00:04,000\nB",
       "1000-2000 A\n|3000-4000 B\n", ""},
      {"1\n00:00:01,000 --> 00:00:02,000\n42\n\n2\n00:00:03,000 --> 00:00:04,000\n\n",
       "1000-2000 42\n|3000-4000 ", ""},
      {"1\n00:00:08,090 --> 00:00:09,009\nT\n", "8090-9009 T\n", ""},
      {"1\n100:00:00,000 --> 100:00:01,000\nT\n", "360000000-360001000 T\n", ""},
      {"1\n  00:00:01,000-->\t00:00:02,000  \nT\n", "1000-2000 T\n", ""},
      {"1\n0:0:1,5 --> 0:0:2,25\nT\n", "1500-2250 T\n", ""},
      {"1\n00:00:03,000 --> 00:00:03,000\nT\n", "3000-3000 T\n", ""},
      {between("00:00:05,000 -> 00:00:06,000"), kBeforeAfter, "t.srt line 5: no timing line"},
      {between("00:61:00,000 --> 00:62:00,000"), kBeforeAfter, "line 6: minutes out of range"},
      {between("00:00:75,000 --> 00:00:76,000"), kBeforeAfter, "line 6: seconds out of range"},
      {between("00:00:0x,000 --> 00:00:06,000"), kBeforeAfter, "line 6: timing line is not"},
      {between("00:00:05,000 --> 00:00:06,0000"), kBeforeAfter, "line 6: timing line is not"},
      {between("00:00:05,000 --> 00:00:06,000junk"), kBeforeAfter, "line 6: timing line is not"},
      {between("00:00:05 --> 00:00:06"), kBeforeAfter, "line 6: timing line is not"},
      {between("9999999999:00:00,000 --> 9999999999:00:01,000"), kBeforeAfter,
       "line 6: hours out of range"},
      {"", "", ""},
      {"\xEF\xBB\xBF", "", ""},
      {"just some words\nand more\n", "", "no timing line"},
      {"1\n00:00:02,000 --> 00:00:01,000\nBackwards\n", "", "end before start"},
      {std::string("\xFF\xFE"
                   "1\0\n\0",
                   6),
       "", ""},
  };
  for (const ParseRow& row : rows) {
    test::recordLibraryLog();
    SRTSubtitles subs;
    ASSERT_TRUE(subs.parseText(cue(1, "00:00:00,000", "00:00:00,100", "Held"), "held.srt"));
    EXPECT_EQ(subs.parseText(row.content, "t.srt"), !row.expected.empty()) << row.content;
    // A failed read leaves the cues held before it alone.
    EXPECT_EQ(cues(subs), "0-100 Held\n" + (row.expected.empty() ? "" : "|" + row.expected))
        << row.content;
    const size_t failed = row.expected.empty() ? 1 : 0, warned = row.warning.empty() ? 0 : 1;
    EXPECT_EQ(logRecorder().count("", 2), failed + warned) << logRecorder().describe();
    EXPECT_EQ(logRecorder().count("SRT file t.srt", 3), failed) << row.content;
    if (warned) {
      EXPECT_EQ(logRecorder().count(row.warning, 2), 1u) << logRecorder().describe();
    }
  }
}

// Start and end are inclusive; overlapping cues show the latest start still on screen
// (the one read last on equal starts); a second file merges in time order.
TEST(SrtLookup, TimesGiveTheCueOnScreenInAnyOrder) {
  SRTSubtitles subs;
  ASSERT_TRUE(subs.parseText(cue(1, "00:00:01,000", "00:00:04,000", "One") +
                                 cue(2, "00:00:05,000", "00:00:07,000", "Two\nlines") +
                                 cue(3, "00:00:10,000", "00:00:12,000", "Three") +
                                 cue(4, "00:00:30,000", "00:01:00,000", "Long") +
                                 cue(5, "00:00:40,000", "00:00:50,000", "Inner") +
                                 cue(6, "00:00:45,000", "00:00:46,000", "Short") +
                                 cue(7, "00:01:10,000", "00:01:15,000", "First") +
                                 cue(8, "00:01:10,000", "00:01:12,000", "Second"),
                             "a.srt"));
  SRTSubtitles later;
  ASSERT_TRUE(later.parseText(cue(1, "00:00:00,000", "00:00:00,500", "Zero") +
                                  cue(2, "00:00:08,000", "00:00:09,000", "Eight"),
                              "b.srt"));
  subs.append(std::move(later));
  const int64_t times[] = {10500, 5000,  -5,    250,   999,   1000,  4000,      4001,
                           7000,  8000,  9500,  12000, 12001, 35000, 42000,     45500,
                           47000, 55000, 60001, 71000, 73000, 2000,  INT64_MAX, INT64_MIN};
  std::string shown;
  for (int64_t time : times) shown += subs.updateSubtitle(time) + "|";
  EXPECT_EQ(shown,
            "Three\n|Two\nlines\n||Zero\n||One\n|One\n||Two\nlines\n|Eight\n||Three\n||Long\n|"
            "Inner\n|Short\n|Inner\n|Long\n||Second\n|First\n|One\n|||");
}

}  // namespace
}  // namespace zent
