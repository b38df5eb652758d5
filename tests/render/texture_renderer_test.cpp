// The polling, stall-watchdog and handle rules of the texture renderer, with a
// scripted output and a fake graphics backend.

#include "render/texture_renderer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "render/log_capture.h"
#include "render/render_fakes.h"
#include "render/test_frames.h"

namespace zent {
namespace {

using test::FakeBackendLog;
using test::FakeTextureBackend;
using test::LogCapture;
using test::RecordingPlayerItem;
using test::ScriptedVideoOutput;
using test::VideoOutputEngine;

std::shared_ptr<PixelBuffer> frameOfSize(int32_t width, int32_t height) {
  test::FrameSpec recipe;
  recipe.format = PixelFormat::I420;
  recipe.width = width;
  recipe.height = height;
  recipe.columns = 1;
  recipe.cells = {{10, 20, 30}};
  return std::make_shared<test::TestFrame>(test::makeFrame(recipe));
}

class TextureRendererTest : public ::testing::Test {
 protected:
  TextureRendererTest()
      : renderer([log = backendLog] { return std::make_unique<FakeTextureBackend>(log); }) {
    output = firstOutput;
  }

  void SetUp() override { ASSERT_EQ(renderer.metalInit(), 0); }

  uintptr_t poll(double seconds) { return renderer.getTexture(seconds, item, output, engine); }
  uintptr_t pollWithFrame(double seconds, std::shared_ptr<PixelBuffer> frame) {
    scripted()->frames.push_back(std::move(frame));
    return poll(seconds);
  }
  ScriptedVideoOutput* scripted() { return static_cast<ScriptedVideoOutput*>(output.get()); }
  void miss(int times, double seconds) {
    for (int i = 0; i < times; ++i) poll(seconds);
  }

  LogCapture logs;
  std::shared_ptr<FakeBackendLog> backendLog = std::make_shared<FakeBackendLog>();
  TextureRenderer renderer;
  RecordingPlayerItem item;
  VideoOutputEngine engine;
  std::shared_ptr<ScriptedVideoOutput> firstOutput = std::make_shared<ScriptedVideoOutput>();
  std::shared_ptr<VideoOutput> output;
};

TEST_F(TextureRendererTest, InitialisedRendererReportsZeroSizeAndTime) {
  ASSERT_TRUE(renderer.videoSize.has_value());
  EXPECT_EQ(*renderer.videoSize, (VideoSizeInfo{0, 0}));
  EXPECT_EQ(renderer.curTime(), 0.0);
  EXPECT_EQ(renderer.failedFrame(), 0);
}

TEST_F(TextureRendererTest, NewFrameIsUploadedAndSetsTheVideoSize) {
  const uintptr_t handle = pollWithFrame(0.5, frameOfSize(1920, 1080));
  EXPECT_NE(handle, 0u);
  EXPECT_EQ(backendLog->uploads, 1);
  ASSERT_TRUE(renderer.videoSize.has_value());
  EXPECT_EQ(renderer.videoSize->width, 1920);
  EXPECT_EQ(renderer.videoSize->height, 1080);
  EXPECT_EQ(renderer.curTime(), 0.5);
  EXPECT_EQ(firstOutput->askedTimes.back(), 0.5);
}

TEST_F(TextureRendererTest, CallsWithoutANewFrameReturnTheSameHandle) {
  const uintptr_t handle = pollWithFrame(1.0, frameOfSize(64, 32));
  EXPECT_EQ(poll(1.01), handle);
  EXPECT_EQ(poll(1.02), handle);
  EXPECT_EQ(backendLog->uploads, 1);
  EXPECT_EQ(renderer.failedFrame(), 2);

  const uintptr_t next = pollWithFrame(1.03, frameOfSize(32, 16));
  EXPECT_NE(next, handle);
  EXPECT_EQ(renderer.failedFrame(), 0);
  EXPECT_EQ(renderer.videoSize->width, 32);
}

TEST_F(TextureRendererTest, NewFrameThatCannotBeCopiedDropsTheHandle) {
  pollWithFrame(1.0, frameOfSize(64, 32));
  EXPECT_EQ(pollWithFrame(1.1, nullptr), 0u);
  EXPECT_EQ(poll(1.2), 0u);
  EXPECT_EQ(renderer.videoSize->width, 64);  // kept from the last frame converted
}

TEST_F(TextureRendererTest, CleanVideoTextureMakesTheNextMissReturnNull) {
  pollWithFrame(1.0, frameOfSize(64, 32));
  renderer.cleanVideoTexture();
  EXPECT_EQ(poll(1.1), 0u);
  EXPECT_NE(pollWithFrame(1.2, frameOfSize(64, 32)), 0u);
}

TEST_F(TextureRendererTest, HundredMissesReplaceNothingAndTheHundredFirstReplacesTheOutput) {
  miss(100, 5.0);
  EXPECT_EQ(renderer.failedFrame(), 100);
  EXPECT_TRUE(engine.made.empty());
  EXPECT_EQ(output, firstOutput);

  poll(5.0);
  ASSERT_EQ(engine.made.size(), 1u);
  EXPECT_EQ(renderer.failedFrame(), 0);
  EXPECT_EQ(output, engine.made[0]);
  ASSERT_EQ(item.removed.size(), 1u);
  EXPECT_EQ(item.removed[0], firstOutput);
  ASSERT_EQ(item.added.size(), 1u);
  EXPECT_EQ(item.added[0], engine.made[0]);

  // The count starts again: the next replacement needs another 101 misses.
  miss(100, 5.0);
  EXPECT_EQ(engine.made.size(), 1u);
  poll(5.0);
  EXPECT_EQ(engine.made.size(), 2u);
  EXPECT_EQ(output, engine.made[1]);
}

TEST_F(TextureRendererTest, StallBeforeTwoSecondsWaitsForTheFirstMissAtTwoSeconds) {
  miss(101, 1.9);
  EXPECT_TRUE(engine.made.empty());
  miss(49, 1.9);
  EXPECT_EQ(renderer.failedFrame(), 150);
  EXPECT_TRUE(engine.made.empty());

  poll(2.0);
  EXPECT_EQ(engine.made.size(), 1u);
  EXPECT_EQ(renderer.failedFrame(), 0);
}

TEST_F(TextureRendererTest, WholeSecondsTruncateTowardZero) {
  miss(101, 1.999999);
  miss(10, -2.5);
  EXPECT_TRUE(engine.made.empty());
  poll(2.0000001);
  EXPECT_EQ(engine.made.size(), 1u);
}

TEST_F(TextureRendererTest, NewFrameResetsTheMissCount) {
  miss(100, 5.0);
  pollWithFrame(5.0, frameOfSize(64, 32));
  EXPECT_EQ(renderer.failedFrame(), 0);
  miss(100, 5.0);
  EXPECT_TRUE(engine.made.empty());
}

TEST_F(TextureRendererTest, ReplacementKeepsTheHandle) {
  const uintptr_t handle = pollWithFrame(3.0, frameOfSize(64, 32));
  miss(101, 3.0);
  EXPECT_EQ(engine.made.size(), 1u);
  EXPECT_EQ(poll(3.0), handle);
}

#ifdef ZENT_ABORT_ON_INVARIANT
TEST_F(TextureRendererTest, NonFiniteTimeAtTheWatchdogIsDetected) {
  pollWithFrame(3.0, frameOfSize(64, 32));
  miss(100, std::numeric_limits<double>::quiet_NaN());
  EXPECT_DEATH(poll(std::numeric_limits<double>::quiet_NaN()),
               "getTexture: the current time is not finite");
}
#else
TEST_F(TextureRendererTest, NonFiniteTimeAtTheWatchdogIsReportedOnceAndReplacesNothing) {
  const uintptr_t handle = pollWithFrame(3.0, frameOfSize(64, 32));
  miss(100, std::numeric_limits<double>::quiet_NaN());
  EXPECT_EQ(logs.count(LogLevel::ERROR), 0);
  EXPECT_EQ(poll(std::numeric_limits<double>::quiet_NaN()), 0u);
  EXPECT_EQ(poll(std::numeric_limits<double>::infinity()), 0u);
  EXPECT_TRUE(engine.made.empty());
  EXPECT_EQ(logs.count(LogLevel::ERROR, "getTexture: the current time is not finite"), 1);
  // With a finite time again, the stalled output is replaced.
  EXPECT_EQ(poll(3.0), handle);
  EXPECT_EQ(engine.made.size(), 1u);
}
#endif

TEST_F(TextureRendererTest, EngineThatCannotMakeAnOutputKeepsTheOldOneAndLogs) {
  engine.failOutputs = true;
  miss(101, 5.0);
  EXPECT_EQ(output, firstOutput);
  EXPECT_TRUE(item.removed.empty());
  EXPECT_EQ(renderer.failedFrame(), 0);
  EXPECT_EQ(logs.count(LogLevel::ERROR, "could not make a new one"), 1);
}

TEST_F(TextureRendererTest, ReleaseZeroesSizeAndTimeButKeepsTheHandle) {
  const uintptr_t handle = pollWithFrame(4.0, frameOfSize(1920, 1080));
  miss(5, 4.0);
  renderer.release();
  ASSERT_TRUE(renderer.videoSize.has_value());
  EXPECT_EQ(*renderer.videoSize, (VideoSizeInfo{0, 0}));
  EXPECT_EQ(renderer.curTime(), 0.0);
  EXPECT_EQ(renderer.failedFrame(), 5);
  EXPECT_EQ(renderer.currentHandle(), handle);
  EXPECT_EQ(backendLog->destroyed, 0);  // the texture behind the handle stays valid

  renderer.cleanVideoTexture();
  EXPECT_EQ(renderer.currentHandle(), 0u);
  EXPECT_EQ(backendLog->destroyed, 1);
}

TEST_F(TextureRendererTest, RetiredBackendIsFreedWithTheRenderer) {
  pollWithFrame(4.0, frameOfSize(64, 32));
  {
    TextureRenderer other([log = backendLog] { return std::make_unique<FakeTextureBackend>(log); });
    ASSERT_EQ(other.metalInit(), 0);
    other.release();
    EXPECT_EQ(backendLog->destroyed, 0);
  }
  EXPECT_EQ(backendLog->destroyed, 1);
}

TEST_F(TextureRendererTest, NoCurrentContextGivesNullWithoutLosingTheHandle) {
  const uintptr_t handle = pollWithFrame(1.0, frameOfSize(64, 32));
  backendLog->contextReady = false;
  EXPECT_EQ(poll(1.1), 0u);
  backendLog->contextReady = true;
  EXPECT_EQ(poll(1.2), handle);
}

TEST(TextureRendererInit, MissingGraphicsApiFailsInitWithTheSystemMessage) {
  LogCapture logs;
  TextureRenderer renderer([] { return std::unique_ptr<TextureBackend>(); });
  EXPECT_EQ(renderer.metalInit(), 1);
  EXPECT_EQ(logs.count(LogLevel::ERROR, "System does not support OpenGL"), 1);
  EXPECT_TRUE(renderer.videoSize.has_value());
}

TEST(TextureRendererInit, SizeStaysAbsentBeforeInit) {
  auto log = std::make_shared<FakeBackendLog>();
  TextureRenderer renderer([log] { return std::make_unique<FakeTextureBackend>(log); });
  RecordingPlayerItem item;
  VideoOutputEngine engine;
  auto scripted = std::make_shared<ScriptedVideoOutput>();
  scripted->frames.push_back(frameOfSize(64, 32));
  std::shared_ptr<VideoOutput> output = scripted;
  EXPECT_EQ(renderer.getTexture(1.0, item, output, engine), 0u);  // no backend yet
  EXPECT_FALSE(renderer.videoSize.has_value());
  EXPECT_FALSE(renderer.curTime() == std::nullopt);
}

}  // namespace
}  // namespace zent
