#include "metadata/id3_tag_builder.h"

#include <stdexcept>

namespace zent::testing {
namespace {

std::u32string decodeUtf8(std::string_view utf8) {
  std::u32string out;
  for (size_t i = 0; i < utf8.size();) {
    auto byte = static_cast<uint8_t>(utf8[i]);
    size_t length = byte < 0x80 ? 1 : (byte & 0xE0) == 0xC0 ? 2 : (byte & 0xF0) == 0xE0 ? 3 : 4;
    char32_t c = byte & (0xFF >> (length == 1 ? 0 : length + 1));
    for (size_t k = 1; k < length && i + k < utf8.size(); ++k) {
      c = (c << 6) | (static_cast<uint8_t>(utf8[i + k]) & 0x3F);
    }
    out.push_back(c);
    i += length;
  }
  return out;
}

std::vector<uint8_t> unsynchronise(const std::vector<uint8_t>& bytes) {
  std::vector<uint8_t> out;
  for (size_t i = 0; i < bytes.size(); ++i) {
    out.push_back(bytes[i]);
    if (bytes[i] == 0xFF && (i + 1 == bytes.size() || bytes[i + 1] == 0 || bytes[i + 1] >= 0xE0))
      out.push_back(0x00);
  }
  return out;
}

void appendSyncSafe(std::vector<uint8_t>& out, uint32_t value) {
  for (int shift = 21; shift >= 0; shift -= 7) out.push_back((value >> shift) & 0x7F);
}

}  // namespace

void appendBigEndian32(std::vector<uint8_t>& out, uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) out.push_back((value >> shift) & 0xFF);
}

std::vector<uint8_t> encodeText(std::string_view utf8, TextEncoding encoding, bool terminated) {
  std::vector<uint8_t> out;
  if (encoding == TextEncoding::Utf8) {
    out.assign(utf8.begin(), utf8.end());
  } else if (encoding == TextEncoding::Latin1) {
    for (char32_t c : decodeUtf8(utf8)) {
      if (c > 0xFF) throw std::invalid_argument("text not representable in ISO-8859-1");
      out.push_back(static_cast<uint8_t>(c));
    }
  } else {
    const bool bigEndian = encoding == TextEncoding::Utf16BigEndian;
    if (!bigEndian) out = {0xFF, 0xFE};
    auto unit = [&](char32_t u) {
      out.push_back(static_cast<uint8_t>(bigEndian ? u >> 8 : u & 0xFF));
      out.push_back(static_cast<uint8_t>(bigEndian ? u & 0xFF : u >> 8));
    };
    for (char32_t c : decodeUtf8(utf8)) {
      if (c < 0x10000) {
        unit(c);
      } else {
        unit(0xD800 + ((c - 0x10000) >> 10));
        unit(0xDC00 + ((c - 0x10000) & 0x3FF));
      }
    }
    if (terminated) out.push_back(0);
  }
  if (terminated) out.push_back(0);
  return out;
}

Id3TagBuilder& Id3TagBuilder::described(std::string_view id, std::string_view language,
                                        std::string_view description, std::string_view value,
                                        TextEncoding encoding, bool hasDescription) {
  std::vector<uint8_t> body{static_cast<uint8_t>(encoding)};
  body.insert(body.end(), language.begin(), language.end());
  if (hasDescription) {
    std::vector<uint8_t> first = encodeText(description, encoding, true);
    body.insert(body.end(), first.begin(), first.end());
  }
  std::vector<uint8_t> second = encodeText(value, encoding);
  body.insert(body.end(), second.begin(), second.end());
  return frame(id, std::move(body));
}

std::vector<uint8_t> Id3TagBuilder::build() const {
  std::vector<uint8_t> body;
  if (extendedHeader_ && version_ >= 4) {
    appendSyncSafe(body, 6);  // size including itself, one flag byte, no flags
    body.insert(body.end(), {1, 0});
  } else if (extendedHeader_) {
    appendBigEndian32(body, 6);  // size after this field: flags and padding size
    body.insert(body.end(), {0, 0});
    appendBigEndian32(body, static_cast<uint32_t>(padding_));
  }
  for (const Frame& f : frames_) {
    const bool perFrame = version_ >= 4 && unsynchronised_;
    std::vector<uint8_t> content = perFrame ? unsynchronise(f.body) : f.body;
    body.insert(body.end(), f.id.begin(), f.id.end());
    if (version_ >= 4) {
      appendSyncSafe(body, static_cast<uint32_t>(content.size()));
    } else {
      appendBigEndian32(body, static_cast<uint32_t>(content.size()));
    }
    body.insert(body.end(), {0, static_cast<uint8_t>(f.formatFlags | (perFrame ? 0x02 : 0))});
    body.insert(body.end(), content.begin(), content.end());
  }
  body.insert(body.end(), padding_, 0);
  if (version_ < 4 && unsynchronised_) body = unsynchronise(body);

  std::vector<uint8_t> tag{'I', 'D', '3', version_, 0};
  tag.push_back((unsynchronised_ ? 0x80 : 0) | (extendedHeader_ ? 0x40 : 0));
  appendSyncSafe(tag, static_cast<uint32_t>(body.size()));
  tag.insert(tag.end(), body.begin(), body.end());
  return tag;
}

}  // namespace zent::testing
