#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zent::testing {

// Text encodings as an ID3v2 frame declares them.
enum class TextEncoding : uint8_t { Latin1 = 0, Utf16 = 1, Utf16BigEndian = 2, Utf8 = 3 };

// UTF-8 text in an ID3 encoding (Utf16 with a little-endian byte-order mark),
// optionally with the encoding's terminator.
std::vector<uint8_t> encodeText(std::string_view utf8, TextEncoding encoding,
                                bool terminated = false);

// Makes ID3v2.3 and ID3v2.4 tags byte by byte, so tests control every size,
// flag and encoding.
class Id3TagBuilder {
 public:
  explicit Id3TagBuilder(uint8_t majorVersion) : version_(majorVersion) {}

  Id3TagBuilder& text(std::string_view id, std::string_view value,
                      TextEncoding encoding = TextEncoding::Utf8) {
    return described(id, "", "", value, encoding, false);
  }
  Id3TagBuilder& userText(std::string_view description, std::string_view value,
                          TextEncoding encoding = TextEncoding::Utf8) {
    return described("TXXX", "", description, value, encoding, true);
  }
  Id3TagBuilder& comment(std::string_view language, std::string_view description,
                         std::string_view value, TextEncoding encoding = TextEncoding::Utf8) {
    return described("COMM", language, description, value, encoding, true);
  }
  // A frame with the given body, as is; formatFlags is the second flag byte.
  Id3TagBuilder& frame(std::string_view id, std::vector<uint8_t> body, uint8_t formatFlags = 0) {
    frames_.push_back({std::string(id), std::move(body), formatFlags});
    return *this;
  }
  // Unsynchronisation: of the whole body in 2.3, of each frame in 2.4.
  Id3TagBuilder& unsynchronised() { return unsynchronised_ = true, *this; }
  Id3TagBuilder& extendedHeader() { return extendedHeader_ = true, *this; }
  Id3TagBuilder& padding(size_t bytes) { return padding_ = bytes, *this; }

  std::vector<uint8_t> build() const;

 private:
  Id3TagBuilder& described(std::string_view id, std::string_view language,
                           std::string_view description, std::string_view value,
                           TextEncoding encoding, bool hasDescription);
  struct Frame {
    std::string id;
    std::vector<uint8_t> body;
    uint8_t formatFlags;
  };
  uint8_t version_;
  bool unsynchronised_ = false;
  bool extendedHeader_ = false;
  size_t padding_ = 0;
  std::vector<Frame> frames_;
};

void appendBigEndian32(std::vector<uint8_t>& out, uint32_t value);

}  // namespace zent::testing
