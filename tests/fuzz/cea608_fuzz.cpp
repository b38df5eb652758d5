// Any cc_data triplets to the line-21 caption decoder: a crash, a sanitizer report, text
// beyond 15 rows of 32 characters or a change reported without one is a finding.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "subtitles/cea608_decoder.h"

namespace {

// Code points of UTF-8 text; aborts on a malformed sequence.
size_t codePoints(const std::string& text) {
  size_t count = 0;
  for (size_t i = 0; i < text.size(); ++count) {
    auto lead = static_cast<unsigned char>(text[i]);
    size_t length = lead < 0x80 ? 1 : lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 0;
    if (length == 0 || i + length > text.size()) std::abort();
    for (size_t k = 1; k < length; ++k) {
      if ((static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80) std::abort();
    }
    i += length;
  }
  return count;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  zent::Cea608Decoder decoder;
  std::array<std::string, zent::Cea608Decoder::kChannels> previous;
  for (size_t i = 0; i + 3 <= size; i += 3) {
    decoder.feedTriplet(data[i], data[i + 1], data[i + 2]);
    unsigned changed = decoder.takeChangedChannels();
    for (int c = 0; c < zent::Cea608Decoder::kChannels; ++c) {
      const std::string text = decoder.displayedText(c);
      if (((changed >> c) & 1) != (text != previous[c])) std::abort();
      previous[c] = text;
      auto rows = std::count(text.begin(), text.end(), '\n') + (text.empty() ? 0 : 1);
      if (rows > 15 || codePoints(text) > 15 * 33) std::abort();
      if (!text.empty() && !(decoder.channelsWithText() & (1u << c))) std::abort();
    }
  }
  return 0;
}
