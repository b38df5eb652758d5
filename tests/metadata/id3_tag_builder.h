#pragma once

// ID3v2.3/2.4 tags made byte by byte:  id3Tag(4, {text("TALB", "Album"), {"TIT1", {7, 'x'}}})

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zent::testing {

// As frames declare them.
enum class TextEncoding : uint8_t { Latin1, Utf16, Utf16BigEndian, Utf8 };

struct TagFrame {
  std::string id;
  std::vector<uint8_t> body;
  uint8_t formatFlags = 0;  // the second flag byte
};

TagFrame text(std::string_view id, std::string_view value, TextEncoding e = TextEncoding::Utf8);
TagFrame userText(std::string_view description, std::string_view value,
                  TextEncoding encoding = TextEncoding::Utf8);
TagFrame comment(std::string_view language, std::string_view description, std::string_view value,
                 TextEncoding encoding = TextEncoding::Utf8);

// Frame sizes plain in 2.3 and sync-safe in 2.4; unsynchronisation of the whole body in
// 2.3 and of each frame in 2.4.
std::vector<uint8_t> id3Tag(uint8_t version, const std::vector<TagFrame>& frames,
                            bool unsynchronised = false, bool extendedHeader = false,
                            size_t padding = 0);

void appendBigEndian32(std::vector<uint8_t>& out, uint32_t value);

}  // namespace zent::testing
