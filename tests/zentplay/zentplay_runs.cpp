#include "zentplay_runs.h"

#include <cstdlib>

namespace zent::test {

std::vector<std::string> zentplayCommand(const std::vector<std::string>& args) {
  std::vector<std::string> argv = {ZENTPLAY_PATH, "--library", ZENT_LIBRARY_PATH};
  argv.insert(argv.end(), args.begin(), args.end());
  return argv;
}

void expectTwoRowBars(const RgbImage& image, const PictureArea& area, const std::string& what) {
  for (const BarCell& cell : twoRowBarCells()) {
    const int cx = (cell.x0 + cell.x1) / 2;
    const int cy = (cell.y0 + cell.y1) / 2;
    const int dx = (cell.x1 - cell.x0) / 4;
    const int dy = (cell.y1 - cell.y0) / 4;
    const int points[5][2] = {
        {cx, cy}, {cx - dx, cy - dy}, {cx + dx, cy - dy}, {cx - dx, cy + dy}, {cx + dx, cy + dy}};
    for (const auto& point : points) {
      const int x = area.x + point[0] * area.width / kBarsWidth;
      const int y = area.y + point[1] * area.height / kBarsHeight;
      const auto rgb = image.at(x, y);
      const bool near = std::abs(rgb[0] - cell.r) <= kBarTolerance &&
                        std::abs(rgb[1] - cell.g) <= kBarTolerance &&
                        std::abs(rgb[2] - cell.b) <= kBarTolerance;
      EXPECT_TRUE(near) << what << ": the " << cell.name << " cell at pixel " << x << "," << y
                        << " is (" << int{rgb[0]} << ", " << int{rgb[1]} << ", " << int{rgb[2]}
                        << "), expected (" << int{cell.r} << ", " << int{cell.g} << ", "
                        << int{cell.b} << ")";
    }
  }
}

}  // namespace zent::test
