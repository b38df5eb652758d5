#pragma once

#include <cstdint>
#include <string_view>

namespace zent {

// The number of user-perceived characters (extended grapheme clusters) of UTF-8
// text, found by ICU's character break iterator: a letter with its combining
// marks, a Devanagari consonant with its virama or vowel sign, a Thai consonant
// with its marks, a Hangul syllable spelled in jamo, a regional-indicator flag
// and an emoji zero-width-joiner sequence each count one, and so does CR LF.
// Each invalid byte counts as one U+FFFD.
int64_t utf8CharacterCount(std::string_view text);

}  // namespace zent
