#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "log_capture.h"
#include "subtitles/srt_subtitles.h"

namespace zent {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::LogCapture;
using ::testing::SizeIs;

// Shaped like files found in the wild: a byte order mark, CR LF line ends, cue
// numbers, display coordinates after a timing, a doubled blank line, a cue whose end
// comes before its start, a dot before the milliseconds, a cue past one hour and a
// last line with no line end.
const std::string kRealWorldFile =
    "\xEF\xBB\xBF"
    "1\r\n"
    "00:00:01,000 --> 00:00:04,000\r\n"
    "Hello there.\r\n"
    "\r\n"
    "2\r\n"
    "00:00:05,500 --> 00:00:07,250 X1:100 X2:600 Y1:50 Y2:80\r\n"
    "First line\r\n"
    "Second line\r\n"
    "\r\n"
    "\r\n"
    "3\r\n"
    "00:00:09,000 --> 00:00:08,000\r\n"
    "Never shown\r\n"
    "\r\n"
    "4\r\n"
    "00:00:10.000 --> 00:00:12.000\r\n"
    "Dot separator\r\n"
    "\r\n"
    "5\r\n"
    "01:02:03,456 --> 01:02:05,000\r\n"
    "Past one hour, n\xC3\xA9";

TEST(SrtParse, RealWorldFileGivesItsValidCuesAndWarnsOnceForTheBrokenOne) {
  LogCapture log;
  SRTSubtitles subs;
  ASSERT_TRUE(subs.parseText(kRealWorldFile, "movie.en.srt"));

  EXPECT_THAT(subs.timesIni(), ElementsAre(1000, 5500, 10000, 3723456));
  EXPECT_THAT(subs.timesEnd(), ElementsAre(4000, 7250, 12000, 3725000));
  EXPECT_THAT(subs.subtitleBuffer(), ElementsAre("Hello there.\n", "First line\nSecond line\n",
                                                 "Dot separator\n", "Past one hour, n\xC3\xA9\n"));

  std::vector<std::string> warnings = log.at(LogLevel::WARNING);
  ASSERT_THAT(warnings, SizeIs(1));
  EXPECT_THAT(warnings[0], HasSubstr("movie.en.srt line 12: end before start"));
  EXPECT_THAT(log.at(LogLevel::ERROR), IsEmpty());
}

TEST(SrtParse, LineEndsDoNotChangeTheCues) {
  const std::string lf =
      "1\n00:00:01,000 --> 00:00:02,000\nA\nB\n\n2\n00:00:03,000 --> "
      "00:00:04,000\nC\n";
  std::string crlf;
  std::string cr;
  for (char c : lf) {
    if (c == '\n') {
      crlf += "\r\n";
      cr += '\r';
    } else {
      crlf += c;
      cr += c;
    }
  }
  for (const std::string& content : {lf, crlf, cr}) {
    SRTSubtitles subs;
    ASSERT_TRUE(subs.parseText(content, "endings.srt"));
    EXPECT_THAT(subs.timesIni(), ElementsAre(1000, 3000));
    EXPECT_THAT(subs.subtitleBuffer(), ElementsAre("A\nB\n", "C\n"));
  }
}

TEST(SrtParse, LooseLayoutsAreRead) {
  struct Case {
    const char* what;
    std::string content;
    std::vector<std::string> texts;
  };
  const std::vector<Case> cases = {
      {"no cue numbers",
       "00:00:01,000 --> 00:00:02,000\nA\n\n00:00:03,000 --> 00:00:04,000\nB\n",
       {"A\n", "B\n"}},
      {"no blank line before the next cue",
       "1\n00:00:01,000 --> 00:00:02,000\nA\n2\n00:00:03,000 --> 00:00:04,000\nB\n",
       {"A\n", "B\n"}},
      {"blank lines made of spaces, and leading blank lines",
       "\n\n1\n00:00:01,000 --> 00:00:02,000\nA\n  \n\t\n2\n00:00:03,000 --> 00:00:04,000\nB",
       {"A\n", "B\n"}},
      {"a number as the text of a cue",
       "1\n00:00:01,000 --> 00:00:02,000\n42\n\n2\n00:00:03,000 --> 00:00:04,000\nB\n",
       {"42\n", "B\n"}},
      {"a cue with no text",
       "1\n00:00:01,000 --> 00:00:02,000\n\n2\n00:00:03,000 --> "
       "00:00:04,000\nB\n",
       {"", "B\n"}},
  };
  for (const Case& c : cases) {
    LogCapture log;
    SRTSubtitles subs;
    EXPECT_TRUE(subs.parseText(c.content, "loose.srt")) << c.what;
    EXPECT_EQ(subs.subtitleBuffer(), c.texts) << c.what;
    EXPECT_THAT(log.at(LogLevel::WARNING), IsEmpty()) << c.what;
  }
}

TEST(SrtParse, TimingLineVariantsAreReadAsDecimalMilliseconds) {
  struct Case {
    const char* line;
    int64_t start;
    int64_t end;
  };
  const std::vector<Case> cases = {
      {"00:00:08,090 --> 00:00:09,009", 8090, 9009},  // leading zeros are not octal
      {"00:00:01.000 --> 00:00:02.000", 1000, 2000},
      {"100:00:00,000 --> 100:00:01,000", 360000000, 360001000},
      {"00:00:01,000-->00:00:02,000", 1000, 2000},
      {"  00:00:01,000   -->\t00:00:02,000  ", 1000, 2000},
      {"0:0:1,5 --> 0:0:2,25", 1500, 2250},  // fewer digits read as a fraction of a second
      {"00:00:03,000 --> 00:00:03,000", 3000, 3000},
  };
  for (const Case& c : cases) {
    SRTSubtitles subs;
    ASSERT_TRUE(subs.parseText(std::string("1\n") + c.line + "\nText\n", "timing.srt")) << c.line;
    EXPECT_THAT(subs.timesIni(), ElementsAre(c.start)) << c.line;
    EXPECT_THAT(subs.timesEnd(), ElementsAre(c.end)) << c.line;
  }
}

TEST(SrtParse, MalformedCueIsSkippedWithOneWarningAndParsingGoesOn) {
  struct Case {
    const char* timing;
    const char* reason;
  };
  const std::vector<Case> cases = {
      {"00:00:05,000 -> 00:00:06,000", "line 5: no timing line"},
      {"00:61:00,000 --> 00:62:00,000", "line 6: minutes out of range"},
      {"00:00:75,000 --> 00:00:76,000", "line 6: seconds out of range"},
      {"00:00:0x,000 --> 00:00:06,000", "line 6: timing line is not"},
      {"00:00:05,000 --> 00:00:06,0000", "line 6: timing line is not"},
      {"00:00:05,000 --> 00:00:06,000junk", "line 6: timing line is not"},
      {"00:00:05 --> 00:00:06", "line 6: timing line is not"},
      {"9999999999:00:00,000 --> 9999999999:00:01,000", "line 6: hours out of range"},
      {"00:00:06,000 --> 00:00:05,000", "line 6: end before start"},
  };
  for (const Case& c : cases) {
    LogCapture log;
    SRTSubtitles subs;
    std::string content = std::string("1\n00:00:01,000 --> 00:00:02,000\nBefore\n\n2\n") +
                          c.timing + "\nBroken\n\n3\n00:00:09,000 --> 00:00:10,000\nAfter\n";
    ASSERT_TRUE(subs.parseText(content, "bad.srt")) << c.timing;
    EXPECT_THAT(subs.subtitleBuffer(), ElementsAre("Before\n", "After\n")) << c.timing;
    std::vector<std::string> warnings = log.at(LogLevel::WARNING);
    ASSERT_THAT(warnings, SizeIs(1)) << c.timing;
    EXPECT_THAT(warnings[0], HasSubstr(std::string("bad.srt ") + c.reason)) << c.timing;
  }
}

TEST(SrtParse, ContentWithoutAValidCueFailsWithOneErrorAndKeepsHeldCues) {
  const std::vector<std::string> contents = {
      "",
      "\xEF\xBB\xBF",
      "just some words\nand more\n",
      "1\n00:00:02,000 --> 00:00:01,000\nBackwards\n",
      std::string("\xFF\xFE"
                  "1\0\n\0",
                  6),  // UTF-16
  };
  for (const std::string& content : contents) {
    LogCapture log;
    SRTSubtitles subs;
    ASSERT_TRUE(subs.parseText("1\n00:00:01,000 --> 00:00:02,000\nKept\n", "first.srt"));
    EXPECT_FALSE(subs.parseText(content, "second.srt"));
    std::vector<std::string> errors = log.at(LogLevel::ERROR);
    ASSERT_THAT(errors, SizeIs(1));
    EXPECT_THAT(errors[0], HasSubstr("SRT file second.srt"));
    EXPECT_THAT(subs.subtitleBuffer(), ElementsAre("Kept\n"));
  }
}

TEST(SrtParse, AFileFullOfBrokenCuesLogsABoundedNumberOfWarnings) {
  LogCapture log;
  std::string content;
  for (int i = 0; i < 500; ++i) content += "1\n00:00:02,000 --> 00:00:01,000\nx\n\n";
  content += "1\n00:00:03,000 --> 00:00:04,000\nGood\n";
  SRTSubtitles subs;
  ASSERT_TRUE(subs.parseText(content, "noisy.srt"));
  std::vector<std::string> warnings = log.at(LogLevel::WARNING);
  ASSERT_THAT(warnings, SizeIs(21));
  EXPECT_THAT(warnings.back(), HasSubstr("noisy.srt: 480 more malformed cues skipped"));
}

}  // namespace
}  // namespace zent
