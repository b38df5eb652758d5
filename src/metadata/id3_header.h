#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace zent {

// The fixed 10-byte header that starts every ID3v2 tag ("ID3", version,
// flags, sync-safe body size).
struct Id3Header {
  static constexpr size_t kSize = 10;
  static constexpr uint8_t kUnsynchronisation = 0x80;
  static constexpr uint8_t kExtendedHeader = 0x40;
  static constexpr uint8_t kFooter = 0x10;  // 2.4 only

  uint8_t majorVersion = 0;
  uint8_t revision = 0;
  uint8_t flags = 0;
  size_t bodySize = 0;  // bytes after the header, footer excluded

  bool has(uint8_t flag) const { return (flags & flag) != 0; }
  // Header, body and (2.4) footer: how many bytes the whole tag occupies.
  size_t totalSize() const;
};

// Reads the header at the start of data. Nothing when data is shorter than a
// header, does not start with "ID3", or carries a size that is not sync-safe.
std::optional<Id3Header> parseId3Header(std::span<const uint8_t> data);

// A 28-bit sync-safe integer (7 bits per byte, high bit clear); nothing when a
// byte has its high bit set.
std::optional<uint32_t> readSyncSafe(std::span<const uint8_t, 4> bytes);
uint32_t readBigEndian32(std::span<const uint8_t, 4> bytes);

}  // namespace zent
