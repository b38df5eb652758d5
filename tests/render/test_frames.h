#pragma once

// Synthetic decoded frames (a grid of solid colours, laid out as a decoder would) for the
// render tests and the texture benchmark.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

#include "render/pixel_buffer.h"

namespace zent::test {

struct Rgb {
  int r = 0, g = 0, b = 0;
};

struct FrameRecipe {
  PixelFormat format = PixelFormat::I420;
  int32_t width = 64, height = 32;
  ColorMatrix matrix = ColorMatrix::BT709;
  ColorRange range = ColorRange::Limited;
  std::vector<int32_t> padding;  // bytes after each row, per plane
  int32_t columns = 4;           // the grid's cells split the frame evenly
  std::vector<Rgb> cells;        // row by row, top first
};

// A frame that owns its planes.
struct TestFrame : PixelBuffer {
  struct Plane {
    std::vector<uint8_t> bytes;
    int32_t stride = 0, width = 0, height = 0;
  };
  PixelFormat format() const override { return recipe.format; }
  int32_t width() const override { return recipe.width; }
  int32_t height() const override { return recipe.height; }
  int32_t planeCount() const override { return static_cast<int32_t>(planes_.size()); }
  PlaneView plane(int32_t i) const override {
    const Plane& p = planes_.at(static_cast<std::size_t>(i));
    return PlaneView{p.bytes.data(), p.stride, p.width, p.height};
  }
  ColorMatrix matrix() const override { return recipe.matrix; }
  ColorRange range() const override { return recipe.range; }
  FrameRecipe recipe;
  std::vector<Plane> planes_;
};

inline int gridRows(const FrameRecipe& s) {
  return static_cast<int>(s.cells.size()) / s.columns;
}
inline Rgb colourAt(const FrameRecipe& s, int x, int y) {
  const int column = std::min(s.columns - 1, x * s.columns / s.width);
  const int row = std::min(gridRows(s) - 1, y * gridRows(s) / s.height);
  return s.cells[static_cast<std::size_t>(row * s.columns + column)];
}

// Y', Cb, Cr of a colour, quantised to 8 bits for the recipe's matrix and range.
inline std::array<uint8_t, 3> encodeYuv(const FrameRecipe& s, Rgb c) {
  const double kr = s.matrix == ColorMatrix::BT709 ? 0.2126 : 0.299;
  const double kb = s.matrix == ColorMatrix::BT709 ? 0.0722 : 0.114;
  const double luma = (kr * c.r + (1.0 - kr - kb) * c.g + kb * c.b) / 255.0;
  const bool limited = s.range == ColorRange::Limited;
  const double chroma = limited ? 224.0 : 255.0;
  auto q = [](double v) { return static_cast<uint8_t>(std::clamp(std::lround(v), 0L, 255L)); };
  return {q(limited ? 16.0 + 219.0 * luma : 255.0 * luma),
          q(128.0 + chroma * (c.b / 255.0 - luma) / (2.0 * (1.0 - kb))),
          q(128.0 + chroma * (c.r / 255.0 - luma) / (2.0 * (1.0 - kr)))};
}

inline TestFrame makeFrame(const FrameRecipe& s) {
  TestFrame f;
  f.recipe = s;
  const bool rgb = s.format == PixelFormat::BGRA || s.format == PixelFormat::RGBA;
  const int32_t cw = (s.width + 1) / 2, ch = (s.height + 1) / 2;
  // Planes of (width, height, bytes per sample): luma or RGB, then chroma.
  std::vector<std::array<int32_t, 3>> planes{{s.width, s.height, rgb ? 4 : 1}};
  if (s.format == PixelFormat::NV12) planes.push_back({cw, ch, 2});
  if (s.format == PixelFormat::I420) planes.insert(planes.end(), 2, {cw, ch, 1});
  for (std::size_t p = 0; p < planes.size(); ++p) {
    const auto [width, height, bytes] = planes[p];
    const int32_t stride = width * bytes + (p < s.padding.size() ? s.padding[p] : 0);
    // Padding holds a value no colour here produces, so reading it shows.
    TestFrame::Plane plane{std::vector<uint8_t>(static_cast<std::size_t>(stride) * height, 0xEE),
                           stride, width, height};
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        // Chroma of the top-left sample of each 2x2 block (cells start on even coordinates).
        const Rgb c = colourAt(s, p == 0 ? x : 2 * x, p == 0 ? y : 2 * y);
        const std::array<uint8_t, 3> yuv = encodeYuv(s, c);
        const bool bgra = s.format == PixelFormat::BGRA;
        const uint8_t rgba[4] = {static_cast<uint8_t>(bgra ? c.b : c.r), static_cast<uint8_t>(c.g),
                                 static_cast<uint8_t>(bgra ? c.r : c.b), 255};
        const uint8_t* from = rgb ? rgba : yuv.data() + (p == 0 ? 0 : bytes == 2 ? 1 : p);
        std::copy(from, from + bytes,
                  plane.bytes.data() + static_cast<std::size_t>(y) * stride + x * bytes);
      }
    }
    f.planes_.push_back(std::move(plane));
  }
  return f;
}

// Eight colours for a 4 x 2 grid: primaries, secondaries, greys and a skin tone.
inline std::vector<Rgb> eightColours() {
  return {{255, 0, 0}, {0, 255, 0},   {0, 0, 255},   {255, 255, 255},
          {0, 0, 0},   {255, 255, 0}, {0, 255, 255}, {200, 120, 80}};
}

}  // namespace zent::test
