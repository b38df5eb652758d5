// zentplay in a window on a virtual X server: the window opens, shows the
// video, and a screenshot of the whole screen has the clip's colours where
// zentplay says the picture is.
#include <gtest/gtest.h>

#include <memory>
#include <regex>

#include "support/scoped_temp_dir.h"
#include "support/subprocess.h"
#include "zentplay_runs.h"

namespace zent::test {
namespace {

constexpr int kScreenWidth = 1600;
constexpr int kScreenHeight = 1000;

// An Xvfb server on a display number it picks itself, stopped with the object.
class VirtualScreen {
 public:
  bool start(std::string& error) {
    try {
      server_ = std::make_unique<ChildProcess>(std::vector<std::string>{
          "Xvfb", "-displayfd", "1", "-screen", "0",
          std::to_string(kScreenWidth) + "x" + std::to_string(kScreenHeight) + "x24", "-nolisten",
          "tcp", "-br"});
    } catch (const std::exception& failure) {
      error = failure.what();
      return false;
    }
    const auto number = server_->waitForLine([](const std::string&) { return true; }, seconds(30));
    if (!number) {
      error = "Xvfb did not report a display:\n" + server_->transcript();
      return false;
    }
    display_ = ":" + *number;
    return true;
  }
  const std::string& display() const { return display_; }

 private:
  std::unique_ptr<ChildProcess> server_;
  std::string display_;
};

struct ShownPicture {
  int windowX, windowY, pictureWidth, pictureHeight, pictureX, pictureY;
};

// "window: showing 1280x720 video in a 1280x720 window at 160,140, picture 1280x720 at 0,0"
std::optional<ShownPicture> parseShowing(const std::string& line) {
  static const std::regex showing(
      R"(window: showing \d+x\d+ video in a \d+x\d+ window at (-?\d+),(-?\d+), picture (\d+)x(\d+) at (\d+),(\d+))");
  std::smatch m;
  if (!std::regex_search(line, m, showing)) return std::nullopt;
  return ShownPicture{std::stoi(m[1]), std::stoi(m[2]), std::stoi(m[3]),
                      std::stoi(m[4]), std::stoi(m[5]), std::stoi(m[6])};
}

TEST(ZentplayWindow, TheWindowShowsTheVideoOnTheScreen) {
  const std::string clip = mp4_two_row_bars();
  VirtualScreen screen;
  std::string error;
  if (!screen.start(error)) {
    if (error.find("cannot start Xvfb") != std::string::npos) GTEST_SKIP() << error;
    FAIL() << error;
  }
  ChildProcess run(zentplayCommand({clip}), {{"DISPLAY", screen.display()}});
  const auto showing = run.waitForLineWith("window: showing", seconds(90));
  ASSERT_TRUE(showing) << run.transcript();
  EXPECT_TRUE(run.printed("zentplay: window, ")) << run.transcript();
  const auto shown = parseShowing(*showing);
  ASSERT_TRUE(shown) << *showing;
  // The window is sized to the video, which fits this screen unscaled.
  EXPECT_EQ(shown->pictureWidth, kBarsWidth) << *showing;
  EXPECT_EQ(shown->pictureHeight, kBarsHeight) << *showing;

  ScopedTempDir dir;
  const std::string shot = dir.file("screen.xwd");
  const ProcessResult xwd = runProcess(
      {"xwd", "-root", "-silent", "-display", screen.display(), "-out", shot}, seconds(30));
  ASSERT_TRUE(xwd.ok()) << xwd.describe();
  const RgbImage image = readXwd(shot);
  ASSERT_EQ(image.width, kScreenWidth);
  ASSERT_EQ(image.height, kScreenHeight);
  expectTwoRowBars(image,
                   PictureArea{shown->windowX + shown->pictureX, shown->windowY + shown->pictureY,
                               shown->pictureWidth, shown->pictureHeight},
                   "screenshot");
  // Outside the window the (black) root shows: the colours are the window's.
  const auto outside = image.at(shown->windowX > 10 ? 5 : kScreenWidth - 5, 5);
  EXPECT_LE(outside[0] + outside[1] + outside[2], 3 * kBarTolerance);

  run.send("q");
  EXPECT_EQ(run.waitForExit(seconds(30)), 0) << run.transcript();
}

}  // namespace
}  // namespace zent::test
