#include <gtest/gtest.h>

#include <string>

#include "support/utf8.h"

namespace zent {
namespace {

// A caption's length counts the characters a reader sees (grapheme clusters).
TEST(CaptionLength, CountsUserPerceivedCharacters) {
  const std::pair<std::string, int64_t> texts[] = {
      {"Hi,\r\nyou", 7},
      {"cafe\u0301", 4},                                // combining acute
      {"किताब क्", 5},                                   // vowel signs and virama
      {"ที่นี่ กำ", 4},                                     // Thai marks and sara am
      {"\u1100\u1161\u11A8\u1102\u1161", 2},            // Hangul spelled in jamo
      {"🇫🇷🇩🇪", 2},                                      // regional indicator flags
      {"🏳️‍🌈👩‍👩‍👧👍🏽", 3},  // ZWJ sequences and skin tone
      {"a\xFF\xFE"
       "b",
       4}};  // invalid bytes count one each
  for (const auto& [utf8, characters] : texts)
    EXPECT_EQ(utf8CharacterCount(utf8), characters) << utf8;
}

}  // namespace
}  // namespace zent
