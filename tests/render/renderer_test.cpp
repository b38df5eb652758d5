// The texture renderer's polling, stall watchdog and handle rules, on fakes.

#include <gtest/gtest.h>

#include <limits>

#include "render/render_fakes.h"
#include "render/test_frames.h"
#include "render/texture_renderer.h"
#include "support/library_log.h"
#include "support/logger.h"

namespace zent {
namespace {

using test::logRecorder;
using Outputs = std::vector<std::shared_ptr<VideoOutput>>;
constexpr int kMisses = TextureRenderer::kStallMisses;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

class TextureRendererTest : public ::testing::Test {
 protected:
  void SetUp() override {
    test::recordLibraryLog();
    ASSERT_EQ(renderer.metalInit(), 0);
  }
  uintptr_t poll(double seconds, int times = 1) {
    for (int i = 1; i < times; ++i) renderer.getTexture(seconds, item, output, engine);
    return renderer.getTexture(seconds, item, output, engine);
  }
  // Polls with a new frame of that size (0: new, but the copy fails).
  uintptr_t frame(double seconds, int32_t width = 64, int32_t height = 32) {
    const test::FrameRecipe s{
        .width = width, .height = height, .padding = {}, .columns = 1, .cells = {{1, 2, 3}}};
    std::static_pointer_cast<test::ScriptedVideoOutput>(output)->frames.push_back(
        width ? std::make_shared<test::TestFrame>(test::makeFrame(s)) : nullptr);
    return poll(seconds);
  }

  std::shared_ptr<test::FakeBackendLog> backend = std::make_shared<test::FakeBackendLog>();
  TextureRenderer renderer{[b = backend] { return std::make_unique<test::FakeTextureBackend>(b); }};
  test::RecordingPlayerItem item;
  test::VideoOutputEngine engine;
  std::shared_ptr<test::ScriptedVideoOutput> first = std::make_shared<test::ScriptedVideoOutput>();
  std::shared_ptr<VideoOutput> output = first;
};

TEST_F(TextureRendererTest, NewFramesGiveNewHandlesAndMissesKeepTheLastOne) {
  const uintptr_t handle = frame(0.5, 1920, 1080);
  EXPECT_NE(handle, 0u);
  EXPECT_EQ(renderer.videoSize, (VideoSizeInfo{1080, 1920}));
  EXPECT_EQ(renderer.curTime(), 0.5);
  EXPECT_EQ(first->askedTimes, std::vector<double>{0.5});
  EXPECT_EQ(poll(0.51, 2), handle);
  EXPECT_EQ(backend->uploads, 1);
  EXPECT_EQ(renderer.failedFrame(), 2);
  EXPECT_NE(frame(0.53, 32, 16), handle);
  EXPECT_EQ(renderer.failedFrame(), 0);
  EXPECT_EQ(frame(1.1, 0), 0u);
  EXPECT_EQ(poll(1.2), 0u);
  EXPECT_EQ(renderer.videoSize, (VideoSizeInfo{16, 32}));  // of the last frame converted
  const uintptr_t last = frame(1.3);
  backend->contextReady = false;  // no current context: null, the handle is kept
  EXPECT_EQ(poll(1.4), 0u);
  backend->contextReady = true;
  EXPECT_EQ(poll(1.5), last);
  renderer.release();  // end of stream: the texture stays until cleaned
  EXPECT_EQ(renderer.videoSize, (VideoSizeInfo{0, 0}));
  EXPECT_EQ(renderer.curTime(), 0.0);
  EXPECT_EQ(renderer.currentHandle(), last);
  EXPECT_EQ(backend->destroyed, 0);
  renderer.cleanVideoTexture();
  EXPECT_EQ(backend->destroyed, 1);
  EXPECT_EQ(poll(1.6), 0u);
}

// Replaced at exactly kStallMisses misses in a row from two whole seconds of playback on.
TEST_F(TextureRendererTest, StalledOutputIsReplacedAtExactlyTheStallMissCount) {
  const uintptr_t handle = frame(5.0);
  EXPECT_EQ(poll(5.0, kMisses - 1), handle);
  EXPECT_TRUE(engine.made.empty());
  EXPECT_EQ(poll(5.0), handle);
  ASSERT_EQ(engine.made.size(), 1u);
  EXPECT_EQ(output, engine.made[0]);
  EXPECT_EQ(item.removed, Outputs{first});
  EXPECT_EQ(item.added, Outputs{engine.made[0]});
  poll(5.0, kMisses - 1);
  frame(5.0);  // a frame resets the count
  poll(5.0, kMisses - 1);
  EXPECT_EQ(engine.made.size(), 1u);
  poll(5.0);
  EXPECT_EQ(engine.made.size(), 2u);
  poll(1.999999, kMisses + 50);
  poll(-2.5, 10);
  EXPECT_EQ(renderer.failedFrame(), kMisses + 60);
  EXPECT_EQ(engine.made.size(), 2u);
  poll(2.0000001);
  EXPECT_EQ(engine.made.size(), 3u);
  engine.failOutputs = true;  // the old output stays, the count starts again
  poll(5.0, kMisses);
  EXPECT_EQ(output, engine.made[2]);
  EXPECT_EQ(renderer.failedFrame(), 0);
  EXPECT_EQ(logRecorder().count("could not make a new one", 3), 1u);
}

TEST_F(TextureRendererTest, NonFiniteTimeAtTheWatchdogIsReportedOnceAndReplacesNothing) {
  [[maybe_unused]] const uintptr_t handle = frame(3.0);
  poll(kNaN, kMisses - 1);
#ifdef ZENT_ABORT_ON_INVARIANT
  EXPECT_DEATH(poll(kNaN), "getTexture: the current time is not finite");
#else
  EXPECT_EQ(logRecorder().size(), 0u);
  EXPECT_EQ(poll(kNaN), 0u);
  EXPECT_EQ(poll(std::numeric_limits<double>::infinity()), 0u);
  EXPECT_TRUE(engine.made.empty());
  EXPECT_EQ(logRecorder().count("getTexture: the current time is not finite", 3), 1u);
  EXPECT_EQ(poll(3.0), handle);  // a finite time again: the stalled output is replaced
  EXPECT_EQ(engine.made.size(), 1u);
#endif
}

TEST_F(TextureRendererTest, WithoutAGraphicsApiInitFailsAndNothingIsUploaded) {
  TextureRenderer bare([] { return std::unique_ptr<TextureBackend>(); });
  first->frames.push_back(nullptr);
  EXPECT_EQ(bare.getTexture(1.25, item, output, engine), 0u);  // before init
  EXPECT_FALSE(bare.videoSize.has_value());
  EXPECT_EQ(bare.curTime(), 1.25);
  EXPECT_EQ(bare.metalInit(), 1);
  EXPECT_EQ(logRecorder().count("System does not support OpenGL", 3), 1u);
  EXPECT_EQ(bare.videoSize, (VideoSizeInfo{0, 0}));
}

}  // namespace
}  // namespace zent
