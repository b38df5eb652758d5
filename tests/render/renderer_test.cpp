// The texture renderer's polling, stall watchdog and handle rules, with a scripted
// output and a fake graphics backend.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "render/render_fakes.h"
#include "render/test_frames.h"
#include "render/texture_renderer.h"
#include "support/log_recorder.h"
#include "support/logger.h"

namespace zent {
namespace {

using test::logRecorder;
constexpr int64_t kMisses = TextureRenderer::kStallMisses;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

std::shared_ptr<PixelBuffer> frameOfSize(int32_t width, int32_t height) {
  test::FrameSpec recipe;
  recipe.width = width;
  recipe.height = height;
  recipe.columns = 1;
  recipe.cells = {{10, 20, 30}};
  return std::make_shared<test::TestFrame>(test::makeFrame(recipe));
}

class TextureRendererTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Logger::setCallback(logRecorderCallback);
    logRecorder().clear();
    ASSERT_EQ(renderer.metalInit(), 0);
  }
  uintptr_t poll(double seconds, int times = 1) {
    uintptr_t handle = 0;
    for (int i = 0; i < times; ++i) handle = renderer.getTexture(seconds, item, output, engine);
    return handle;
  }
  uintptr_t pollWithFrame(double seconds, std::shared_ptr<PixelBuffer> frame) {
    std::static_pointer_cast<test::ScriptedVideoOutput>(output)->frames.push_back(std::move(frame));
    return poll(seconds);
  }

  std::shared_ptr<test::FakeBackendLog> backend = std::make_shared<test::FakeBackendLog>();
  TextureRenderer renderer{
      [log = backend] { return std::make_unique<test::FakeTextureBackend>(log); }};
  test::RecordingPlayerItem item;
  test::VideoOutputEngine engine;
  std::shared_ptr<test::ScriptedVideoOutput> first = std::make_shared<test::ScriptedVideoOutput>();
  std::shared_ptr<VideoOutput> output = first;
};

TEST_F(TextureRendererTest, NewFramesGiveNewHandlesAndMissesKeepTheLastOne) {
  EXPECT_EQ(renderer.videoSize, (VideoSizeInfo{0, 0}));
  EXPECT_EQ(renderer.curTime(), 0.0);
  const uintptr_t handle = pollWithFrame(0.5, frameOfSize(1920, 1080));
  EXPECT_NE(handle, 0u);
  EXPECT_EQ(renderer.videoSize, (VideoSizeInfo{1080, 1920}));
  EXPECT_EQ(renderer.curTime(), 0.5);
  EXPECT_EQ(first->askedTimes, std::vector<double>{0.5});
  EXPECT_EQ(poll(0.51, 2), handle);
  EXPECT_EQ(backend->uploads, 1);
  EXPECT_EQ(renderer.failedFrame(), 2);
  const uintptr_t next = pollWithFrame(0.53, frameOfSize(32, 16));
  EXPECT_NE(next, handle);
  EXPECT_EQ(renderer.failedFrame(), 0);
  EXPECT_EQ(renderer.videoSize, (VideoSizeInfo{16, 32}));

  EXPECT_EQ(pollWithFrame(1.1, nullptr), 0u);  // new, but the copy fails
  EXPECT_EQ(poll(1.2), 0u);
  EXPECT_EQ(renderer.videoSize, (VideoSizeInfo{16, 32}));
  const uintptr_t last = pollWithFrame(1.3, frameOfSize(64, 32));
  backend->contextReady = false;  // no current context: null, the handle is kept
  EXPECT_EQ(poll(1.4), 0u);
  backend->contextReady = true;
  EXPECT_EQ(poll(1.5), last);
  renderer.cleanVideoTexture();
  EXPECT_EQ(poll(1.6), 0u);
}

// The output is replaced at exactly kStallMisses misses in a row, once playback is at
// two whole seconds (truncated toward zero), and the count starts again.
TEST_F(TextureRendererTest, StalledOutputIsReplacedAtExactlyTheStallMissCount) {
  const uintptr_t handle = pollWithFrame(5.0, frameOfSize(64, 32));
  poll(5.0, kMisses - 1);
  EXPECT_TRUE(engine.made.empty());
  EXPECT_EQ(poll(5.0), handle);
  ASSERT_EQ(engine.made.size(), 1u);
  EXPECT_EQ(output, engine.made[0]);
  EXPECT_EQ(item.removed, std::vector<std::shared_ptr<VideoOutput>>{first});
  EXPECT_EQ(item.added, std::vector<std::shared_ptr<VideoOutput>>{engine.made[0]});
  EXPECT_EQ(renderer.failedFrame(), 0);
  poll(5.0, kMisses - 1);
  EXPECT_EQ(engine.made.size(), 1u);
  pollWithFrame(5.0, frameOfSize(64, 32));  // a frame resets the count
  poll(5.0, kMisses - 1);
  EXPECT_EQ(engine.made.size(), 1u);
  poll(5.0);
  EXPECT_EQ(engine.made.size(), 2u);

  poll(1.999999, kMisses + 50);
  poll(-2.5, 10);
  EXPECT_EQ(engine.made.size(), 2u);
  EXPECT_EQ(renderer.failedFrame(), kMisses + 60);
  poll(2.0000001);
  EXPECT_EQ(engine.made.size(), 3u);

  engine.failOutputs = true;  // the old output stays, the count starts again
  poll(5.0, kMisses);
  EXPECT_EQ(output, engine.made[2]);
  EXPECT_EQ(renderer.failedFrame(), 0);
  EXPECT_EQ(logRecorder().count("could not make a new one", 3), 1u);
}

#ifdef ZENT_ABORT_ON_INVARIANT
TEST_F(TextureRendererTest, NonFiniteTimeAtTheWatchdogIsDetected) {
  pollWithFrame(3.0, frameOfSize(64, 32));
  poll(kNaN, kMisses - 1);
  EXPECT_DEATH(poll(kNaN), "getTexture: the current time is not finite");
}
#else
TEST_F(TextureRendererTest, NonFiniteTimeAtTheWatchdogIsReportedOnceAndReplacesNothing) {
  const uintptr_t handle = pollWithFrame(3.0, frameOfSize(64, 32));
  poll(kNaN, kMisses - 1);
  EXPECT_EQ(logRecorder().size(), 0u);
  EXPECT_EQ(poll(kNaN), 0u);
  EXPECT_EQ(poll(std::numeric_limits<double>::infinity()), 0u);
  EXPECT_TRUE(engine.made.empty());
  EXPECT_EQ(logRecorder().count("getTexture: the current time is not finite", 3), 1u);
  EXPECT_EQ(poll(3.0), handle);  // a finite time again: the stalled output is replaced
  EXPECT_EQ(engine.made.size(), 1u);
}
#endif

TEST_F(TextureRendererTest, ReleaseKeepsTheTextureUntilCleanedOrTheRendererGoes) {
  const uintptr_t handle = pollWithFrame(4.0, frameOfSize(1920, 1080));
  poll(4.0, 5);
  renderer.release();
  EXPECT_EQ(renderer.videoSize, (VideoSizeInfo{0, 0}));
  EXPECT_EQ(renderer.curTime(), 0.0);
  EXPECT_EQ(renderer.failedFrame(), 5);
  EXPECT_EQ(renderer.currentHandle(), handle);
  EXPECT_EQ(backend->destroyed, 0);
  renderer.cleanVideoTexture();
  EXPECT_EQ(backend->destroyed, 1);
  {
    TextureRenderer other(
        [log = backend] { return std::make_unique<test::FakeTextureBackend>(log); });
    ASSERT_EQ(other.metalInit(), 0);
    other.release();
    EXPECT_EQ(backend->destroyed, 1);
  }
  EXPECT_EQ(backend->destroyed, 2);
}

TEST(TextureRendererInit, WithoutAGraphicsApiInitFailsAndNothingIsUploaded) {
  Logger::setCallback(logRecorderCallback);
  logRecorder().clear();
  TextureRenderer renderer([] { return std::unique_ptr<TextureBackend>(); });
  test::RecordingPlayerItem item;
  test::VideoOutputEngine engine;
  auto scripted = std::make_shared<test::ScriptedVideoOutput>();
  scripted->frames.push_back(frameOfSize(64, 32));
  std::shared_ptr<VideoOutput> output = scripted;
  EXPECT_EQ(renderer.getTexture(1.25, item, output, engine), 0u);  // before init: no backend
  EXPECT_FALSE(renderer.videoSize.has_value());
  EXPECT_EQ(renderer.curTime(), 1.25);
  EXPECT_EQ(renderer.metalInit(), 1);
  EXPECT_EQ(logRecorder().count("System does not support OpenGL", 3), 1u);
  EXPECT_EQ(renderer.videoSize, (VideoSizeInfo{0, 0}));
}

}  // namespace
}  // namespace zent
