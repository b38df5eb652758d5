#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "log_capture.h"
#include "subtitles/srt_subtitles.h"

namespace zent {
namespace {

using ::testing::ElementsAre;

std::string cueBlock(int number, const char* start, const char* end, const char* text) {
  return std::to_string(number) + "\n" + start + " --> " + end + "\n" + text + "\n\n";
}

class SrtLookup : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(subs.parseText(cueBlock(1, "00:00:01,000", "00:00:04,000", "One") +
                                   cueBlock(2, "00:00:05,000", "00:00:07,000", "Two\nlines") +
                                   cueBlock(3, "00:00:10,000", "00:00:12,000", "Three"),
                               "lookup.srt"));
  }
  SRTSubtitles subs;
};

TEST_F(SrtLookup, TimeInsideACueGivesItsTextOnTheFirstCall) {
  EXPECT_EQ(subs.updateSubtitle(10500), "Three\n");
  EXPECT_EQ(subs.updateSubtitle(5000), "Two\nlines\n");
}

TEST_F(SrtLookup, StartAndEndAreInclusiveAndGapsAreEmpty) {
  struct Probe {
    int64_t timeMs;
    const char* text;
  };
  const std::vector<Probe> probes = {
      {-5, ""},        {0, ""},
      {999, ""},       {1000, "One\n"},
      {4000, "One\n"}, {4001, ""},
      {4999, ""},      {7000, "Two\nlines\n"},
      {8000, ""},      {12000, "Three\n"},
      {12001, ""},     {INT64_MAX, ""},
      {INT64_MIN, ""},
  };
  for (const Probe& probe : probes) {
    EXPECT_EQ(subs.updateSubtitle(probe.timeMs), probe.text) << probe.timeMs;
  }
}

TEST_F(SrtLookup, BackwardSeekGivesTheEarlierCueAtOnce) {
  EXPECT_EQ(subs.updateSubtitle(11000), "Three\n");
  EXPECT_EQ(subs.updateSubtitle(2000), "One\n");
  EXPECT_EQ(subs.updateSubtitle(11500), "Three\n");
  EXPECT_EQ(subs.updateSubtitle(6000), "Two\nlines\n");
}

TEST_F(SrtLookup, SecondFileAppendsItsCuesInTimeOrder) {
  // Interleaves with the first file: before, between and after its cues.
  ASSERT_TRUE(subs.parseText(cueBlock(1, "00:00:00,000", "00:00:00,500", "Zero") +
                                 cueBlock(2, "00:00:08,000", "00:00:09,000", "Eight") +
                                 cueBlock(3, "00:00:20,000", "00:00:21,000", "Twenty"),
                             "second.srt"));
  EXPECT_THAT(subs.timesIni(), ElementsAre(0, 1000, 5000, 8000, 10000, 20000));
  EXPECT_EQ(subs.updateSubtitle(250), "Zero\n");
  EXPECT_EQ(subs.updateSubtitle(2000), "One\n");
  EXPECT_EQ(subs.updateSubtitle(8500), "Eight\n");
  EXPECT_EQ(subs.updateSubtitle(11000), "Three\n");
  EXPECT_EQ(subs.updateSubtitle(20500), "Twenty\n");
}

TEST_F(SrtLookup, CuesParsedElsewhereCanBeMovedIn) {
  SRTSubtitles later;
  ASSERT_TRUE(later.parseText(cueBlock(1, "00:00:08,000", "00:00:09,000", "Eight"), "later.srt"));
  subs.append(std::move(later));
  EXPECT_EQ(subs.cueCount(), 4u);
  EXPECT_EQ(subs.updateSubtitle(8500), "Eight\n");
  EXPECT_EQ(subs.updateSubtitle(10500), "Three\n");
}

TEST(SrtOverlap, CueThatStartedLastAndIsStillOnScreenIsShown) {
  SRTSubtitles subs;
  ASSERT_TRUE(subs.parseText(cueBlock(1, "00:00:00,000", "00:01:00,000", "Long") +
                                 cueBlock(2, "00:00:10,000", "00:00:20,000", "Inner") +
                                 cueBlock(3, "00:00:15,000", "00:00:16,000", "Short") +
                                 cueBlock(4, "00:00:30,000", "00:00:31,000", "Later"),
                             "overlap.srt"));
  EXPECT_EQ(subs.updateSubtitle(5000), "Long\n");
  EXPECT_EQ(subs.updateSubtitle(12000), "Inner\n");
  EXPECT_EQ(subs.updateSubtitle(15500), "Short\n");
  EXPECT_EQ(subs.updateSubtitle(17000), "Inner\n");  // Short is over, Inner still on
  EXPECT_EQ(subs.updateSubtitle(25000), "Long\n");   // both inner cues are over
  EXPECT_EQ(subs.updateSubtitle(30500), "Later\n");
  EXPECT_EQ(subs.updateSubtitle(40000), "Long\n");
  EXPECT_EQ(subs.updateSubtitle(60001), "");
}

TEST(SrtOverlap, EqualStartsShowTheCueReadLast) {
  SRTSubtitles subs;
  ASSERT_TRUE(subs.parseText(cueBlock(1, "00:00:01,000", "00:00:05,000", "First") +
                                 cueBlock(2, "00:00:01,000", "00:00:03,000", "Second"),
                             "same.srt"));
  EXPECT_EQ(subs.updateSubtitle(2000), "Second\n");
  EXPECT_EQ(subs.updateSubtitle(4000), "First\n");
}

// Random cues, many overlapping, in random file order, checked against a direct scan
// for the latest-starting cue (last read on a tie) that covers the time.
TEST(SrtOverlap, LookupAgreesWithAScanOfAllCues) {
  std::mt19937 random(20240611);
  struct Cue {
    int64_t start;
    int64_t end;
    std::string text;
  };
  std::vector<Cue> cues;
  std::string content;
  for (int i = 0; i < 400; ++i) {
    int64_t start = std::uniform_int_distribution<int64_t>(0, 100'000)(random);
    int64_t length = std::uniform_int_distribution<int64_t>(0, i % 10 == 0 ? 30'000 : 800)(random);
    Cue cue{start, start + length, "cue " + std::to_string(i)};
    auto stamp = [](int64_t ms) {
      char text[32];
      std::snprintf(text, sizeof text, "%02lld:%02lld:%02lld,%03lld",
                    static_cast<long long>(ms / 3'600'000),
                    static_cast<long long>(ms / 60'000 % 60),
                    static_cast<long long>(ms / 1000 % 60), static_cast<long long>(ms % 1000));
      return std::string(text);
    };
    content += std::to_string(i + 1) + "\n" + stamp(cue.start) + " --> " + stamp(cue.end) + "\n" +
               cue.text + "\n\n";
    cues.push_back(cue);
  }
  SRTSubtitles subs;
  ASSERT_TRUE(subs.parseText(content, "random.srt"));

  for (int64_t t = -10; t <= 131'000; t += 7) {
    const Cue* expected = nullptr;
    for (const Cue& cue : cues) {
      if (cue.start <= t && t <= cue.end && (!expected || cue.start >= expected->start)) {
        expected = &cue;
      }
    }
    ASSERT_EQ(subs.updateSubtitle(t), expected ? expected->text + "\n" : "") << "at " << t;
  }
}

}  // namespace
}  // namespace zent
