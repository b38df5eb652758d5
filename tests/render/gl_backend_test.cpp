// The GL path on real GL 3.3 core and GLES 3.0 contexts: frames converted and read back.

#include <epoxy/gl.h>
#include <gtest/gtest.h>

#include <array>
#include <tuple>

#include "render/egl_context.h"
#include "render/gl_deferred_deletion.h"
#include "render/gl_texture_backend.h"
#include "render/test_frames.h"
#include "support/library_log.h"
#include "support/logger.h"

namespace zent {
namespace {

using test::EglContext;
using test::FrameRecipe;
using test::GlApi;
using test::logRecorder;

GLint integer(GLenum name) {
  GLint value = 0;
  glGetIntegerv(name, &value);
  return value;
}

// The centre of every cell against its colour (alpha 1); row 0 is the texture's first row.
void expectGrid(GLuint texture, const FrameRecipe& s, const std::string& label) {
  ASSERT_NE(texture, 0u) << label;
  GLuint fbo = 0;
  glGenFramebuffers(1, &fbo);
  glBindFramebuffer(GL_READ_FRAMEBUFFER, fbo);
  glFramebufferTexture2D(GL_READ_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
  std::vector<uint8_t> rgba(static_cast<size_t>(s.width) * s.height * 4);
  glPixelStorei(GL_PACK_ALIGNMENT, 1);
  glReadPixels(0, 0, s.width, s.height, GL_RGBA, GL_UNSIGNED_BYTE, rgba.data());
  glDeleteFramebuffers(1, &fbo);  // back to the default framebuffer
  const int rows = test::gridRows(s);
  for (int row = 0; row < rows; ++row) {
    for (int column = 0; column < s.columns; ++column) {
      const int x = (2 * column + 1) * s.width / (2 * s.columns);
      const int y = (2 * row + 1) * s.height / (2 * rows);
      const test::Rgb want = test::colourAt(s, x, y);
      const uint8_t* got = &rgba[(static_cast<size_t>(y) * s.width + x) * 4];
      for (int c = 0; c < 4; ++c) {
        EXPECT_NEAR(got[c], (std::array{want.r, want.g, want.b, 255}[c]), 3)
            << label << " cell " << row << "," << column;
      }
    }
  }
}

// Odd row paddings: I420 chroma rows of 39 bytes, NV12 of 69, BGRA not a multiple of four.
FrameRecipe gridFrame(PixelFormat format, ColorMatrix matrix, ColorRange range) {
  const std::vector<int32_t> paddings[] = {{13, 7, 9}, {13, 5}, {6}, {8}};
  return {format, 64, 32, matrix, range, paddings[int(format)], 4, test::eightColours()};
}

class GlTextureBackendTest : public ::testing::TestWithParam<GlApi> {
 protected:
  void SetUp() override {
    gl = EglContext::create(GetParam());
    if (!gl) GTEST_SKIP() << EglContext::lastError();
    backend = makeGlTextureBackend();
    test::recordLibraryLog();
  }
  void TearDown() override {
    if (!gl) return;
    gl->makeCurrent();
    backend.reset();
    EXPECT_EQ(GlDeferredDeletion::pendingCount(), 0u);  // nothing left for a dying context
  }
  GLuint upload(const FrameRecipe& s) {
    const auto handle = static_cast<GLuint>(backend->upload(test::makeFrame(s)));
    EXPECT_EQ(glGetError(), GLenum{GL_NO_ERROR});
    return handle;
  }
  std::unique_ptr<EglContext> gl;
  std::unique_ptr<TextureBackend> backend;
};

// One backend converts them all in turn, following each change of size and format, after a
// bad frame that gave null and one error line however often it came.
TEST_P(GlTextureBackendTest, ConvertsEveryFormatMatrixRangeAndOddSizeAfterABadFrame) {
  test::TestFrame broken =
      test::makeFrame(gridFrame(PixelFormat::I420, ColorMatrix::BT709, ColorRange::Limited));
  broken.planes_[1].stride = 3;
  for (int i = 0; i < 3; ++i) EXPECT_EQ(backend->upload(broken), 0u);
  EXPECT_EQ(logRecorder().count("", 2), 1u) << logRecorder().describe();
  EXPECT_EQ(logRecorder().count("stride of 3", 3), 1u);
  for (PixelFormat format :
       {PixelFormat::I420, PixelFormat::NV12, PixelFormat::BGRA, PixelFormat::RGBA}) {
    for (ColorMatrix matrix : {ColorMatrix::BT601, ColorMatrix::BT709}) {
      for (ColorRange range : {ColorRange::Limited, ColorRange::Full}) {
        FrameRecipe s = gridFrame(format, matrix, range);
        const std::string label =
            std::to_string(int(format)) + std::to_string(int(matrix)) + std::to_string(int(range));
        expectGrid(upload(s), s, label);
        if (format == PixelFormat::BGRA || format == PixelFormat::RGBA) continue;
        std::tie(s.width, s.height) = std::pair(63, 35);
        expectGrid(upload(s), s, label + " odd size");
      }
    }
  }
}

// The host's GL state comes back as it was and does not alter the conversion.
TEST_P(GlTextureBackendTest, HostStateIsRestoredAndDoesNotAlterTheConversion) {
  GLuint texture = 0, fbos[2] = {}, vao = 0, pbo = 0, sampler = 0;
  glGenTextures(1, &texture);
  glGenFramebuffers(2, fbos);
  glGenVertexArrays(1, &vao);
  glGenBuffers(1, &pbo);
  glGenSamplers(1, &sampler);
  const GLuint program = glCreateProgram();
  for (auto [stage, body] :
       {std::pair{GL_VERTEX_SHADER, "void main() { gl_Position = vec4(0); }"},
        std::pair{GL_FRAGMENT_SHADER, "out vec4 c; void main() { c = vec4(1); }"}}) {
    const std::string source =
        (gl->gles() ? "#version 300 es\nprecision highp float;\n" : "#version 330 core\n") +
        std::string(body);
    const char* text = source.c_str();
    const GLuint shader = glCreateShader(stage);
    glShaderSource(shader, 1, &text, nullptr);
    glCompileShader(shader);
    glAttachShader(program, shader);
    glDeleteShader(shader);
  }
  glLinkProgram(program);
  glBindFramebuffer(GL_DRAW_FRAMEBUFFER, fbos[0]);
  glBindFramebuffer(GL_READ_FRAMEBUFFER, fbos[1]);
  glUseProgram(program);
  glBindVertexArray(vao);
  glActiveTexture(GL_TEXTURE1);
  glBindTexture(GL_TEXTURE_2D, texture);
  glBindSampler(0, sampler);  // on the unit the conversion samples
  glBindSampler(1, sampler);
  glBindBuffer(GL_PIXEL_UNPACK_BUFFER, pbo);
  const std::pair<GLenum, GLint> pixelStore[] = {
      {GL_UNPACK_ALIGNMENT, 2}, {GL_UNPACK_ROW_LENGTH, 5}, {GL_UNPACK_SKIP_ROWS, 1}};
  for (auto [name, value] : pixelStore) glPixelStorei(name, value);
  glViewport(1, 2, 3, 4);
  for (GLenum cap : {GL_BLEND, GL_SCISSOR_TEST, GL_CULL_FACE}) glEnable(cap);
  glColorMask(GL_TRUE, GL_FALSE, GL_TRUE, GL_FALSE);
  ASSERT_EQ(glGetError(), GLenum{GL_NO_ERROR});
  const std::pair<GLenum, GLuint> bindings[] = {
      {GL_DRAW_FRAMEBUFFER_BINDING, fbos[0]}, {GL_READ_FRAMEBUFFER_BINDING, fbos[1]},
      {GL_CURRENT_PROGRAM, program},          {GL_VERTEX_ARRAY_BINDING, vao},
      {GL_ACTIVE_TEXTURE, GL_TEXTURE1},       {GL_TEXTURE_BINDING_2D, texture},
      {GL_SAMPLER_BINDING, sampler},          {GL_PIXEL_UNPACK_BUFFER_BINDING, pbo}};
  for (PixelFormat format : {PixelFormat::I420, PixelFormat::RGBA}) {  // converted, and direct
    ASSERT_NE(upload(gridFrame(format, ColorMatrix::BT601, ColorRange::Full)), 0u);
    for (auto [name, value] : bindings) EXPECT_EQ(integer(name), GLint(value)) << std::hex << name;
    for (auto [name, value] : pixelStore) EXPECT_EQ(integer(name), value) << std::hex << name;
    std::array<GLint, 4> viewport{};
    glGetIntegerv(GL_VIEWPORT, viewport.data());
    EXPECT_EQ(viewport, (std::array<GLint, 4>{1, 2, 3, 4}));
    for (GLenum cap : {GL_BLEND, GL_SCISSOR_TEST, GL_CULL_FACE}) EXPECT_TRUE(glIsEnabled(cap));
    std::array<GLboolean, 4> mask{};
    glGetBooleanv(GL_COLOR_WRITEMASK, mask.data());
    EXPECT_EQ(mask, (std::array<GLboolean, 4>{GL_TRUE, GL_FALSE, GL_TRUE, GL_FALSE}));
  }
  glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
  glPixelStorei(GL_UNPACK_SKIP_ROWS, 0);
  const FrameRecipe s = gridFrame(PixelFormat::NV12, ColorMatrix::BT601, ColorRange::Full);
  const GLuint converted = upload(s);
  glBindBuffer(GL_PIXEL_UNPACK_BUFFER, 0);
  expectGrid(converted, s, "under host state");
}

INSTANTIATE_TEST_SUITE_P(Contexts, GlTextureBackendTest,
                         ::testing::Values(GlApi::DesktopCore33, GlApi::Gles30));

}  // namespace
}  // namespace zent
