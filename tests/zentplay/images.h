#pragma once

// Pictures the tests look at: zentplay's PNG snapshots and X screenshots
// (xwd's XWD files).

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace zent::test {

// 8-bit RGB, top row first.
struct RgbImage {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> rgb;  // width * height * 3
  std::array<uint8_t, 3> at(int x, int y) const;
};

// Reads a PNG (any bit depth or colour type libpng can expand to RGB). Throws
// std::runtime_error when it cannot.
RgbImage readPng(const std::string& path);

// Reads an XWD file in ZPixmap format with a TrueColor or DirectColor visual,
// as `xwd -root` writes it. Throws std::runtime_error otherwise.
RgbImage readXwd(const std::string& path);

}  // namespace zent::test
