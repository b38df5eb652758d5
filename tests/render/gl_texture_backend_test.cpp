// The GL path on a real context (Mesa llvmpipe through surfaceless EGL), in both
// a GL 3.3 core and a GLES 3.0 context: frames of every format are converted on
// the GPU and read back.

#include "render/gl_texture_backend.h"

#include <epoxy/gl.h>
#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "render/egl_context.h"
#include "render/gl_context_probe.h"
#include "render/gl_deferred_deletion.h"
#include "render/log_capture.h"
#include "render/render_fakes.h"
#include "render/test_frames.h"
#include "render/texture_renderer.h"

namespace zent {
namespace {

using test::EglContext;
using test::FrameSpec;
using test::GlApi;
using test::LogCapture;
using test::Rgb;

constexpr int kTolerance = 3;

struct Readback {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> rgba;
  Rgb at(int x, int y) const {
    const uint8_t* p = rgba.data() + (static_cast<std::size_t>(y) * width + x) * 4;
    return {p[0], p[1], p[2]};
  }
  int alphaAt(int x, int y) const {
    return rgba[(static_cast<std::size_t>(y) * width + x) * 4 + 3];
  }
};

// Reads a texture through a framebuffer of our own; row 0 is the texture's first row.
Readback readTexture(GLuint texture, int width, int height) {
  GLint previous = 0;
  glGetIntegerv(GL_READ_FRAMEBUFFER_BINDING, &previous);
  GLuint fbo = 0;
  glGenFramebuffers(1, &fbo);
  glBindFramebuffer(GL_READ_FRAMEBUFFER, fbo);
  glFramebufferTexture2D(GL_READ_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
  EXPECT_EQ(glCheckFramebufferStatus(GL_READ_FRAMEBUFFER), GLenum{GL_FRAMEBUFFER_COMPLETE});
  Readback r;
  r.width = width;
  r.height = height;
  r.rgba.assign(static_cast<std::size_t>(width) * height * 4, 0);
  glPixelStorei(GL_PACK_ALIGNMENT, 1);
  glReadPixels(0, 0, width, height, GL_RGBA, GL_UNSIGNED_BYTE, r.rgba.data());
  glBindFramebuffer(GL_READ_FRAMEBUFFER, static_cast<GLuint>(previous));
  glDeleteFramebuffers(1, &fbo);
  return r;
}

// Checks the centre of every cell of the grid against its colour.
void expectGrid(const Readback& r, const FrameSpec& recipe, const std::string& label) {
  const int rows = test::gridRows(recipe);
  for (int row = 0; row < rows; ++row) {
    for (int column = 0; column < recipe.columns; ++column) {
      const int x = (2 * column + 1) * recipe.width / (2 * recipe.columns);
      const int y = (2 * row + 1) * recipe.height / (2 * rows);
      const Rgb want = test::colourAt(recipe, x, y);
      const Rgb got = r.at(x, y);
      EXPECT_NEAR(got.r, want.r, kTolerance) << label << " cell " << row << "," << column;
      EXPECT_NEAR(got.g, want.g, kTolerance) << label << " cell " << row << "," << column;
      EXPECT_NEAR(got.b, want.b, kTolerance) << label << " cell " << row << "," << column;
      EXPECT_EQ(r.alphaAt(x, y), 255) << label;
    }
  }
}

std::string describe(const FrameSpec& s) {
  return std::string(s.format == PixelFormat::I420   ? "I420"
                     : s.format == PixelFormat::NV12 ? "NV12"
                     : s.format == PixelFormat::BGRA ? "BGRA"
                                                     : "RGBA") +
         (s.matrix == ColorMatrix::BT601 ? " BT.601" : " BT.709") +
         (s.range == ColorRange::Limited ? " limited " : " full ") + std::to_string(s.width) + "x" +
         std::to_string(s.height);
}

FrameSpec gridFrame(PixelFormat format, ColorMatrix matrix, ColorRange range) {
  FrameSpec recipe;
  recipe.format = format;
  recipe.width = 64;
  recipe.height = 32;
  recipe.matrix = matrix;
  recipe.range = range;
  recipe.columns = 4;
  recipe.cells = test::eightColours();
  // Odd paddings: luma rows of 77 bytes, chroma rows of 39 (I420) or 69 (NV12, not
  // a whole number of two-byte texels), BGRA rows not a multiple of four bytes.
  switch (format) {
    case PixelFormat::I420:
      recipe.padding = {13, 7, 9};
      break;
    case PixelFormat::NV12:
      recipe.padding = {13, 5};
      break;
    case PixelFormat::BGRA:
      recipe.padding = {6};
      break;
    case PixelFormat::RGBA:
      recipe.padding = {8};
      break;
  }
  return recipe;
}

class GlTextureBackendTest : public ::testing::TestWithParam<GlApi> {
 protected:
  void SetUp() override {
    gl = EglContext::create(GetParam());
    if (!gl) GTEST_SKIP() << EglContext::lastError();
    backend = makeGlTextureBackend();
    ASSERT_NE(backend, nullptr);
  }
  void TearDown() override {
    if (!gl) return;
    gl->makeCurrent();
    backend.reset();
    // Nothing may stay queued for a context that is about to go.
    other.reset();
    EXPECT_EQ(GlDeferredDeletion::pendingCount(), 0u);
  }

  GLuint upload(const FrameSpec& recipe) {
    const test::TestFrame frame = test::makeFrame(recipe);
    const auto handle = static_cast<GLuint>(backend->upload(frame));
    EXPECT_EQ(glGetError(), GLenum{GL_NO_ERROR}) << describe(recipe);
    return handle;
  }

  std::unique_ptr<EglContext> gl;
  std::unique_ptr<EglContext> other;
  std::unique_ptr<TextureBackend> backend;
};

TEST_P(GlTextureBackendTest, ConvertsEveryFormatMatrixAndRange) {
  for (PixelFormat format :
       {PixelFormat::I420, PixelFormat::NV12, PixelFormat::BGRA, PixelFormat::RGBA}) {
    for (ColorMatrix matrix : {ColorMatrix::BT601, ColorMatrix::BT709}) {
      for (ColorRange range : {ColorRange::Limited, ColorRange::Full}) {
        const FrameSpec recipe = gridFrame(format, matrix, range);
        const GLuint texture = upload(recipe);
        ASSERT_NE(texture, 0u) << describe(recipe);
        expectGrid(readTexture(texture, recipe.width, recipe.height), recipe, describe(recipe));
      }
    }
  }
}

TEST_P(GlTextureBackendTest, OddSizedFramesConvertWithTheirChromaInPlace) {
  for (PixelFormat format : {PixelFormat::I420, PixelFormat::NV12}) {
    FrameSpec recipe = gridFrame(format, ColorMatrix::BT601, ColorRange::Limited);
    recipe.width = 63;
    recipe.height = 35;
    const GLuint texture = upload(recipe);
    ASSERT_NE(texture, 0u);
    expectGrid(readTexture(texture, recipe.width, recipe.height), recipe, describe(recipe));
  }
}

TEST_P(GlTextureBackendTest, FullHdFrameGivesAFullHdTextureThroughTheRenderer) {
  TextureRenderer renderer([] { return makeGlTextureBackend(); });
  ASSERT_EQ(renderer.metalInit(), 0);
  test::RecordingPlayerItem item;
  test::VideoOutputEngine engine;
  auto scripted = std::make_shared<test::ScriptedVideoOutput>();
  std::shared_ptr<VideoOutput> output = scripted;

  FrameSpec recipe = gridFrame(PixelFormat::I420, ColorMatrix::BT709, ColorRange::Limited);
  recipe.width = 1920;
  recipe.height = 1080;
  scripted->frames.push_back(std::make_shared<test::TestFrame>(test::makeFrame(recipe)));
  const auto texture = static_cast<GLuint>(renderer.getTexture(3.0, item, output, engine));
  ASSERT_NE(texture, 0u);
  EXPECT_EQ(renderer.videoSize, (VideoSizeInfo{1080, 1920}));
  EXPECT_EQ(renderer.getTexture(3.02, item, output, engine), texture);

  if (!gl->gles() || epoxy_gl_version() >= 31) {
    GLint width = 0, height = 0;
    glBindTexture(GL_TEXTURE_2D, texture);
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH, &width);
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_HEIGHT, &height);
    glBindTexture(GL_TEXTURE_2D, 0);
    EXPECT_EQ(width, 1920);
    EXPECT_EQ(height, 1080);
  }
  const Readback r = readTexture(texture, 1920, 1080);
  expectGrid(r, recipe, "1080p");
  // The corners carry their cells' colours: top-left red, bottom-right skin tone.
  EXPECT_NEAR(r.at(0, 0).r, 255, kTolerance);
  EXPECT_NEAR(r.at(1919, 1079).r, 200, kTolerance);
  EXPECT_NEAR(r.at(1919, 1079).b, 80, kTolerance);
}

TEST_P(GlTextureBackendTest, TexturesAreReusedAndResizedOnlyWhenTheFrameChanges) {
  FrameSpec recipe = gridFrame(PixelFormat::NV12, ColorMatrix::BT709, ColorRange::Limited);
  const GLuint first = upload(recipe);
  std::swap(recipe.cells[0], recipe.cells[7]);
  const GLuint second = upload(recipe);
  EXPECT_EQ(second, first);
  expectGrid(readTexture(second, recipe.width, recipe.height), recipe, "second frame");

  recipe.width = 32;
  recipe.height = 16;
  const GLuint smaller = upload(recipe);
  ASSERT_NE(smaller, 0u);
  if (!gl->gles() || epoxy_gl_version() >= 31) {
    GLint width = 0;
    glBindTexture(GL_TEXTURE_2D, smaller);
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH, &width);
    glBindTexture(GL_TEXTURE_2D, 0);
    EXPECT_EQ(width, 32);
  }
  expectGrid(readTexture(smaller, 32, 16), recipe, "smaller frame");

  const FrameSpec bgra = gridFrame(PixelFormat::BGRA, ColorMatrix::BT709, ColorRange::Full);
  expectGrid(readTexture(upload(bgra), bgra.width, bgra.height), bgra, "format change");
}

TEST_P(GlTextureBackendTest, HostStateIsRestored) {
  // The host's own framebuffer, program, vertex array, textures and pixel state.
  GLuint hostTexture[3] = {};
  glGenTextures(3, hostTexture);
  for (int i = 0; i < 3; ++i) {
    glActiveTexture(GL_TEXTURE0 + static_cast<GLenum>(i));
    glBindTexture(GL_TEXTURE_2D, hostTexture[i]);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, 4, 4, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
  }
  GLuint hostFbo = 0, hostReadFbo = 0;
  glGenFramebuffers(1, &hostFbo);
  glGenFramebuffers(1, &hostReadFbo);
  glBindFramebuffer(GL_DRAW_FRAMEBUFFER, hostFbo);
  glFramebufferTexture2D(GL_DRAW_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, hostTexture[0],
                         0);
  glBindFramebuffer(GL_READ_FRAMEBUFFER, hostReadFbo);
  glFramebufferTexture2D(GL_READ_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, hostTexture[1],
                         0);
  const std::string header =
      gl->gles() ? "#version 300 es\nprecision highp float;\n" : "#version 330 core\n";
  const std::string vs = header + "void main() { gl_Position = vec4(0.0); }\n";
  const std::string fs = header + "out vec4 c; void main() { c = vec4(1.0); }\n";
  GLuint program = glCreateProgram();
  for (auto [stage, source] :
       {std::pair{GL_VERTEX_SHADER, vs}, std::pair{GL_FRAGMENT_SHADER, fs}}) {
    GLuint shader = glCreateShader(stage);
    const char* text = source.c_str();
    glShaderSource(shader, 1, &text, nullptr);
    glCompileShader(shader);
    glAttachShader(program, shader);
    glDeleteShader(shader);
  }
  glLinkProgram(program);
  glUseProgram(program);
  GLuint vao = 0, pbo = 0, sampler = 0;
  glGenVertexArrays(1, &vao);
  glBindVertexArray(vao);
  glGenBuffers(1, &pbo);
  glBindBuffer(GL_PIXEL_UNPACK_BUFFER, pbo);
  glGenSamplers(1, &sampler);
  glBindSampler(1, sampler);
  glSamplerParameteri(sampler, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
  glActiveTexture(GL_TEXTURE2);
  glViewport(1, 2, 3, 4);
  glPixelStorei(GL_UNPACK_ALIGNMENT, 2);
  glPixelStorei(GL_UNPACK_ROW_LENGTH, 5);
  glPixelStorei(GL_UNPACK_SKIP_ROWS, 1);
  glEnable(GL_BLEND);
  glEnable(GL_SCISSOR_TEST);
  glEnable(GL_DEPTH_TEST);
  glEnable(GL_CULL_FACE);
  glColorMask(GL_TRUE, GL_FALSE, GL_TRUE, GL_FALSE);
  ASSERT_EQ(glGetError(), GLenum{GL_NO_ERROR});

  // Every kind of pass: planes plus conversion, and the direct RGBA upload.
  for (PixelFormat format : {PixelFormat::I420, PixelFormat::RGBA}) {
    const FrameSpec recipe = gridFrame(format, ColorMatrix::BT601, ColorRange::Full);
    ASSERT_NE(upload(recipe), 0u);

    auto integer = [](GLenum name) {
      GLint value = 0;
      glGetIntegerv(name, &value);
      return value;
    };
    EXPECT_EQ(integer(GL_DRAW_FRAMEBUFFER_BINDING), static_cast<GLint>(hostFbo));
    EXPECT_EQ(integer(GL_READ_FRAMEBUFFER_BINDING), static_cast<GLint>(hostReadFbo));
    std::array<GLint, 4> viewport{};
    glGetIntegerv(GL_VIEWPORT, viewport.data());
    EXPECT_EQ(viewport, (std::array<GLint, 4>{1, 2, 3, 4}));
    EXPECT_EQ(integer(GL_CURRENT_PROGRAM), static_cast<GLint>(program));
    EXPECT_EQ(integer(GL_VERTEX_ARRAY_BINDING), static_cast<GLint>(vao));
    EXPECT_EQ(integer(GL_ACTIVE_TEXTURE), GL_TEXTURE2);
    EXPECT_EQ(integer(GL_PIXEL_UNPACK_BUFFER_BINDING), static_cast<GLint>(pbo));
    EXPECT_EQ(integer(GL_UNPACK_ALIGNMENT), 2);
    EXPECT_EQ(integer(GL_UNPACK_ROW_LENGTH), 5);
    EXPECT_EQ(integer(GL_UNPACK_SKIP_ROWS), 1);
    EXPECT_TRUE(glIsEnabled(GL_BLEND));
    EXPECT_TRUE(glIsEnabled(GL_SCISSOR_TEST));
    EXPECT_TRUE(glIsEnabled(GL_DEPTH_TEST));
    EXPECT_TRUE(glIsEnabled(GL_CULL_FACE));
    EXPECT_FALSE(glIsEnabled(GL_STENCIL_TEST));
    std::array<GLboolean, 4> mask{};
    glGetBooleanv(GL_COLOR_WRITEMASK, mask.data());
    EXPECT_EQ(mask, (std::array<GLboolean, 4>{GL_TRUE, GL_FALSE, GL_TRUE, GL_FALSE}));
    for (int i = 0; i < 3; ++i) {
      glActiveTexture(GL_TEXTURE0 + static_cast<GLenum>(i));
      EXPECT_EQ(integer(GL_TEXTURE_BINDING_2D), static_cast<GLint>(hostTexture[i])) << i;
      EXPECT_EQ(integer(GL_SAMPLER_BINDING), i == 1 ? static_cast<GLint>(sampler) : 0) << i;
    }
    glActiveTexture(GL_TEXTURE2);
  }

  // The host's state did not alter the conversion (blend, scissor, mask, sampler).
  glBindBuffer(GL_PIXEL_UNPACK_BUFFER, 0);
  glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
  glPixelStorei(GL_UNPACK_SKIP_ROWS, 0);
  const FrameSpec recipe = gridFrame(PixelFormat::NV12, ColorMatrix::BT601, ColorRange::Full);
  glBindBuffer(GL_PIXEL_UNPACK_BUFFER, pbo);
  const GLuint texture = upload(recipe);
  expectGrid(readTexture(texture, recipe.width, recipe.height), recipe, "under host state");

  glBindBuffer(GL_PIXEL_UNPACK_BUFFER, 0);
  glDeleteSamplers(1, &sampler);
  glDeleteBuffers(1, &pbo);
  glDeleteVertexArrays(1, &vao);
  glDeleteProgram(program);
  glDeleteFramebuffers(1, &hostFbo);
  glDeleteFramebuffers(1, &hostReadFbo);
  glDeleteTextures(3, hostTexture);
}

TEST_P(GlTextureBackendTest, NoCurrentContextGivesNullAndOneErrorLinePerStretch) {
  LogCapture logs;
  const FrameSpec recipe = gridFrame(PixelFormat::I420, ColorMatrix::BT709, ColorRange::Limited);
  const test::TestFrame frame = test::makeFrame(recipe);
  ASSERT_NE(backend->upload(frame), 0u);

  EglContext::releaseCurrent();
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(backend->upload(frame), 0u);
    EXPECT_FALSE(backend->contextReady());
  }
  EXPECT_EQ(logs.count(LogLevel::ERROR, "no OpenGL context is current"), 1);
  EXPECT_EQ(logs.count(LogLevel::ERROR), 1);

  ASSERT_TRUE(gl->makeCurrent());
  EXPECT_TRUE(backend->contextReady());
  EXPECT_NE(backend->upload(frame), 0u);
  EglContext::releaseCurrent();
  EXPECT_EQ(backend->upload(frame), 0u);
  EXPECT_EQ(logs.count(LogLevel::ERROR, "no OpenGL context is current"), 2);
  gl->makeCurrent();
}

TEST_P(GlTextureBackendTest, MalformedFrameIsRefusedWithOneErrorLine) {
  LogCapture logs;
  FrameSpec recipe = gridFrame(PixelFormat::I420, ColorMatrix::BT709, ColorRange::Limited);
  test::TestFrame broken = test::makeFrame(recipe);
  broken.planes_[1].stride = 3;
  for (int i = 0; i < 3; ++i) EXPECT_EQ(backend->upload(broken), 0u);
  EXPECT_EQ(logs.count(LogLevel::ERROR, "stride of 3"), 1);
  // The backend is still usable.
  const GLuint texture = upload(recipe);
  expectGrid(readTexture(texture, recipe.width, recipe.height), recipe, "after a bad frame");
}

TEST_P(GlTextureBackendTest, AnotherContextGetsItsOwnObjectsAndOldOnesWaitForTheirContext) {
  const FrameSpec recipe = gridFrame(PixelFormat::NV12, ColorMatrix::BT601, ColorRange::Limited);
  const GLuint inFirst = upload(recipe);
  ASSERT_NE(inFirst, 0u);

  other = EglContext::create(GetParam());
  ASSERT_NE(other, nullptr) << EglContext::lastError();
  const GLuint inSecond = upload(recipe);
  ASSERT_NE(inSecond, 0u);
  expectGrid(readTexture(inSecond, recipe.width, recipe.height), recipe, "second context");
  // The first context's objects could not be deleted from here.
  EXPECT_GT(GlDeferredDeletion::pendingCount(), 0u);

  // Freed while the second context is current: its objects go at once.
  backend.reset();
  EXPECT_FALSE(glIsTexture(inSecond));

  // The next call in the first context deletes what waited for it.
  ASSERT_TRUE(gl->makeCurrent());
  EXPECT_TRUE(glIsTexture(inFirst));
  auto next = makeGlTextureBackend();
  EXPECT_TRUE(next->contextReady());
  EXPECT_EQ(GlDeferredDeletion::pendingCount(), 0u);
  EXPECT_FALSE(glIsTexture(inFirst));
}

TEST_P(GlTextureBackendTest, BackendFreedOnAnotherThreadIsDeletedOnTheNextCallInItsContext) {
  // A stream removed from the host's main thread while its render thread goes on.
  const FrameSpec recipe = gridFrame(PixelFormat::BGRA, ColorMatrix::BT601, ColorRange::Full);
  const GLuint texture = upload(recipe);
  auto next = makeGlTextureBackend();
  std::thread mainThread([doomed = std::move(backend)]() mutable { doomed.reset(); });
  mainThread.join();
  EXPECT_EQ(GlDeferredDeletion::pendingCount(), 1u);
  EXPECT_TRUE(glIsTexture(texture));

  EXPECT_NE(next->upload(test::makeFrame(recipe)), 0u);
  EXPECT_EQ(GlDeferredDeletion::pendingCount(), 0u);
  EXPECT_FALSE(glIsTexture(texture));
}

TEST_P(GlTextureBackendTest, ObjectsWaitingForAnotherContextAreLeftAlone) {
  const FrameSpec recipe = gridFrame(PixelFormat::I420, ColorMatrix::BT601, ColorRange::Full);
  const GLuint texture = upload(recipe);
  EglContext::releaseCurrent();
  backend.reset();
  ASSERT_EQ(GlDeferredDeletion::pendingCount(), 1u);

  // A call in an unrelated context must not delete names that belong to the first.
  other = EglContext::create(GetParam());
  ASSERT_NE(other, nullptr) << EglContext::lastError();
  auto elsewhere = makeGlTextureBackend();
  EXPECT_NE(elsewhere->upload(test::makeFrame(recipe)), 0u);
  EXPECT_EQ(GlDeferredDeletion::pendingCount(), 1u);
  elsewhere.reset();

  ASSERT_TRUE(gl->makeCurrent());
  EXPECT_TRUE(glIsTexture(texture));
  auto mine = makeGlTextureBackend();
  EXPECT_TRUE(mine->contextReady());
  EXPECT_EQ(GlDeferredDeletion::pendingCount(), 0u);
  EXPECT_FALSE(glIsTexture(texture));
}

// Stands for a window system that gives a new context the handle of a destroyed one.
struct ReusedHandle {
  static inline EGLContext replacement = EGL_NO_CONTEXT;
  static inline EGLContext reused = EGL_NO_CONTEXT;
  static std::optional<GlContextId> probe() {
    EGLContext current = eglGetCurrentContext();
    if (current == EGL_NO_CONTEXT) return std::nullopt;
    return GlContextId{GlContextId::Api::EGL, eglGetCurrentDisplay(),
                       current == replacement ? reused : current};
  }
};

TEST_P(GlTextureBackendTest, ContextReplacedAtTheSameAddressIsNoticed) {
  LogCapture logs;
  const FrameSpec recipe = gridFrame(PixelFormat::NV12, ColorMatrix::BT709, ColorRange::Full);
  ASSERT_NE(upload(recipe), 0u);

  // The host destroys its context and makes a new one under the same handle; our
  // objects went with the old context.
  ReusedHandle::reused = gl->context();
  EglContext::releaseCurrent();
  gl = EglContext::create(GetParam());
  ASSERT_NE(gl, nullptr) << EglContext::lastError();
  ReusedHandle::replacement = gl->context();
  setGlContextProbeForTesting(&ReusedHandle::probe);
  struct RestoreProbe {
    ~RestoreProbe() { setGlContextProbeForTesting(nullptr); }
  } restore;

  EXPECT_FALSE(backend->contextReady());
  EXPECT_EQ(logs.count(LogLevel::WARNING, "the OpenGL context was replaced"), 1);
  const GLuint texture = upload(recipe);
  ASSERT_NE(texture, 0u);
  EXPECT_TRUE(backend->contextReady());
  expectGrid(readTexture(texture, recipe.width, recipe.height), recipe, "new context");
  backend.reset();
  EXPECT_FALSE(glIsTexture(texture));
  EXPECT_EQ(GlDeferredDeletion::pendingCount(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Contexts, GlTextureBackendTest,
                         ::testing::Values(GlApi::DesktopCore33, GlApi::Gles30),
                         [](const ::testing::TestParamInfo<GlApi>& info) {
                           return info.param == GlApi::DesktopCore33 ? "GL33Core" : "GLES30";
                         });

}  // namespace
}  // namespace zent
