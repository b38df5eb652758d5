#pragma once

#include <bit>
#include <cstdint>
#include <string_view>
#include <vector>

namespace zent::testing {

// Builds line-21 caption byte pairs, with odd parity, for test scripts.
struct CcPair {
  uint8_t first;
  uint8_t second;
};
using CcPairs = std::vector<CcPair>;

inline uint8_t withParity(uint8_t byte) {
  byte &= 0x7F;
  return std::popcount(byte) % 2 == 0 ? byte | 0x80 : byte;
}

// A control code of data channel 0 or 1, sent twice as broadcasters do.
inline CcPairs control(int dataChannel, uint8_t first, uint8_t second, bool doubled = true) {
  CcPair pair{withParity(first | (dataChannel ? 0x08 : 0)), withParity(second)};
  return doubled ? CcPairs{pair, pair} : CcPairs{pair};
}

// Miscellaneous commands, by their second byte (0x20 RCL ... 0x2F EOC).
inline CcPairs misc(int dataChannel, uint8_t code) {
  return control(dataChannel, 0x14, code);
}

// A preamble address code: row 1 to 15, indent 0 to 28 in steps of 4.
inline CcPairs preamble(int dataChannel, int row, int indent = 0) {
  static constexpr uint8_t kFirst[16] = {0,    0x11, 0x11, 0x12, 0x12, 0x15, 0x15, 0x16,
                                         0x16, 0x17, 0x17, 0x10, 0x13, 0x13, 0x14, 0x14};
  static constexpr bool kLower[16] = {false, false, true, false, true,  false, true,  false,
                                      true,  false, true, false, false, true,  false, true};
  uint8_t second = 0x40 | (kLower[row] ? 0x20 : 0) | 0x10 | ((indent / 4) << 1);
  return control(dataChannel, kFirst[row], second);
}

// Basic-set bytes two to a pair, the last pair padded with a null byte.
inline CcPairs text(std::string_view bytes) {
  CcPairs pairs;
  for (size_t i = 0; i < bytes.size(); i += 2) {
    uint8_t second = i + 1 < bytes.size() ? static_cast<uint8_t>(bytes[i + 1]) : 0;
    pairs.push_back({withParity(static_cast<uint8_t>(bytes[i])), withParity(second)});
  }
  return pairs;
}

inline CcPairs operator+(CcPairs a, const CcPairs& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

}  // namespace zent::testing
