// zentplay off-screen, end to end: the real library plays real media, and the
// tests read what zentplay prints and the PNG snapshots it writes.
#include <gtest/gtest.h>
#include <png.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <regex>

#include "support/files.h"
#include "support/http_server.h"
#include "support/media_cache.h"
#include "support/media_fixtures.h"
#include "support/subprocess.h"

namespace zent::test {
namespace {

namespace fs = std::filesystem;
using std::chrono::seconds;

constexpr int kBarsWidth = 1280, kBarsHeight = 720;
constexpr int kBarTolerance = 12;  // per channel: 8-bit YUV round trip, chroma filtering

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

// zentplay and the library of this tree, with no display to find.
std::vector<std::string> zentplayCommand(const std::vector<std::string>& args) {
  std::vector<std::string> argv = {
      "env",         "-u",        "DISPLAY",        "-u", "WAYLAND_DISPLAY",
      ZENTPLAY_PATH, "--library", ZENT_LIBRARY_PATH};
  argv.insert(argv.end(), args.begin(), args.end());
  return argv;
}

struct RgbImage {  // 8-bit RGB, top row first
  int width = 0, height = 0;
  std::vector<uint8_t> rgb;
  std::array<int, 3> at(int x, int y) const {
    const size_t i = (static_cast<size_t>(y) * width + x) * 3;
    return {rgb.at(i), rgb.at(i + 1), rgb.at(i + 2)};
  }
};

RgbImage readPng(const std::string& path) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  RgbImage result;
  if (png_image_begin_read_from_file(&image, path.c_str())) {
    image.format = PNG_FORMAT_RGB;
    result = {static_cast<int>(image.width), static_cast<int>(image.height), {}};
    result.rgb.resize(PNG_IMAGE_SIZE(image));
    if (png_image_finish_read(&image, nullptr, result.rgb.data(), 0, nullptr)) return result;
  }
  ADD_FAILURE() << "cannot read PNG " << path << ": " << image.message;
  png_image_free(&image);
  return {};
}

// 4 s 1280x720 H.264 + AAC, the cells above in two rows, BT.709 limited range: unlike
// vertical bars it shows a picture upside down or mirrored.
std::string mp4_two_row_bars() {
  return cachedMedia("zentplay_two_row_bars-v1.mp4", [](const std::string& out) {
    std::string graph;
    char source[128];
    for (int i = 0; i < 8; ++i) {
      std::snprintf(source, sizeof source, "color=c=0x%02x%02x%02x:s=320x360:r=30:d=4[c%d];",
                    kCells[i].r, kCells[i].g, kCells[i].b, i);
      graph += source;
    }
    graph +=
        "[c0][c1][c2][c3]hstack=inputs=4[top];[c4][c5][c6][c7]hstack=inputs=4[bottom];"
        "[top][bottom]vstack=inputs=2,scale=out_color_matrix=bt709:out_range=tv,"
        "format=yuv420p[v]";
    // clang-format off
    runFfmpeg({"-filter_complex", graph, "-f", "lavfi", "-i",
               "sine=frequency=440:sample_rate=48000:duration=4", "-map", "[v]", "-map", "0:a",
               "-c:v", "libx264", "-preset", "ultrafast", "-bf", "0", "-g", "30",
               "-colorspace", "bt709", "-color_primaries", "bt709", "-color_trc", "bt709",
               "-color_range", "tv", "-c:a", "aac", "-b:a", "64k", "-t", "4",
               "-movflags", "+faststart", out});
    // clang-format on
  });
}

// Each cell's centre and four points around it have the cell's colour.
void expectTwoRowBars(const RgbImage& image, const std::string& what) {
  for (const BarCell& cell : kCells) {
    for (auto [dx, dy] : {std::pair{0, 0}, {-80, -90}, {80, -90}, {-80, 90}, {80, 90}}) {
      const int x = (cell.x + 160 + dx) * image.width / kBarsWidth;
      const int y = (cell.y + 180 + dy) * image.height / kBarsHeight;
      const auto rgb = image.at(x, y);
      EXPECT_TRUE(std::abs(rgb[0] - cell.r) <= kBarTolerance &&
                  std::abs(rgb[1] - cell.g) <= kBarTolerance &&
                  std::abs(rgb[2] - cell.b) <= kBarTolerance)
          << what << ": " << cell.name << " at " << x << "," << y << " is " << rgb[0] << ","
          << rgb[1] << "," << rgb[2];
    }
  }
}

TEST(ZentplayHeadless, SnapshotsShowTheClipsColoursTheRightWayUp) {
  const std::string clip = mp4_two_row_bars();
  ScopedTempDir out;
  ChildProcess run(zentplayCommand(
      {"--headless", "--frames", "40", "--snapshot-every", "20", "--out", out.path(), clip}));
  ASSERT_EQ(run.waitForExit(seconds(90)), 0) << run.transcript();
  EXPECT_TRUE(run.printed("zentplay: 40 frames rendered")) << run.transcript();
  for (const char* name : {"frame_000020.png", "frame_000040.png"}) {
    SCOPED_TRACE(name);
    ASSERT_TRUE(fs::exists(out.file(name))) << run.transcript();
    const RgbImage image = readPng(out.file(name));
    ASSERT_EQ(std::make_pair(image.width, image.height), std::make_pair(kBarsWidth, kBarsHeight));
    expectTwoRowBars(image, name);
  }
  EXPECT_FALSE(fs::exists(out.file("frame_000060.png")));
}

TEST(ZentplayHeadless, TheViewersCommandsDriveThePlayer) {
  const std::string stream = hls_multivariant();
  HttpServer server;
  ScopedTempDir out;
  ChildProcess run(zentplayCommand({"--headless", "--snapshot-every", "5", "--out", out.path(),
                                    server.url(stream + "/master.m3u8")}));
  ASSERT_TRUE(run.waitForLineWith("player 0: play", seconds(60))) << run.transcript();

  run.send("audio");
  EXPECT_TRUE(run.waitForLineWith("zentplay: audio 1: Commentary", seconds(10)))
      << run.transcript();

  run.send("captions");
  ASSERT_TRUE(run.waitForLineWith("zentplay: captions on", seconds(10))) << run.transcript();
  EXPECT_TRUE(run.waitForLine(
      [](const std::string& line) {
        return line == "player 0: caption: Second cue" || line == "player 0: caption: First cue";
      },
      seconds(15)))
      << run.transcript();

  // The first variant is the 426x240 one: the pictures drawn shrink to it.
  run.send("variant");
  const auto small = run.waitForLine(
      [](const std::string& line) {
        return line.rfind("snapshot: ", 0) == 0 && line.find("(426x240)") != std::string::npos;
      },
      seconds(20));
  ASSERT_TRUE(small) << run.transcript();
  const RgbImage shrunk = readPng(small->substr(10, small->find(" (") - 10));
  EXPECT_EQ(std::make_pair(shrunk.width, shrunk.height), std::make_pair(426, 240));

  run.send("seek+");  // ten seconds on is the end of this 10 s stream
  const auto ahead = run.waitForLineWith("player 0: seek ", seconds(10));
  ASSERT_TRUE(ahead) << run.transcript();
  std::smatch seek;
  ASSERT_TRUE(std::regex_search(*ahead, seek, std::regex(R"(seek -?\d+ -> (\d+) ms)"))) << *ahead;
  EXPECT_GE(std::stoi(seek[1]), 9000) << *ahead;
  EXPECT_TRUE(run.waitForLineWith("player 0: end of content", seconds(30))) << run.transcript();
  EXPECT_EQ(run.waitForExit(seconds(30)), 0) << run.transcript();
}

// The same frame with and without a SubRip cue differs in the caption box at the
// bottom centre (white text on a dark box) and nowhere near the top.
TEST(ZentplayHeadless, TheCaptionIsDrawnOverThePictureInSnapshots) {
  const std::string clip = mp4_two_row_bars();
  ScopedTempDir dir;
  const std::string srt =
      dir.write("subs.srt", "1\n00:00:00,000 --> 00:00:04,000\nCaf\xC3\xA9 \xE2\x99\xAA\n");
  auto snapshot = [&](bool withCaption) {
    ScopedTempDir out;
    ChildProcess run(
        zentplayCommand({"--headless", "--frames", "30", "--snapshot-every", "30", "--out",
                         out.path(), "--subtitles", withCaption ? srt : "", clip}));
    EXPECT_EQ(run.waitForExit(seconds(90)), 0) << run.transcript();
    return readPng(out.file("frame_000030.png"));
  };
  const RgbImage captioned = snapshot(true), plain = snapshot(false);
  ASSERT_EQ(captioned.width, kBarsWidth);
  ASSERT_EQ(plain.width, kBarsWidth);
  auto differs = [&](int x, int y, int by) {
    auto a = captioned.at(x, y), b = plain.at(x, y);
    return std::abs(a[0] - b[0]) > by || std::abs(a[1] - b[1]) > by || std::abs(a[2] - b[2]) > by;
  };
  int changed = 0, white = 0, total = 0;
  for (int y = kBarsHeight - 100; y < kBarsHeight - 36; ++y) {
    for (int x = kBarsWidth / 2 - 60; x < kBarsWidth / 2 + 60; ++x, ++total) {
      changed += differs(x, y, 40);
      auto p = captioned.at(x, y);
      white += p[0] > 200 && p[1] > 200 && p[2] > 200;
    }
  }
  EXPECT_GT(changed, total / 2) << "no caption box at the bottom centre";
  EXPECT_GT(white, 20) << "no caption text in the box";
  for (int y = 0; y < kBarsHeight / 2; y += 7) {
    for (int x = 0; x < kBarsWidth; x += 7)
      ASSERT_FALSE(differs(x, y, kBarTolerance)) << x << "," << y;
  }
}

}  // namespace
}  // namespace zent::test
