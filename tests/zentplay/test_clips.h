#pragma once

// Clips for zentplay's tests, made with ffmpeg on first use and kept in the
// shared media cache.

#include <array>
#include <cstdint>
#include <string>

namespace zent::test {

// One cell of the two-row bars: columns [x0, x1) and rows [y0, y1) of a
// 1280x720 frame, in one flat colour.
struct BarCell {
  const char* name;
  int x0, x1, y0, y1;
  uint8_t r, g, b;
};

constexpr int kBarsWidth = 1280;
constexpr int kBarsHeight = 720;

// Top row, left to right: white, yellow, cyan, green; bottom row: magenta,
// red, blue, black. Each cell is 320x360. Unlike plain vertical bars this
// shows a picture drawn upside down or mirrored.
const std::array<BarCell, 8>& twoRowBarCells();

// The two-row bars as a 4 s, 30 fps H.264 MP4 with a 440 Hz AAC tone, tagged
// BT.709 limited range so every decoder turns it back into the same RGB.
std::string mp4_two_row_bars();

// The RGB colour a picture should show at the centre of each cell, compared
// with this tolerance per channel (8-bit rounding in YUV and back, plus the
// chroma filtering of a GPU conversion).
constexpr int kBarTolerance = 12;

}  // namespace zent::test
