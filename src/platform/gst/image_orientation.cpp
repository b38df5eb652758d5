#include "platform/gst/image_orientation.h"

#include <algorithm>
#include <array>

namespace zent {
namespace {

struct Matrix {
  double a, b, c, d;
};

Matrix rotation(int degrees) {
  switch (degrees) {
    case 90:
      return {0, 1, -1, 0};
    case 180:
      return {-1, 0, 0, -1};
    case 270:
      return {0, -1, 1, 0};
    default:
      return {1, 0, 0, 1};
  }
}

// Row-vector convention: applying first then second is first * second.
Matrix multiply(const Matrix& first, const Matrix& second) {
  return {first.a * second.a + first.b * second.c, first.a * second.b + first.b * second.d,
          first.c * second.a + first.d * second.c, first.c * second.b + first.d * second.d};
}

}  // namespace

AffineTransform transformForImageOrientation(std::string_view tag, Size2D naturalSize) {
  bool flip = false;
  std::string_view rest = tag;
  if (rest.substr(0, 5) == "flip-") {
    flip = true;
    rest.remove_prefix(5);
  }
  if (rest.substr(0, 7) != "rotate-") return {};
  rest.remove_prefix(7);
  int degrees = 0;
  if (rest == "0") {
    degrees = 0;
  } else if (rest == "90") {
    degrees = 90;
  } else if (rest == "180") {
    degrees = 180;
  } else if (rest == "270") {
    degrees = 270;
  } else {
    return {};
  }
  Matrix m = rotation(degrees);
  if (flip) m = multiply(Matrix{-1, 0, 0, 1}, m);

  // Translate so that the turned picture's corners start at (0, 0).
  const double w = naturalSize.width;
  const double h = naturalSize.height;
  std::array<std::array<double, 2>, 4> corners{{{0, 0}, {w, 0}, {0, h}, {w, h}}};
  double minX = 0, minY = 0;
  for (const auto& corner : corners) {
    minX = std::min(minX, corner[0] * m.a + corner[1] * m.c);
    minY = std::min(minY, corner[0] * m.b + corner[1] * m.d);
  }
  AffineTransform transform;
  // Adding 0.0 turns the -0.0 that mirrored products leave into 0.0.
  transform.a = m.a + 0.0;
  transform.b = m.b + 0.0;
  transform.c = m.c + 0.0;
  transform.d = m.d + 0.0;
  transform.tx = minX == 0 ? 0.0 : -minX;
  transform.ty = minY == 0 ? 0.0 : -minY;
  return transform;
}

}  // namespace zent
