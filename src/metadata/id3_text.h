#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>

namespace zent {

// The text encodings an ID3v2 frame declares in its first byte.
enum class Id3TextEncoding : uint8_t {
  Latin1 = 0,  // ISO-8859-1
  Utf16 = 1,   // UTF-16 with a byte-order mark
  Utf16BigEndian = 2,
  Utf8 = 3,
};

std::optional<Id3TextEncoding> id3TextEncoding(uint8_t byte);

// Converts encoded text to UTF-8. Invalid sequences become U+FFFD, so the result
// is always valid UTF-8. A UTF-16 text without a byte-order mark is read as
// big-endian.
std::string decodeId3Text(std::span<const uint8_t> bytes, Id3TextEncoding encoding);

// Splits bytes at the first string terminator of the encoding (one zero byte,
// or an aligned pair of zero bytes for UTF-16): the string before it and what
// follows it. Without a terminator the whole input is the string.
std::pair<std::span<const uint8_t>, std::span<const uint8_t>> splitId3String(
    std::span<const uint8_t> bytes, Id3TextEncoding encoding);

}  // namespace zent
