#include "metadata/id3_tag_builder.h"

#include <stdexcept>

namespace zent::testing {
namespace {

std::u32string decodeUtf8(std::string_view utf8) {
  std::u32string out;
  for (size_t i = 0; i < utf8.size();) {
    auto byte = static_cast<uint8_t>(utf8[i]);
    size_t length = byte < 0x80 ? 1 : (byte & 0xE0) == 0xC0 ? 2 : (byte & 0xF0) == 0xE0 ? 3 : 4;
    char32_t c = length == 1   ? byte
                 : length == 2 ? byte & 0x1F
                 : length == 3 ? byte & 0x0F
                               : byte & 0x07;
    for (size_t k = 1; k < length && i + k < utf8.size(); ++k) {
      c = (c << 6) | (static_cast<uint8_t>(utf8[i + k]) & 0x3F);
    }
    out.push_back(c);
    i += length;
  }
  return out;
}

void appendUnit(std::vector<uint8_t>& out, char16_t unit, bool bigEndian) {
  uint8_t high = static_cast<uint8_t>(unit >> 8), low = static_cast<uint8_t>(unit & 0xFF);
  if (bigEndian) {
    out.push_back(high), out.push_back(low);
  } else {
    out.push_back(low), out.push_back(high);
  }
}

}  // namespace

std::vector<uint8_t> encodeText(std::string_view utf8, TextEncoding encoding, bool terminated) {
  std::vector<uint8_t> out;
  switch (encoding) {
    case TextEncoding::Utf8:
      out.assign(utf8.begin(), utf8.end());
      if (terminated) out.push_back(0);
      return out;
    case TextEncoding::Latin1:
      for (char32_t c : decodeUtf8(utf8)) {
        if (c > 0xFF) throw std::invalid_argument("text not representable in ISO-8859-1");
        out.push_back(static_cast<uint8_t>(c));
      }
      if (terminated) out.push_back(0);
      return out;
    case TextEncoding::Utf16:
    case TextEncoding::Utf16BigEndian: {
      bool bigEndian = encoding == TextEncoding::Utf16BigEndian;
      if (!bigEndian) out = {0xFF, 0xFE};
      for (char32_t c : decodeUtf8(utf8)) {
        if (c >= 0x10000) {
          c -= 0x10000;
          appendUnit(out, static_cast<char16_t>(0xD800 + (c >> 10)), bigEndian);
          appendUnit(out, static_cast<char16_t>(0xDC00 + (c & 0x3FF)), bigEndian);
        } else {
          appendUnit(out, static_cast<char16_t>(c), bigEndian);
        }
      }
      if (terminated) out.push_back(0), out.push_back(0);
      return out;
    }
  }
  return out;
}

std::vector<uint8_t> unsynchronise(const std::vector<uint8_t>& bytes) {
  std::vector<uint8_t> out;
  for (size_t i = 0; i < bytes.size(); ++i) {
    out.push_back(bytes[i]);
    bool last = i + 1 == bytes.size();
    if (bytes[i] == 0xFF && (last || bytes[i + 1] == 0x00 || bytes[i + 1] >= 0xE0)) {
      out.push_back(0x00);
    }
  }
  return out;
}

void appendSyncSafe(std::vector<uint8_t>& out, uint32_t value) {
  for (int shift = 21; shift >= 0; shift -= 7) out.push_back((value >> shift) & 0x7F);
}

void appendBigEndian32(std::vector<uint8_t>& out, uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) out.push_back((value >> shift) & 0xFF);
}

Id3TagBuilder& Id3TagBuilder::text(std::string_view id, std::string_view value,
                                   TextEncoding encoding) {
  std::vector<uint8_t> body{static_cast<uint8_t>(encoding)};
  std::vector<uint8_t> encoded = encodeText(value, encoding);
  body.insert(body.end(), encoded.begin(), encoded.end());
  return frame(id, std::move(body));
}

Id3TagBuilder& Id3TagBuilder::userText(std::string_view description, std::string_view value,
                                       TextEncoding encoding) {
  std::vector<uint8_t> body{static_cast<uint8_t>(encoding)};
  std::vector<uint8_t> first = encodeText(description, encoding, true);
  std::vector<uint8_t> second = encodeText(value, encoding);
  body.insert(body.end(), first.begin(), first.end());
  body.insert(body.end(), second.begin(), second.end());
  return frame("TXXX", std::move(body));
}

Id3TagBuilder& Id3TagBuilder::comment(std::string_view language, std::string_view description,
                                      std::string_view value, TextEncoding encoding) {
  std::vector<uint8_t> body{static_cast<uint8_t>(encoding)};
  body.insert(body.end(), language.begin(), language.end());
  std::vector<uint8_t> first = encodeText(description, encoding, true);
  std::vector<uint8_t> second = encodeText(value, encoding);
  body.insert(body.end(), first.begin(), first.end());
  body.insert(body.end(), second.begin(), second.end());
  return frame("COMM", std::move(body));
}

Id3TagBuilder& Id3TagBuilder::frame(std::string_view id, std::vector<uint8_t> body,
                                    uint8_t formatFlags) {
  frames_.push_back({std::string(id), std::move(body), formatFlags});
  return *this;
}

Id3TagBuilder& Id3TagBuilder::unsynchronised(bool on) {
  unsynchronised_ = on;
  return *this;
}

Id3TagBuilder& Id3TagBuilder::extendedHeader(bool on) {
  extendedHeader_ = on;
  return *this;
}

Id3TagBuilder& Id3TagBuilder::padding(size_t bytes) {
  padding_ = bytes;
  return *this;
}

std::vector<uint8_t> Id3TagBuilder::build() const {
  std::vector<uint8_t> body;
  if (extendedHeader_) {
    if (version_ >= 4) {
      appendSyncSafe(body, 6);  // size including itself, one flag byte, no flags
      body.push_back(1);
      body.push_back(0);
    } else {
      appendBigEndian32(body, 6);  // size after this field: flags and padding size
      body.insert(body.end(), {0, 0});
      appendBigEndian32(body, static_cast<uint32_t>(padding_));
    }
  }
  for (const Frame& f : frames_) {
    std::vector<uint8_t> content = f.body;
    uint8_t flags = f.formatFlags;
    if (version_ >= 4 && unsynchronised_) {
      content = unsynchronise(content);
      flags |= 0x02;
    }
    body.insert(body.end(), f.id.begin(), f.id.end());
    if (version_ >= 4) {
      appendSyncSafe(body, static_cast<uint32_t>(content.size()));
    } else {
      appendBigEndian32(body, static_cast<uint32_t>(content.size()));
    }
    body.push_back(0);
    body.push_back(flags);
    body.insert(body.end(), content.begin(), content.end());
  }
  body.insert(body.end(), padding_, 0);
  if (version_ < 4 && unsynchronised_) body = unsynchronise(body);

  std::vector<uint8_t> tag{'I', 'D', '3', version_, 0};
  uint8_t flags = (unsynchronised_ ? 0x80 : 0) | (extendedHeader_ ? 0x40 : 0);
  tag.push_back(flags);
  appendSyncSafe(tag, static_cast<uint32_t>(body.size()));
  tag.insert(tag.end(), body.begin(), body.end());
  return tag;
}

}  // namespace zent::testing
