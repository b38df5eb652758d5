#include "metadata/id3_text.h"

namespace zent {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

void appendUtf8(std::string& out, char32_t c) {
  if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) c = kReplacement;
  if (c < 0x80) {
    out.push_back(static_cast<char>(c));
  } else if (c < 0x800) {
    out.push_back(static_cast<char>(0xC0 | (c >> 6)));
    out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  } else if (c < 0x10000) {
    out.push_back(static_cast<char>(0xE0 | (c >> 12)));
    out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  } else {
    out.push_back(static_cast<char>(0xF0 | (c >> 18)));
    out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  }
}

std::string decodeLatin1(std::span<const uint8_t> bytes) {
  std::string out;
  out.reserve(bytes.size());
  for (uint8_t byte : bytes) appendUtf8(out, byte);
  return out;
}

std::string decodeUtf16(std::span<const uint8_t> bytes, bool bigEndian) {
  std::string out;
  out.reserve(bytes.size());
  size_t units = bytes.size() / 2;
  auto unitAt = [&](size_t i) -> char16_t {
    uint8_t a = bytes[2 * i], b = bytes[2 * i + 1];
    return bigEndian ? static_cast<char16_t>((a << 8) | b) : static_cast<char16_t>((b << 8) | a);
  };
  for (size_t i = 0; i < units; ++i) {
    char16_t unit = unitAt(i);
    if (unit >= 0xD800 && unit <= 0xDBFF && i + 1 < units) {
      char16_t low = unitAt(i + 1);
      if (low >= 0xDC00 && low <= 0xDFFF) {
        appendUtf8(out, 0x10000 + ((char32_t{unit} - 0xD800) << 10) + (char32_t{low} - 0xDC00));
        ++i;
        continue;
      }
    }
    appendUtf8(out, unit);  // a lone surrogate becomes U+FFFD there
  }
  if (bytes.size() % 2 != 0) appendUtf8(out, kReplacement);
  return out;
}

// Copies well-formed UTF-8 and replaces each ill-formed sequence with U+FFFD.
std::string sanitiseUtf8(std::span<const uint8_t> bytes) {
  std::string out;
  out.reserve(bytes.size());
  size_t i = 0;
  while (i < bytes.size()) {
    uint8_t lead = bytes[i];
    if (lead < 0x80) {
      out.push_back(static_cast<char>(lead));
      ++i;
      continue;
    }
    size_t length = 0;
    char32_t c = 0;
    char32_t minimum = 0;
    if ((lead & 0xE0) == 0xC0) {
      length = 2, c = lead & 0x1F, minimum = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
      length = 3, c = lead & 0x0F, minimum = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
      length = 4, c = lead & 0x07, minimum = 0x10000;
    }
    size_t consumed = 1;
    bool valid = length != 0 && i + length <= bytes.size();
    for (size_t k = 1; valid && k < length; ++k) {
      if ((bytes[i + k] & 0xC0) != 0x80) {
        valid = false;
        break;
      }
      c = (c << 6) | (bytes[i + k] & 0x3F);
      consumed = k + 1;
    }
    if (valid && c >= minimum && c <= 0x10FFFF && !(c >= 0xD800 && c <= 0xDFFF)) {
      out.append(reinterpret_cast<const char*>(&bytes[i]), length);
      i += length;
    } else {
      appendUtf8(out, kReplacement);
      i += consumed;
    }
  }
  return out;
}

}  // namespace

std::optional<Id3TextEncoding> id3TextEncoding(uint8_t byte) {
  if (byte > 3) return std::nullopt;
  return static_cast<Id3TextEncoding>(byte);
}

std::string decodeId3Text(std::span<const uint8_t> bytes, Id3TextEncoding encoding) {
  switch (encoding) {
    case Id3TextEncoding::Latin1:
      return decodeLatin1(bytes);
    case Id3TextEncoding::Utf16:
      if (bytes.size() >= 2 && bytes[0] == 0xFF && bytes[1] == 0xFE) {
        return decodeUtf16(bytes.subspan(2), false);
      }
      if (bytes.size() >= 2 && bytes[0] == 0xFE && bytes[1] == 0xFF) {
        return decodeUtf16(bytes.subspan(2), true);
      }
      return decodeUtf16(bytes, true);
    case Id3TextEncoding::Utf16BigEndian:
      return decodeUtf16(bytes, true);
    case Id3TextEncoding::Utf8:
      return sanitiseUtf8(bytes);
  }
  return {};
}

std::pair<std::span<const uint8_t>, std::span<const uint8_t>> splitId3String(
    std::span<const uint8_t> bytes, Id3TextEncoding encoding) {
  bool wide = encoding == Id3TextEncoding::Utf16 || encoding == Id3TextEncoding::Utf16BigEndian;
  if (!wide) {
    for (size_t i = 0; i < bytes.size(); ++i) {
      if (bytes[i] == 0) return {bytes.first(i), bytes.subspan(i + 1)};
    }
    return {bytes, {}};
  }
  for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
    if (bytes[i] == 0 && bytes[i + 1] == 0) return {bytes.first(i), bytes.subspan(i + 2)};
  }
  return {bytes, {}};
}

}  // namespace zent
