#include "render/gl_texture_backend.h"

#include <epoxy/gl.h>

#include <array>
#include <cstddef>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "render/color_conversion.h"
#include "render/frame_conversion.h"
#include "render/frame_layout.h"
#include "render/gl_context_probe.h"
#include "render/gl_deferred_deletion.h"
#include "render/gl_shaders.h"
#include "render/gl_state_guard.h"
#include "support/logger.h"

namespace zent {
namespace {

constexpr int kLayouts = 2;

struct TexelFormat {
  GLint internalFormat;
  GLenum format;
};

TexelFormat glFormat(PlaneTexelFormat texel) {
  switch (texel) {
    case PlaneTexelFormat::R8:
      return {GL_R8, GL_RED};
    case PlaneTexelFormat::RG8:
      return {GL_RG8, GL_RG};
    case PlaneTexelFormat::RGBA8:
      return {GL_RGBA8, GL_RGBA};
  }
  return {GL_R8, GL_RED};
}

int32_t bytesPerTexel(PlaneTexelFormat texel) {
  switch (texel) {
    case PlaneTexelFormat::R8:
      return 1;
    case PlaneTexelFormat::RG8:
      return 2;
    case PlaneTexelFormat::RGBA8:
      return 4;
  }
  return 1;
}

ConversionLayout conversionLayout(PixelFormat format) {
  switch (format) {
    case PixelFormat::I420:  // its chroma planes are uploaded interleaved
    case PixelFormat::NV12:
      return ConversionLayout::TwoPlaneYuv;
    case PixelFormat::BGRA:
    case PixelFormat::RGBA:
      return ConversionLayout::Bgra;
  }
  return ConversionLayout::TwoPlaneYuv;
}

GLuint makeTexture(GLint filter) {
  GLuint name = 0;
  glGenTextures(1, &name);
  glBindTexture(GL_TEXTURE_2D, name);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, filter);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, filter);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAX_LEVEL, 0);
  return name;
}

std::string shaderLog(GLuint object, bool isProgram) {
  GLint length = 0;
  if (isProgram) {
    glGetProgramiv(object, GL_INFO_LOG_LENGTH, &length);
  } else {
    glGetShaderiv(object, GL_INFO_LOG_LENGTH, &length);
  }
  std::string text(static_cast<std::size_t>(length > 0 ? length : 1), '\0');
  if (isProgram) {
    glGetProgramInfoLog(object, static_cast<GLsizei>(text.size()), nullptr, text.data());
  } else {
    glGetShaderInfoLog(object, static_cast<GLsizei>(text.size()), nullptr, text.data());
  }
  text.resize(text.find('\0') == std::string::npos ? text.size() : text.find('\0'));
  return text;
}

// Compiles one stage; on failure returns 0 and the compiler's message.
GLuint compileShader(GLenum stage, const std::string& source, std::string& error) {
  GLuint shader = glCreateShader(stage);
  const char* text = source.c_str();
  glShaderSource(shader, 1, &text, nullptr);
  glCompileShader(shader);
  GLint ok = GL_FALSE;
  glGetShaderiv(shader, GL_COMPILE_STATUS, &ok);
  if (ok != GL_TRUE) {
    error = shaderLog(shader, false);
    glDeleteShader(shader);
    return 0;
  }
  return shader;
}

class GlTextureBackend final : public TextureBackend {
 public:
  ~GlTextureBackend() override;
  uintptr_t upload(const PixelBuffer& frame) override;
  bool contextReady() override;
  bool wantsRgbaFrames() const override { return objects_ && objects_->rgbaFrames; }

 private:
  struct PlaneTexture {
    GLuint name = 0;
    PlaneTexelFormat texel = PlaneTexelFormat::R8;
    int32_t width = 0;
    int32_t height = 0;
  };

  struct Program {
    GLuint name = 0;
    bool failed = false;
    GLint matrix = -1;
    GLint offset = -1;
    GLint chromaScale = -1;
    // What the uniforms hold now, so they are set only on a change.
    std::optional<YuvToRgb> coefficients;
    std::array<float, 2> chroma{-1.0f, -1.0f};
  };

  // Everything made in one context.
  struct ContextObjects {
    GlContextId owner;
    GLsync token = nullptr;  // see GlObjectNames::token
    bool gles = false;
    bool rgbaFrames = false;  // the context rasterises on the CPU
    GLint maxTextureSize = 0;
    GLuint vertexArray = 0;
    GLuint framebuffer = 0;
    GLuint output = 0;
    int32_t outputWidth = 0;
    int32_t outputHeight = 0;
    bool framebufferChecked = false;
    std::array<PlaneTexture, 3> planes{};
    std::array<Program, kLayouts> programs{};

    GlObjectNames names() const;
  };

  std::optional<GlContextId> probeContext();
  void forgetReplacedContext();
  ContextObjects* objectsFor(const GlContextId& context);
  void retireObjects();
  bool prepareOutput(ContextObjects& objects, int32_t width, int32_t height);
  void preparePlane(PlaneTexture& plane, PlaneTexelFormat texel, const PlaneLayout& layout);
  Program* program(ContextObjects& objects, ConversionLayout layout);
  bool convert(ContextObjects& objects, const PixelBuffer& frame);
  void reportFrameProblem(const std::string& problem);

  std::unique_ptr<ContextObjects> objects_;
  std::optional<GlContextId> unsupportedContext_;
  bool noContextReported_ = false;
  std::string reportedFrameProblem_;
  FrameLayout layout_;
  // Planes that cannot be read from the frame itself (see uploadsFromFrame); grows
  // to the largest frame and stays, so a frame costs no allocation.
  std::vector<uint8_t> staging_;
  std::string problem_;
};

GlObjectNames GlTextureBackend::ContextObjects::names() const {
  GlObjectNames n;
  n.token = token;
  for (const PlaneTexture& plane : planes) {
    if (plane.name) n.textures.push_back(plane.name);
  }
  if (output) n.textures.push_back(output);
  if (framebuffer) n.framebuffers.push_back(framebuffer);
  if (vertexArray) n.vertexArrays.push_back(vertexArray);
  for (const Program& p : programs) {
    if (p.name) n.programs.push_back(p.name);
  }
  return n;
}

GlTextureBackend::~GlTextureBackend() {
  retireObjects();
}

void GlTextureBackend::retireObjects() {
  if (!objects_) return;
  GlObjectNames names = objects_->names();
  const GlContextId owner = objects_->owner;
  objects_.reset();
  const std::optional<GlContextId> current = currentGlContext();
  if (current && *current == owner) {
    names.deleteNow();
  } else {
    GlDeferredDeletion::schedule(owner, std::move(names));
  }
}

std::optional<GlContextId> GlTextureBackend::probeContext() {
  std::optional<GlContextId> context = currentGlContext();
  if (!context) {
    if (!noContextReported_) {
      noContextReported_ = true;
      Logger::log(LogLevel::ERROR,
                  "getTexture: no OpenGL context is current on the calling thread; no texture "
                  "is returned until the host calls with its context current");
    }
    return std::nullopt;
  }
  noContextReported_ = false;
  GlDeferredDeletion::collect(*context);
  return context;
}

bool GlTextureBackend::contextReady() {
  const std::optional<GlContextId> context = probeContext();
  if (!context) return false;
  if (objects_ && objects_->owner == *context && glIsSync(objects_->token) != GL_TRUE) {
    // Same handle, new context: the texture handed out before went with the old
    // one, so it must not be offered again.
    forgetReplacedContext();
    return false;
  }
  return true;
}

void GlTextureBackend::forgetReplacedContext() {
  Logger::log(LogLevel::WARNING,
              "getTexture: the OpenGL context was replaced; the video texture is made again "
              "with the next frame");
  objects_.reset();
}

GlTextureBackend::ContextObjects* GlTextureBackend::objectsFor(const GlContextId& context) {
  if (objects_ && objects_->owner == context) {
    if (glIsSync(objects_->token) == GL_TRUE) return objects_.get();
    forgetReplacedContext();
  }
  if (unsupportedContext_ && *unsupportedContext_ == context) return nullptr;
  // A different context than the one our objects live in: start over in this one.
  retireObjects();

  const bool desktop = epoxy_is_desktop_gl();
  const int version = epoxy_gl_version();
  if (version < (desktop ? 33 : 30)) {
    unsupportedContext_ = context;
    const char* text = reinterpret_cast<const char*>(glGetString(GL_VERSION));
    Logger::log(LogLevel::ERROR, std::string("getTexture: the current context has OpenGL \"") +
                                     (text ? text : "unknown") +
                                     "\"; OpenGL 3.3 or OpenGL ES 3.0 is needed");
    return nullptr;
  }
  unsupportedContext_.reset();

  auto objects = std::make_unique<ContextObjects>();
  objects->owner = context;
  objects->token = glFenceSync(GL_SYNC_GPU_COMMANDS_COMPLETE, 0);
  objects->gles = !desktop;
  glGetIntegerv(GL_MAX_TEXTURE_SIZE, &objects->maxTextureSize);
  const char* renderer = reinterpret_cast<const char*>(glGetString(GL_RENDERER));
  objects->rgbaFrames =
      frameConversionFor(renderer != nullptr ? renderer : "",
                         std::getenv("ZENT_FRAME_CONVERSION")) == FrameConversion::Cpu;
  glGenVertexArrays(1, &objects->vertexArray);
  glGenFramebuffers(1, &objects->framebuffer);
  objects_ = std::move(objects);
  return objects_.get();
}

bool GlTextureBackend::prepareOutput(ContextObjects& objects, int32_t width, int32_t height) {
  if (objects.output && objects.outputWidth == width && objects.outputHeight == height) {
    return true;
  }
  glActiveTexture(GL_TEXTURE0);
  if (!objects.output) {
    // Filtered for the host, which may draw it at any size.
    objects.output = makeTexture(GL_LINEAR);
  } else {
    glBindTexture(GL_TEXTURE_2D, objects.output);
  }
  glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
  objects.outputWidth = width;
  objects.outputHeight = height;
  objects.framebufferChecked = false;
  return true;
}

void GlTextureBackend::preparePlane(PlaneTexture& plane, PlaneTexelFormat texel,
                                    const PlaneLayout& layout) {
  if (plane.name && plane.texel == texel && plane.width == layout.width &&
      plane.height == layout.height) {
    return;
  }
  glActiveTexture(GL_TEXTURE0);
  if (!plane.name) {
    // Every plane is sampled at one texel per lookup (see the conversion shader):
    // on software rasterisers a filtered lookup costs several nearest ones.
    plane.name = makeTexture(GL_NEAREST);
  } else {
    glBindTexture(GL_TEXTURE_2D, plane.name);
  }
  const TexelFormat format = glFormat(texel);
  glTexImage2D(GL_TEXTURE_2D, 0, format.internalFormat, layout.width, layout.height, 0,
               format.format, GL_UNSIGNED_BYTE, nullptr);
  plane.texel = texel;
  plane.width = layout.width;
  plane.height = layout.height;
}

GlTextureBackend::Program* GlTextureBackend::program(ContextObjects& objects,
                                                     ConversionLayout layout) {
  Program& p = objects.programs[static_cast<std::size_t>(layout)];
  if (p.name) return &p;
  if (p.failed) return nullptr;

  std::string error;
  GLuint vertex = compileShader(GL_VERTEX_SHADER, conversionVertexShader(objects.gles), error);
  GLuint fragment = vertex ? compileShader(GL_FRAGMENT_SHADER,
                                           conversionFragmentShader(objects.gles, layout), error)
                           : 0;
  GLuint program = 0;
  if (vertex && fragment) {
    program = glCreateProgram();
    glAttachShader(program, vertex);
    glAttachShader(program, fragment);
    glLinkProgram(program);
    GLint ok = GL_FALSE;
    glGetProgramiv(program, GL_LINK_STATUS, &ok);
    if (ok != GL_TRUE) {
      error = shaderLog(program, true);
      glDeleteProgram(program);
      program = 0;
    }
  }
  if (vertex) glDeleteShader(vertex);
  if (fragment) glDeleteShader(fragment);
  if (!program) {
    p.failed = true;
    Logger::log(LogLevel::ERROR,
                "getTexture: the colour conversion shader failed to build: " + error);
    return nullptr;
  }

  p.name = program;
  glUseProgram(program);
  for (int unit = 0; unit < GlStateGuard::kUnits; ++unit) {
    GLint location = glGetUniformLocation(program, kUniformPlanes[unit]);
    if (location >= 0) glUniform1i(location, unit);
  }
  p.matrix = glGetUniformLocation(program, kUniformMatrix);
  p.offset = glGetUniformLocation(program, kUniformOffset);
  p.chromaScale = glGetUniformLocation(program, kUniformChromaScale);
  return &p;
}

bool GlTextureBackend::convert(ContextObjects& objects, const PixelBuffer& frame) {
  const ConversionLayout layout = conversionLayout(layout_.format);
  Program* p = program(objects, layout);
  if (!p) return false;

  glBindFramebuffer(GL_FRAMEBUFFER, objects.framebuffer);
  if (!objects.framebufferChecked) {
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, objects.output, 0);
    const GLenum status = glCheckFramebufferStatus(GL_FRAMEBUFFER);
    if (status != GL_FRAMEBUFFER_COMPLETE) {
      reportFrameProblem("the output framebuffer is incomplete (status " + std::to_string(status) +
                         ")");
      return false;
    }
    objects.framebufferChecked = true;
  }
  glViewport(0, 0, layout_.width, layout_.height);
  glUseProgram(p->name);

  if (layout != ConversionLayout::Bgra) {
    const YuvToRgb coefficients = yuvToRgbCoefficients(frame.matrix(), frame.range());
    if (!p->coefficients || !(*p->coefficients == coefficients)) {
      glUniformMatrix3fv(p->matrix, 1, GL_FALSE, coefficients.columnMajor.data());
      glUniform3fv(p->offset, 1, coefficients.offset.data());
      p->coefficients = coefficients;
    }
    const PlaneLayout& chroma = layout_.planes[1];
    const std::array<float, 2> scale = {
        static_cast<float>(layout_.width) / (2.0f * static_cast<float>(chroma.width)),
        static_cast<float>(layout_.height) / (2.0f * static_cast<float>(chroma.height))};
    if (scale != p->chroma) {
      glUniform2fv(p->chromaScale, 1, scale.data());
      p->chroma = scale;
    }
  }
  glBindVertexArray(objects.vertexArray);
  glDrawArrays(GL_TRIANGLES, 0, 3);
  return true;
}

void GlTextureBackend::reportFrameProblem(const std::string& problem) {
  // Once per kind of problem: a broken stream repeats it on every frame.
  if (problem == reportedFrameProblem_) return;
  reportedFrameProblem_ = problem;
  Logger::log(LogLevel::ERROR, "getTexture: no texture for this frame: " + problem);
}

uintptr_t GlTextureBackend::upload(const PixelBuffer& frame) {
  const std::optional<GlContextId> context = probeContext();
  if (!context) return 0;
  ContextObjects* objects = objectsFor(*context);
  if (!objects) return 0;

  if (!describeFrame(frame, layout_, problem_)) {
    reportFrameProblem(problem_);
    return 0;
  }
  if (layout_.width > objects->maxTextureSize || layout_.height > objects->maxTextureSize) {
    reportFrameProblem("the frame is " + std::to_string(layout_.width) + "x" +
                       std::to_string(layout_.height) + ", larger than the GL limit of " +
                       std::to_string(objects->maxTextureSize));
    return 0;
  }

  GlStateGuard guard;
  guard.prepareForConversion();

  // Uploads read client memory, so no unpack buffer may be bound. They are copied
  // by the driver before glTexSubImage2D returns: the frame may go afterwards. A
  // pixel-unpack buffer would add a copy of its own.
  glBindBuffer(GL_PIXEL_UNPACK_BUFFER, 0);
  const bool direct = layout_.format == PixelFormat::RGBA;
  prepareOutput(*objects, layout_.width, layout_.height);
  if (!direct) {
    for (int32_t i = 0; i < uploadTextureCount(layout_); ++i) {
      preparePlane(objects->planes[static_cast<std::size_t>(i)], uploadTexel(layout_, i),
                   layout_.planes[static_cast<std::size_t>(i)]);
    }
  }

  if (staging_.size() < layout_.uploadSize) staging_.resize(layout_.uploadSize);
  stagePlanes(frame, layout_, staging_.data());
  for (int32_t i = 0; i < uploadTextureCount(layout_); ++i) {
    const PlaneLayout& plane = layout_.planes[static_cast<std::size_t>(i)];
    glActiveTexture(GL_TEXTURE0 + static_cast<GLenum>(i));
    // An RGBA frame is already what the host gets: it goes straight to the output.
    glBindTexture(GL_TEXTURE_2D,
                  direct ? objects->output : objects->planes[static_cast<std::size_t>(i)].name);
    const PlaneTexelFormat texel = uploadTexel(layout_, i);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, plane.uploadStride / bytesPerTexel(texel));
    glTexSubImage2D(
        GL_TEXTURE_2D, 0, 0, 0, plane.width, plane.height, glFormat(texel).format, GL_UNSIGNED_BYTE,
        uploadsFromFrame(layout_, i) ? frame.plane(i).data : staging_.data() + plane.uploadOffset);
  }

  if (!direct && !convert(*objects, frame)) return 0;
  reportedFrameProblem_.clear();
  return objects->output;
}

}  // namespace

std::unique_ptr<TextureBackend> makeGlTextureBackend() {
  if (!glLibraryAvailable()) return nullptr;
  return std::make_unique<GlTextureBackend>();
}

}  // namespace zent
