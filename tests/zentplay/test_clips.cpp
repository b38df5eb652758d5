#include "test_clips.h"

#include <cstdio>
#include <string>

#include "support/media_cache.h"

namespace zent::test {

const std::array<BarCell, 8>& twoRowBarCells() {
  static const std::array<BarCell, 8> cells = {{
      {"white", 0, 320, 0, 360, 255, 255, 255},
      {"yellow", 320, 640, 0, 360, 255, 255, 0},
      {"cyan", 640, 960, 0, 360, 0, 255, 255},
      {"green", 960, 1280, 0, 360, 0, 255, 0},
      {"magenta", 0, 320, 360, 720, 255, 0, 255},
      {"red", 320, 640, 360, 720, 255, 0, 0},
      {"blue", 640, 960, 360, 720, 0, 0, 255},
      {"black", 960, 1280, 360, 720, 0, 0, 0},
  }};
  return cells;
}

std::string mp4_two_row_bars() {
  return cachedMedia("zentplay_two_row_bars-v1.mp4", [](const std::string& out) {
    // Eight flat colour sources, four per row, stacked into one picture.
    std::string graph;
    int input = 0;
    for (const BarCell& cell : twoRowBarCells()) {
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

}  // namespace zent::test
