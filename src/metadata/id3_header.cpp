#include "metadata/id3_header.h"

namespace zent {

size_t Id3Header::totalSize() const {
  size_t footer = (majorVersion >= 4 && has(kFooter)) ? kSize : 0;
  return kSize + bodySize + footer;
}

std::optional<uint32_t> readSyncSafe(std::span<const uint8_t, 4> bytes) {
  uint32_t value = 0;
  for (uint8_t byte : bytes) {
    if (byte & 0x80) return std::nullopt;
    value = (value << 7) | byte;
  }
  return value;
}

uint32_t readBigEndian32(std::span<const uint8_t, 4> bytes) {
  return (uint32_t{bytes[0]} << 24) | (uint32_t{bytes[1]} << 16) | (uint32_t{bytes[2]} << 8) |
         uint32_t{bytes[3]};
}

std::optional<Id3Header> parseId3Header(std::span<const uint8_t> data) {
  if (data.size() < Id3Header::kSize) return std::nullopt;
  if (data[0] != 'I' || data[1] != 'D' || data[2] != '3') return std::nullopt;
  // Version and revision bytes are never 0xFF in a real header.
  if (data[3] == 0xFF || data[4] == 0xFF) return std::nullopt;
  std::optional<uint32_t> size = readSyncSafe(data.subspan<6, 4>());
  if (!size) return std::nullopt;
  Id3Header header;
  header.majorVersion = data[3];
  header.revision = data[4];
  header.flags = data[5];
  header.bodySize = *size;
  return header;
}

}  // namespace zent
