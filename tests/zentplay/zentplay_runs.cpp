#include "zentplay_runs.h"

#include <png.h>

#include <cstdio>
#include <stdexcept>

#include "support/media_cache.h"

namespace zent::test {
namespace {

struct BarCell {
  const char* name;
  int x, y;
  uint8_t r, g, b;
};

constexpr BarCell kCells[] = {
    {"white", 0, 0, 255, 255, 255}, {"yellow", 320, 0, 255, 255, 0},  {"cyan", 640, 0, 0, 255, 255},
    {"green", 960, 0, 0, 255, 0},   {"magenta", 0, 360, 255, 0, 255}, {"red", 320, 360, 255, 0, 0},
    {"blue", 640, 360, 0, 0, 255},  {"black", 960, 360, 0, 0, 0},
};

}  // namespace

std::vector<std::string> zentplayCommand(const std::vector<std::string>& args) {
  std::vector<std::string> argv = {ZENTPLAY_PATH, "--library", ZENT_LIBRARY_PATH};
  argv.insert(argv.end(), args.begin(), args.end());
  return argv;
}

std::array<uint8_t, 3> RgbImage::at(int x, int y) const {
  if (x < 0 || y < 0 || x >= width || y >= height) throw std::out_of_range("pixel outside");
  const size_t i = (static_cast<size_t>(y) * width + x) * 3;
  return {rgb[i], rgb[i + 1], rgb[i + 2]};
}

RgbImage readPng(const std::string& path) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_file(&image, path.c_str())) {
    throw std::runtime_error("cannot read PNG " + path + ": " + image.message);
  }
  image.format = PNG_FORMAT_RGB;
  RgbImage result{static_cast<int>(image.width), static_cast<int>(image.height), {}};
  result.rgb.resize(PNG_IMAGE_SIZE(image));
  if (!png_image_finish_read(&image, nullptr, result.rgb.data(), 0, nullptr)) {
    const std::string why = image.message;
    png_image_free(&image);
    throw std::runtime_error("cannot decode PNG " + path + ": " + why);
  }
  return result;
}

std::string mp4_two_row_bars() {
  return cachedMedia("zentplay_two_row_bars-v1.mp4", [](const std::string& out) {
    std::string graph;
    int input = 0;
    for (const BarCell& cell : kCells) {
      char source[128];
      std::snprintf(source, sizeof source, "color=c=0x%02x%02x%02x:s=320x360:r=30:d=4[c%d];",
                    cell.r, cell.g, cell.b, input++);
      graph += source;
    }
    graph +=
        "[c0][c1][c2][c3]hstack=inputs=4[top];[c4][c5][c6][c7]hstack=inputs=4[bottom];"
        "[top][bottom]vstack=inputs=2,scale=out_color_matrix=bt709:out_range=tv,"
        "format=yuv420p[v]";
    runFfmpeg({"-filter_complex",
               graph,
               "-f",
               "lavfi",
               "-i",
               "sine=frequency=440:sample_rate=48000:duration=4",
               "-map",
               "[v]",
               "-map",
               "0:a",
               "-c:v",
               "libx264",
               "-preset",
               "ultrafast",
               "-bf",
               "0",
               "-g",
               "30",
               "-colorspace",
               "bt709",
               "-color_primaries",
               "bt709",
               "-color_trc",
               "bt709",
               "-color_range",
               "tv",
               "-c:a",
               "aac",
               "-b:a",
               "64k",
               "-t",
               "4",
               "-movflags",
               "+faststart",
               out});
  });
}

void expectTwoRowBars(const RgbImage& image, const std::string& what) {
  for (const BarCell& cell : kCells) {
    for (auto [dx, dy] : {std::pair{0, 0}, {-80, -90}, {80, -90}, {-80, 90}, {80, 90}}) {
      const int x = (cell.x + 160 + dx) * image.width / kBarsWidth;
      const int y = (cell.y + 180 + dy) * image.height / kBarsHeight;
      const auto rgb = image.at(x, y);
      EXPECT_TRUE(std::abs(rgb[0] - cell.r) <= kBarTolerance &&
                  std::abs(rgb[1] - cell.g) <= kBarTolerance &&
                  std::abs(rgb[2] - cell.b) <= kBarTolerance)
          << what << ": " << cell.name << " at " << x << "," << y << " is " << int{rgb[0]} << ","
          << int{rgb[1]} << "," << int{rgb[2]};
    }
  }
}

}  // namespace zent::test
