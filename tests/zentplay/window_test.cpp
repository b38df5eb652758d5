// zentplay in a window on a virtual X server: the window opens, shows the
// video, and a screenshot of the whole screen has the clip's colours where
// zentplay says the picture is.
#include <gtest/gtest.h>

#include <memory>
#include <regex>

#include "support/scoped_temp_dir.h"
#include "support/subprocess.h"
#include "x_keyboard.h"
#include "zentplay_runs.h"

namespace zent::test {
namespace {

constexpr int kScreenWidth = 1600;
constexpr int kScreenHeight = 1000;

// An Xvfb server on a display number it picks itself, stopped with the object.
class VirtualScreen {
 public:
  ~VirtualScreen() {
    // A server that ends cleanly removes its socket and lock files.
    if (server_) server_->terminate(seconds(10));
  }
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

class ZentplayWindow : public ::testing::Test {
 protected:
  void SetUp() override {
    clip_ = mp4_two_row_bars();
    std::string error;
    if (!screen_.start(error)) {
      if (error.find("cannot start Xvfb") != std::string::npos) GTEST_SKIP() << error;
      FAIL() << error;
    }
  }

  // Starts zentplay on the virtual screen and waits for its first picture.
  std::optional<ShownPicture> play(std::unique_ptr<ChildProcess>& run) {
    run = std::make_unique<ChildProcess>(zentplayCommand({clip_}),
                                         ChildProcess::EnvChanges{{"DISPLAY", screen_.display()}});
    const auto showing = run->waitForLineWith("window: showing", seconds(90));
    if (!showing) return std::nullopt;
    return parseShowing(*showing);
  }

  std::string clip_;
  VirtualScreen screen_;
};

TEST_F(ZentplayWindow, TheWindowShowsTheVideoOnTheScreen) {
  std::unique_ptr<ChildProcess> run;
  const auto shown = play(run);
  ASSERT_TRUE(shown) << run->transcript();
  EXPECT_TRUE(run->printed("zentplay: window, ")) << run->transcript();
  // The window is sized to the video, which fits this screen unscaled.
  EXPECT_EQ(shown->pictureWidth, kBarsWidth) << run->transcript();
  EXPECT_EQ(shown->pictureHeight, kBarsHeight) << run->transcript();

  ScopedTempDir dir;
  const std::string shot = dir.file("screen.xwd");
  const ProcessResult xwd = runProcess(
      {"xwd", "-root", "-silent", "-display", screen_.display(), "-out", shot}, seconds(30));
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

  run->send("q");
  EXPECT_EQ(run->waitForExit(seconds(30)), 0) << run->transcript();
}

TEST_F(ZentplayWindow, TheKeysDriveThePlayer) {
  std::string error;
  auto keyboard = XKeyboard::open(screen_.display(), error);
  if (!keyboard) GTEST_SKIP() << error;
  std::unique_ptr<ChildProcess> run;
  const auto shown = play(run);
  ASSERT_TRUE(shown) << run->transcript();
  // Keyboard focus follows the pointer: put it over the window.
  keyboard->movePointer(shown->windowX + shown->pictureX + shown->pictureWidth / 2,
                        shown->windowY + shown->pictureY + shown->pictureHeight / 2);

  keyboard->tap(XKeyboard::kSpace);
  ASSERT_TRUE(run->waitForLineWith("player 0: pause", seconds(10))) << run->transcript();
  keyboard->tap(XKeyboard::kSpace);
  ASSERT_TRUE(run->waitForLineWith("player 0: play", seconds(10))) << run->transcript();

  // Ten seconds on is past the end of the 4 s clip: the seek stops at its end.
  keyboard->tap(XKeyboard::kRight);
  const auto ahead = run->waitForLineWith("player 0: seek ", seconds(10));
  ASSERT_TRUE(ahead) << run->transcript();
  EXPECT_NE(ahead->find("-> 4000 ms"), std::string::npos) << *ahead;
  keyboard->tap(XKeyboard::kLeft);
  const auto back = run->waitForLineWith("player 0: seek ", seconds(10));
  ASSERT_TRUE(back) << run->transcript();
  EXPECT_NE(back->find("-> 0 ms"), std::string::npos) << *back;

  // A plain file has one audio track, no captions and no variants.
  keyboard->tap(XKeyboard::kLetterA);
  EXPECT_TRUE(run->waitForLineWith("zentplay: audio 0:", seconds(10))) << run->transcript();
  keyboard->tap(XKeyboard::kLetterC);
  EXPECT_TRUE(run->waitForLineWith("zentplay: this content has no captions", seconds(10)))
      << run->transcript();
  keyboard->tap(XKeyboard::kLetterV);
  EXPECT_TRUE(run->waitForLineWith("zentplay: this content has no variants", seconds(10)))
      << run->transcript();

  keyboard->tap(XKeyboard::kLetterQ);
  EXPECT_EQ(run->waitForExit(seconds(30)), 0) << run->transcript();
}

}  // namespace
}  // namespace zent::test
