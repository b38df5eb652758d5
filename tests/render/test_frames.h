#pragma once

// Synthetic decoded frames for the render tests and the texture benchmark: a grid
// of solid colours, encoded in memory the way a decoder would lay it out.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "render/pixel_buffer.h"

namespace zent::test {

struct Rgb {
  int r = 0, g = 0, b = 0;
};

// A frame that owns its planes.
class TestFrame : public PixelBuffer {
 public:
  PixelFormat format() const override { return format_; }
  int32_t width() const override { return width_; }
  int32_t height() const override { return height_; }
  int32_t planeCount() const override { return static_cast<int32_t>(planes_.size()); }
  PlaneView plane(int32_t index) const override {
    const Plane& p = planes_.at(static_cast<std::size_t>(index));
    return PlaneView{p.bytes.data(), p.stride, p.width, p.height};
  }
  ColorMatrix matrix() const override { return matrix_; }
  ColorRange range() const override { return range_; }

  struct Plane {
    std::vector<uint8_t> bytes;
    int32_t stride = 0;
    int32_t width = 0;
    int32_t height = 0;
  };

  PixelFormat format_ = PixelFormat::I420;
  int32_t width_ = 0;
  int32_t height_ = 0;
  ColorMatrix matrix_ = ColorMatrix::BT709;
  ColorRange range_ = ColorRange::Limited;
  std::vector<Plane> planes_;
};

struct FrameSpec {
  PixelFormat format = PixelFormat::I420;
  int32_t width = 64;
  int32_t height = 32;
  ColorMatrix matrix = ColorMatrix::BT709;
  ColorRange range = ColorRange::Limited;
  // Bytes of padding after each row, per plane (stride = row bytes + padding).
  std::vector<int32_t> padding;
  // Colours of the grid, row by row (top first); cells split the frame evenly.
  int32_t columns = 4;
  std::vector<Rgb> cells;
};

inline int cellColumn(const FrameSpec& s, int x) {
  return std::min(s.columns - 1, x * s.columns / s.width);
}
inline int gridRows(const FrameSpec& s) {
  return static_cast<int>(s.cells.size()) / s.columns;
}
inline int cellRow(const FrameSpec& s, int y) {
  return std::min(gridRows(s) - 1, y * gridRows(s) / s.height);
}
inline Rgb colourAt(const FrameSpec& s, int x, int y) {
  return s.cells[static_cast<std::size_t>(cellRow(s, y) * s.columns + cellColumn(s, x))];
}

// Y', Cb, Cr of a colour, each quantised to 8 bits for the recipe's matrix and range.
inline void encodeYuv(const FrameSpec& s, Rgb c, uint8_t& y, uint8_t& u, uint8_t& v) {
  const double kr = s.matrix == ColorMatrix::BT709 ? 0.2126 : 0.299;
  const double kb = s.matrix == ColorMatrix::BT709 ? 0.0722 : 0.114;
  const double r = c.r / 255.0, g = c.g / 255.0, b = c.b / 255.0;
  const double luma = kr * r + (1.0 - kr - kb) * g + kb * b;
  const double pb = (b - luma) / (2.0 * (1.0 - kb));
  const double pr = (r - luma) / (2.0 * (1.0 - kr));
  const bool limited = s.range == ColorRange::Limited;
  auto q = [](double value) {
    return static_cast<uint8_t>(std::clamp(std::lround(value), 0L, 255L));
  };
  y = q(limited ? 16.0 + 219.0 * luma : 255.0 * luma);
  u = q(128.0 + (limited ? 224.0 : 255.0) * pb);
  v = q(128.0 + (limited ? 224.0 : 255.0) * pr);
}

inline TestFrame makeFrame(const FrameSpec& s) {
  TestFrame f;
  f.format_ = s.format;
  f.width_ = s.width;
  f.height_ = s.height;
  f.matrix_ = s.matrix;
  f.range_ = s.range;
  const int32_t cw = (s.width + 1) / 2, ch = (s.height + 1) / 2;
  auto addPlane = [&](int32_t width, int32_t height, int32_t bytesPerSample) {
    const std::size_t index = f.planes_.size();
    const int32_t pad = index < s.padding.size() ? s.padding[index] : 0;
    TestFrame::Plane p;
    p.width = width;
    p.height = height;
    p.stride = width * bytesPerSample + pad;
    // Padding holds a value no colour here produces, so reading it shows.
    p.bytes.assign(static_cast<std::size_t>(p.stride) * static_cast<std::size_t>(height), 0xEE);
    f.planes_.push_back(std::move(p));
  };
  auto at = [&](std::size_t plane, int x, int y, int bytesPerSample) -> uint8_t* {
    TestFrame::Plane& p = f.planes_[plane];
    return p.bytes.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(p.stride) +
           static_cast<std::size_t>(x * bytesPerSample);
  };

  if (s.format == PixelFormat::BGRA || s.format == PixelFormat::RGBA) {
    addPlane(s.width, s.height, 4);
    for (int y = 0; y < s.height; ++y) {
      for (int x = 0; x < s.width; ++x) {
        const Rgb c = colourAt(s, x, y);
        uint8_t* px = at(0, x, y, 4);
        const bool bgra = s.format == PixelFormat::BGRA;
        px[0] = static_cast<uint8_t>(bgra ? c.b : c.r);
        px[1] = static_cast<uint8_t>(c.g);
        px[2] = static_cast<uint8_t>(bgra ? c.r : c.b);
        px[3] = 255;
      }
    }
    return f;
  }

  addPlane(s.width, s.height, 1);
  if (s.format == PixelFormat::I420) {
    addPlane(cw, ch, 1);
    addPlane(cw, ch, 1);
  } else {
    addPlane(cw, ch, 2);
  }
  for (int y = 0; y < s.height; ++y) {
    for (int x = 0; x < s.width; ++x) {
      uint8_t yy, u, v;
      encodeYuv(s, colourAt(s, x, y), yy, u, v);
      *at(0, x, y, 1) = yy;
    }
  }
  // Chroma from the top-left luma sample of each 2x2 block (cells start on even
  // coordinates, so every block is one colour).
  for (int y = 0; y < ch; ++y) {
    for (int x = 0; x < cw; ++x) {
      uint8_t yy, u, v;
      encodeYuv(s, colourAt(s, 2 * x, 2 * y), yy, u, v);
      if (s.format == PixelFormat::I420) {
        *at(1, x, y, 1) = u;
        *at(2, x, y, 1) = v;
      } else {
        uint8_t* uv = at(1, x, y, 2);
        uv[0] = u;
        uv[1] = v;
      }
    }
  }
  return f;
}

// Eight colours for a 4 x 2 grid: primaries, secondaries, greys and a skin tone.
inline std::vector<Rgb> eightColours() {
  return {{255, 0, 0}, {0, 255, 0},   {0, 0, 255},   {255, 255, 255},
          {0, 0, 0},   {255, 255, 0}, {0, 255, 255}, {200, 120, 80}};
}

}  // namespace zent::test
