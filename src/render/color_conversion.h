#pragma once

#include <array>

#include "render/pixel_buffer.h"

namespace zent {

// rgb = matrix * (y, u, v) + offset, where y, u and v are the stored 8-bit samples
// normalised to [0, 1] (as a GPU samples them). Folds the range expansion (limited:
// luma 16..235, chroma 16..240; full: 0..255 around 128) and the matrix together.
struct YuvToRgb {
  std::array<float, 9> columnMajor{};  // for a GLSL mat3
  std::array<float, 3> offset{};

  float at(int row, int column) const {
    return columnMajor[static_cast<std::size_t>(column * 3 + row)];
  }
  bool operator==(const YuvToRgb&) const = default;
};

YuvToRgb yuvToRgbCoefficients(ColorMatrix matrix, ColorRange range);

}  // namespace zent
