#include "metadata/id3_tag_builder.h"

#include <iconv.h>

#include <stdexcept>
#include <string>

namespace zent::testing {
namespace {

using Bytes = std::vector<uint8_t>;

// UTF-8 text in an ID3 encoding (Utf16 with a little-endian byte-order mark).
Bytes encode(std::string_view utf8, TextEncoding encoding, bool terminated) {
  const char* names[] = {"ISO-8859-1", "UTF-16LE", "UTF-16BE", "UTF-8"};
  const iconv_t cd = iconv_open(names[static_cast<int>(encoding)], "UTF-8");
  std::string in(utf8);
  Bytes out = encoding == TextEncoding::Utf16 ? Bytes{0xFF, 0xFE} : Bytes{};
  const size_t bom = out.size();
  out.resize(bom + in.size() * 4 + 4);
  char *from = in.data(), *to = reinterpret_cast<char*>(out.data() + bom);
  size_t left = in.size(), room = out.size() - bom;
  const bool converted = iconv(cd, &from, &left, &to, &room) != static_cast<size_t>(-1);
  iconv_close(cd);
  if (!converted) throw std::invalid_argument("text not representable in the encoding");
  out.resize(out.size() - room);
  const bool wide = encoding == TextEncoding::Utf16 || encoding == TextEncoding::Utf16BigEndian;
  if (terminated) out.resize(out.size() + (wide ? 2 : 1), 0);
  return out;
}

TagFrame described(std::string_view id, std::string_view prefix, const Bytes& description,
                   std::string_view value, TextEncoding encoding) {
  Bytes body(prefix.begin(), prefix.end());
  body.insert(body.begin(), static_cast<uint8_t>(encoding));
  for (const Bytes& part : {description, encode(value, encoding, false)})
    body.insert(body.end(), part.begin(), part.end());
  return {std::string(id), body};
}

Bytes unsynchronise(const Bytes& bytes) {
  Bytes out;
  for (size_t i = 0; i < bytes.size(); ++i) {
    out.push_back(bytes[i]);
    if (bytes[i] == 0xFF && (i + 1 == bytes.size() || bytes[i + 1] == 0 || bytes[i + 1] >= 0xE0))
      out.push_back(0x00);
  }
  return out;
}

void appendSyncSafe(Bytes& out, uint32_t value) {
  for (int shift = 21; shift >= 0; shift -= 7) out.push_back((value >> shift) & 0x7F);
}

}  // namespace

void appendBigEndian32(Bytes& out, uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) out.push_back((value >> shift) & 0xFF);
}

TagFrame text(std::string_view id, std::string_view value, TextEncoding encoding) {
  return described(id, "", {}, value, encoding);
}
TagFrame userText(std::string_view description, std::string_view value, TextEncoding encoding) {
  return described("TXXX", "", encode(description, encoding, true), value, encoding);
}
TagFrame comment(std::string_view language, std::string_view description, std::string_view value,
                 TextEncoding encoding) {
  return described("COMM", language, encode(description, encoding, true), value, encoding);
}

Bytes id3Tag(uint8_t version, const std::vector<TagFrame>& frames, bool unsynchronised,
             bool extendedHeader, size_t padding) {
  Bytes body;
  if (extendedHeader) body = {0, 0, 0, 6, 1, 0};  // 2.4: its size, one flag byte, no flags
  for (const TagFrame& f : frames) {
    const bool perFrame = version >= 4 && unsynchronised;
    const Bytes content = perFrame ? unsynchronise(f.body) : f.body;
    body.insert(body.end(), f.id.begin(), f.id.end());
    (version >= 4 ? appendSyncSafe : appendBigEndian32)(body, uint32_t(content.size()));
    body.insert(body.end(), {0, static_cast<uint8_t>(f.formatFlags | (perFrame ? 0x02 : 0))});
    body.insert(body.end(), content.begin(), content.end());
  }
  body.insert(body.end(), padding, 0);
  if (version < 4 && unsynchronised) body = unsynchronise(body);
  Bytes tag{'I', 'D',
            '3', version,
            0,   static_cast<uint8_t>((unsynchronised ? 0x80 : 0) | (extendedHeader ? 0x40 : 0))};
  appendSyncSafe(tag, static_cast<uint32_t>(body.size()));
  tag.insert(tag.end(), body.begin(), body.end());
  return tag;
}

}  // namespace zent::testing
