#include <gtest/gtest.h>

#include <string>

#include "support/utf8.h"

namespace zent {
namespace {

struct Text {
  const char* name;
  std::string utf8;
  int64_t characters;
};

class CaptionLengthTest : public ::testing::TestWithParam<Text> {};

// Event 11 reports a caption's length in characters a reader would count.
TEST_P(CaptionLengthTest, CountsUserPerceivedCharacters) {
  EXPECT_EQ(utf8CharacterCount(GetParam().utf8), GetParam().characters);
}

INSTANTIATE_TEST_SUITE_P(
    Scripts, CaptionLengthTest,
    ::testing::Values(Text{"AsciiWithCrLf", "Hi,\r\nyou", 7},
                      Text{"LatinCombiningAcute", "cafe\u0301", 4},
                      Text{"DevanagariVowelSignsAndVirama", "किताब क्", 5},
                      Text{"ThaiMarksAboveAndSaraAm", "ที่นี่ กำ", 4},
                      Text{"HangulSyllableSpelledInJamo", "\u1100\u1161\u11A8\u1102\u1161", 2},
                      Text{"RegionalIndicatorFlags", "🇫🇷🇩🇪", 2},
                      Text{"EmojiZwjSequencesAndSkinTone",
                           "🏳️‍🌈👩‍👩‍👧👍🏽", 3},
                      Text{"InvalidBytesCountOneEach",
                           "a\xFF\xFE"
                           "b",
                           4}),
    [](const ::testing::TestParamInfo<Text>& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace zent
