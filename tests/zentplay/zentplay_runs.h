#pragma once

// Running the zentplay binary from the tests, and checking what it shows.

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "child_process.h"
#include "images.h"
#include "test_clips.h"

namespace zent::test {

using std::chrono::milliseconds;
using std::chrono::seconds;

// argv for zentplay built in this tree, loading the library built here.
std::vector<std::string> zentplayCommand(const std::vector<std::string>& args);

// Where the two-row bars clip lands in `image`: the picture's rectangle in
// image pixels. The clip is 1280x720; a rectangle of another size scales it.
struct PictureArea {
  int x = 0;
  int y = 0;
  int width = kBarsWidth;
  int height = kBarsHeight;
};

// Compares the centre of each cell (and four points around it) with the
// cell's colour; fails the test with the cell and pixel on any mismatch.
void expectTwoRowBars(const RgbImage& image, const PictureArea& area, const std::string& what);

}  // namespace zent::test
