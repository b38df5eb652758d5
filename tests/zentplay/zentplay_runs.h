#pragma once

// Running the zentplay binary from the tests, and checking the pictures it writes.

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "support/subprocess.h"

namespace zent::test {

using std::chrono::milliseconds;
using std::chrono::seconds;

// argv for zentplay built in this tree, loading the library built here.
std::vector<std::string> zentplayCommand(const std::vector<std::string>& args);

// 8-bit RGB, top row first.
struct RgbImage {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> rgb;
  std::array<uint8_t, 3> at(int x, int y) const;
};
RgbImage readPng(const std::string& path);  // throws std::runtime_error

constexpr int kBarsWidth = 1280;
constexpr int kBarsHeight = 720;
// Per channel: 8-bit rounding in YUV and back, plus chroma filtering.
constexpr int kBarTolerance = 12;

// A 4 s 1280x720 H.264 + AAC clip of two rows of four flat 320x360 cells (top:
// white, yellow, cyan, green; bottom: magenta, red, blue, black), BT.709 limited
// range. Unlike vertical bars it shows a picture upside down or mirrored.
std::string mp4_two_row_bars();

// Fails the test unless each cell's centre and four points around it have the
// cell's colour.
void expectTwoRowBars(const RgbImage& image, const std::string& what);

}  // namespace zent::test
