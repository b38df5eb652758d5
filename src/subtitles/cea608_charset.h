#pragma once

#include <cstdint>
#include <string>

namespace zent {

// The character sets of line-21 captions, as Unicode code points. Each takes a
// byte with its parity bit already removed.

// The basic set, 0x20 to 0x7F: ASCII except for ten accented letters and signs
// in place of rarely used ASCII characters. Other bytes give 0.
char32_t cea608BasicCharacter(uint8_t code);

// The special set, sent as 0x11 (or 0x19) then 0x30 to 0x3F: ®, °, ½, ♪ and
// accented vowels. 0x39 is the transparent space, given as 0 (an empty cell).
char32_t cea608SpecialCharacter(uint8_t second);

// The extended sets, sent as 0x12/0x13 (or 0x1A/0x1B) then 0x20 to 0x3F:
// Spanish, French, Portuguese, German and Danish letters and signs. Each
// replaces the basic character sent before it as a fallback.
char32_t cea608ExtendedCharacter(uint8_t first, uint8_t second);

// Appends one code point as UTF-8.
void appendUtf8(std::string& out, char32_t cp);

}  // namespace zent
