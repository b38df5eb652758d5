#include "support/utf8.h"

namespace zent {
namespace {

// Decodes one code point at text[i]; advances i. Invalid bytes give U+FFFD.
char32_t decode(std::string_view text, std::size_t& i) {
  auto byte = [&](std::size_t k) { return static_cast<unsigned char>(text[k]); };
  unsigned char lead = byte(i);
  int extra = lead < 0x80         ? 0
              : (lead >> 5) == 6  ? 1
              : (lead >> 4) == 14 ? 2
              : (lead >> 3) == 30 ? 3
                                  : -1;
  if (extra < 0 || i + extra >= text.size() + (extra == 0 ? 1 : 0)) {
    ++i;
    return 0xFFFD;
  }
  char32_t cp = extra == 0 ? lead : lead & (0x3F >> extra);
  for (int k = 1; k <= extra; ++k) {
    if ((byte(i + k) & 0xC0) != 0x80) {
      ++i;
      return 0xFFFD;
    }
    cp = (cp << 6) | (byte(i + k) & 0x3F);
  }
  i += extra + 1;
  return cp;
}

bool extendsPrevious(char32_t cp) {
  return (cp >= 0x0300 && cp <= 0x036F) || (cp >= 0x1AB0 && cp <= 0x1AFF) ||
         (cp >= 0x1DC0 && cp <= 0x1DFF) || (cp >= 0x20D0 && cp <= 0x20FF) ||
         (cp >= 0xFE20 && cp <= 0xFE2F) || (cp >= 0xFE00 && cp <= 0xFE0F) ||
         (cp >= 0x1F3FB && cp <= 0x1F3FF) || (cp >= 0xE0100 && cp <= 0xE01EF) || cp == 0x200D;
}

}  // namespace

int64_t utf8CharacterCount(std::string_view text) {
  int64_t count = 0;
  char32_t previous = 0;
  std::size_t i = 0;
  while (i < text.size()) {
    char32_t cp = decode(text, i);
    bool joined = previous == 0x200D;  // the character after a zero-width joiner
    bool crlf = previous == '\r' && cp == '\n';
    if (count == 0 || !(extendsPrevious(cp) || joined || crlf)) ++count;
    previous = cp;
  }
  return count;
}

}  // namespace zent
