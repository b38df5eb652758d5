// Frames reach the host as GL textures, read back from a real (software) context.
#include <cstdint>
#include <cstdlib>

#include "playback/playback_fixture.h"
#include "render/egl_context.h"

namespace zent::test {
namespace {

// Each case runs with the frames converted by the shader in the host's context
// ("gpu") and by the pipeline ("cpu", what a software rasteriser gets).
class TextureTest : public PlaybackTest, public ::testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override {
    setenv("ZENT_FRAME_CONVERSION", GetParam(), 1);
    PlaybackTest::SetUp();
    gl_ = EglContext::create(GlApi::DesktopCore33);
    if (!gl_) GTEST_SKIP() << EglContext::lastError();
  }
  void TearDown() override {
    PlaybackTest::TearDown();  // shutdown first: the library may free GL objects
    gl_.reset();
    unsetenv("ZENT_FRAME_CONVERSION");
  }

  // A texture of a frame made after the conversion took its place: on the "cpu"
  // path the pipeline says when its frames come as RGBA.
  GLuint textureAfterConversionSettled(GLuint first) {
    if (std::string(GetParam()) != "cpu") return first;
    EXPECT_TRUE(logRecorder().waitFor("converted to RGBA by the pipeline", seconds(10)))
        << logRecorder().describe(20);
    void* texture = nullptr;
    pollUntil([&] { return (texture = api().NativeGetTexture(0)) != nullptr; }, seconds(10));
    return static_cast<GLuint>(reinterpret_cast<uintptr_t>(texture));
  }

  // Plays a local file on player 0 and polls until a texture comes.
  GLuint playUntilTexture(const std::string& path) {
    EXPECT_EQ(api().NativeAddStream(1), 0);
    EXPECT_EQ(api().NativeOpenLocalContent(0, path.c_str()), 0);
    EXPECT_TRUE(waitForEvent(0, 3, seconds(30))) << describe();
    void* texture = nullptr;
    pollUntil([&] { return (texture = api().NativeGetTexture(0)) != nullptr; }, seconds(10));
    return static_cast<GLuint>(reinterpret_cast<uintptr_t>(texture));
  }

  static void textureSize(GLuint texture, GLint& width, GLint& height) {
    glBindTexture(GL_TEXTURE_2D, texture);
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH, &width);
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_HEIGHT, &height);
    glBindTexture(GL_TEXTURE_2D, 0);
  }

  // The RGBA pixel at (x, y) of the texture.
  static std::array<uint8_t, 4> pixel(GLuint texture, int x, int y) {
    GLuint fbo = 0;
    glGenFramebuffers(1, &fbo);
    glBindFramebuffer(GL_FRAMEBUFFER, fbo);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
    std::array<uint8_t, 4> rgba{};
    glReadPixels(x, y, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, rgba.data());
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glDeleteFramebuffers(1, &fbo);
    return rgba;
  }

  std::unique_ptr<EglContext> gl_;
};

TEST_P(TextureTest, ColourBarsComeBackWithTheirColours) {
  GLuint texture = textureAfterConversionSettled(playUntilTexture(mp4_pattern()));
  ASSERT_NE(texture, 0u) << describe();
  GLint width = 0, height = 0;
  textureSize(texture, width, height);
  EXPECT_EQ(width, 1280);
  EXPECT_EQ(height, 720);
  EXPECT_EQ(api().NativeGetVideoWidth(0), 1280);
  EXPECT_EQ(api().NativeGetVideoHeight(0), 720);
  for (const PatternBand& band : patternBands()) {
    auto rgba = pixel(texture, (band.x0 + band.x1) / 2, 360);
    EXPECT_NEAR(rgba[0], band.r, 6) << band.name;
    EXPECT_NEAR(rgba[1], band.g, 6) << band.name;
    EXPECT_NEAR(rgba[2], band.b, 6) << band.name;
    EXPECT_EQ(rgba[3], 255) << band.name;
  }
}

// The bars' channels all clip at 0 or 255; this blue has strong chroma and no
// channel at a limit, so a chroma scale a few percent off shows.
TEST_P(TextureTest, StrongChromaKeepsItsExactScale) {
  GLuint texture = textureAfterConversionSettled(playUntilTexture(mp4_deep_blue()));
  ASSERT_NE(texture, 0u) << describe();
  for (auto [x, y] : {std::pair{320, 180}, std::pair{960, 540}}) {
    auto rgba = pixel(texture, x, y);
    EXPECT_LE(rgba[0], 2);
    EXPECT_LE(rgba[1], 2);
    EXPECT_NEAR(rgba[2], 239, 2);
  }
}

TEST_P(TextureTest, CleaningDropsTheHandleAndAPausedPlayerHasNone) {
  // A small picture, slowed to a frame every 667 ms, so that a clean and the next
  // call fall between two frames even where converting one takes long (software
  // GL in the sanitizer builds).
  ASSERT_NE(playUntilTexture(mp4_rotated()), 0u) << describe();
  api().NativeSetPlaybackSpeed(0, 0.05f);
  // Without a new frame in between, the cleaned handle is not handed out again.
  bool sawNull = false;
  for (int attempt = 0; attempt < 20 && !sawNull; ++attempt) {
    api().NativeCleanVideoTexture(0);
    sawNull = api().NativeGetTexture(0) == nullptr;
  }
  EXPECT_TRUE(sawNull);
  ASSERT_TRUE(pollUntil([&] { return api().NativeGetTexture(0) != nullptr; }, seconds(5)));
  api().NativePause(0);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(api().NativeGetTexture(0), nullptr);
}

INSTANTIATE_TEST_SUITE_P(Conversions, TextureTest, ::testing::Values("gpu", "cpu"));

}  // namespace
}  // namespace zent::test
