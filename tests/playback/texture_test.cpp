// Frames reach the host as GL textures, read back from a real (software) context.
#include <cstdint>
#include <cstdlib>

#include "playback/playback_fixture.h"
#include "render/egl_context.h"

namespace zent::test {
namespace {

class TextureTest : public PlaybackTest {
 protected:
  void SetUp() override {
    PlaybackTest::SetUp();
    gl_ = EglContext::create(GlApi::DesktopCore33);
    if (!gl_) GTEST_SKIP() << EglContext::lastError();
  }
  void TearDown() override {
    PlaybackTest::TearDown();  // shutdown first: the library may free GL objects
    gl_.reset();
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

TEST_F(TextureTest, ColourBarsComeBackWithTheirColours) {
  GLuint texture = playUntilTexture(mp4_pattern());
  ASSERT_NE(texture, 0u) << describe();
  GLint width = 0, height = 0;
  textureSize(texture, width, height);
  EXPECT_EQ(width, 1280);
  EXPECT_EQ(height, 720);
  for (const PatternBand& band : patternBands()) {
    auto rgba = pixel(texture, (band.x0 + band.x1) / 2, 360);
    EXPECT_NEAR(rgba[0], band.r, 6) << band.name;
    EXPECT_NEAR(rgba[1], band.g, 6) << band.name;
    EXPECT_NEAR(rgba[2], band.b, 6) << band.name;
    EXPECT_EQ(rgba[3], 255) << band.name;
  }
}

TEST_F(TextureTest, AFullHdStreamGivesAFullHdTextureAndSize) {
  GLuint texture = playUntilTexture(mp4_1080p());
  ASSERT_NE(texture, 0u) << describe();
  GLint width = 0, height = 0;
  textureSize(texture, width, height);
  EXPECT_EQ(width, 1920);
  EXPECT_EQ(height, 1080);
  EXPECT_EQ(api().NativeGetVideoWidth(0), 1920);
  EXPECT_EQ(api().NativeGetVideoHeight(0), 1080);
}

TEST_F(TextureTest, CleaningDropsTheHandleAndAPausedPlayerHasNone) {
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

TEST_F(TextureTest, NoContextCurrentGivesNullAndOneErrorLine) {
  ASSERT_NE(playUntilTexture(mp4_720p()), 0u) << describe();
  EglContext::releaseCurrent();
  size_t mark = logRecorder().size();
  for (int i = 0; i < 20; ++i) EXPECT_EQ(api().NativeGetTexture(0), nullptr);
  EXPECT_EQ(logRecorder().count("", 3, mark), 1u) << logRecorder().describe(20);
  gl_->makeCurrent();
}

}  // namespace
}  // namespace zent::test
