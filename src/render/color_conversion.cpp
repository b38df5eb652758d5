#include "render/color_conversion.h"

namespace zent {

YuvToRgb yuvToRgbCoefficients(ColorMatrix matrix, ColorRange range) {
  // Luma weights of red and blue; green's is the rest.
  const double kr = matrix == ColorMatrix::BT709 ? 0.2126 : 0.299;
  const double kb = matrix == ColorMatrix::BT709 ? 0.0722 : 0.114;
  const double kg = 1.0 - kr - kb;

  // Y' = ys * y + yo, and Pb, Pr = cs * (u or v) + co, from the normalised samples.
  const bool limited = range == ColorRange::Limited;
  const double ys = limited ? 255.0 / 219.0 : 1.0;
  const double yo = limited ? -16.0 / 219.0 : 0.0;
  const double cs = limited ? 255.0 / 224.0 : 1.0;
  const double co = limited ? -128.0 / 224.0 : -128.0 / 255.0;

  // R = Y' + 2(1-kr) Pr;  B = Y' + 2(1-kb) Pb;  G = Y' - (2 kb (1-kb) Pb + 2 kr (1-kr) Pr) / kg.
  const double rows[3][3] = {
      {1.0, 0.0, 2.0 * (1.0 - kr)},
      {1.0, -2.0 * kb * (1.0 - kb) / kg, -2.0 * kr * (1.0 - kr) / kg},
      {1.0, 2.0 * (1.0 - kb), 0.0},
  };
  YuvToRgb out;
  for (int r = 0; r < 3; ++r) {
    const double scaled[3] = {rows[r][0] * ys, rows[r][1] * cs, rows[r][2] * cs};
    for (int c = 0; c < 3; ++c)
      out.columnMajor[static_cast<std::size_t>(c * 3 + r)] = static_cast<float>(scaled[c]);
    out.offset[static_cast<std::size_t>(r)] =
        static_cast<float>(rows[r][0] * yo + rows[r][1] * co + rows[r][2] * co);
  }
  return out;
}

}  // namespace zent
