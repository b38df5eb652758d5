#include "video_canvas.h"

#include <epoxy/gl.h>

#include <algorithm>
#include <cstring>

namespace zentplay {
namespace {

// A full quad from gl_VertexID (no vertex buffer); texture rows run top to
// bottom when `flip` is 1.
constexpr const char* kVertexBody = R"(
uniform int flip;
out vec2 uv;
void main() {
  vec2 corner = vec2(float(gl_VertexID & 1), float((gl_VertexID >> 1) & 1));
  uv = vec2(corner.x, flip == 1 ? 1.0 - corner.y : corner.y);
  gl_Position = vec4(corner * 2.0 - 1.0, 0.0, 1.0);
}
)";

constexpr const char* kFragmentBody = R"(
uniform sampler2D picture;
uniform int blended;
in vec2 uv;
out vec4 color;
void main() {
  vec4 texel = texture(picture, uv);
  color = vec4(texel.rgb, blended == 1 ? texel.a : 1.0);
}
)";

unsigned compile(GLenum stage, const std::string& source, std::string& error) {
  const unsigned shader = glCreateShader(stage);
  const char* text = source.c_str();
  glShaderSource(shader, 1, &text, nullptr);
  glCompileShader(shader);
  GLint ok = GL_FALSE;
  glGetShaderiv(shader, GL_COMPILE_STATUS, &ok);
  if (ok != GL_TRUE) {
    char log[1024] = {};
    glGetShaderInfoLog(shader, sizeof log, nullptr, log);
    error = std::string("shader does not compile: ") + log;
    glDeleteShader(shader);
    return 0;
  }
  return shader;
}

// Leaves the state the quad needs; the library restores its own changes, but
// nothing guarantees the host's previous state survives a foreign draw.
void resetDrawState() {
  glDisable(GL_BLEND);
  glDisable(GL_DEPTH_TEST);
  glDisable(GL_SCISSOR_TEST);
  glDisable(GL_CULL_FACE);
  glDisable(GL_STENCIL_TEST);
  glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
}

}  // namespace

PixelRect fitRect(int64_t videoWidth, int64_t videoHeight, int viewWidth, int viewHeight) {
  if (videoWidth <= 0 || videoHeight <= 0 || viewWidth <= 0 || viewHeight <= 0) return {};
  PixelRect rect;
  // Compare aspect ratios without division: video wider than the view?
  if (videoWidth * viewHeight >= videoHeight * viewWidth) {
    rect.width = viewWidth;
    rect.height = static_cast<int>((videoHeight * viewWidth + videoWidth / 2) / videoWidth);
  } else {
    rect.height = viewHeight;
    rect.width = static_cast<int>((videoWidth * viewHeight + videoHeight / 2) / videoHeight);
  }
  rect.width = std::clamp(rect.width, 1, viewWidth);
  rect.height = std::clamp(rect.height, 1, viewHeight);
  rect.x = (viewWidth - rect.width) / 2;
  rect.y = (viewHeight - rect.height) / 2;
  return rect;
}

QuadRenderer::~QuadRenderer() {
  if (program_ != 0) glDeleteProgram(program_);
  if (vertexArray_ != 0) glDeleteVertexArrays(1, &vertexArray_);
  if (sampler_ != 0) glDeleteSamplers(1, &sampler_);
}

bool QuadRenderer::init(std::string& error) {
  const std::string header =
      epoxy_is_desktop_gl() ? "#version 330 core\n" : "#version 300 es\nprecision mediump float;\n";
  const unsigned vertex = compile(GL_VERTEX_SHADER, header + kVertexBody, error);
  if (vertex == 0) return false;
  const unsigned fragment = compile(GL_FRAGMENT_SHADER, header + kFragmentBody, error);
  if (fragment == 0) {
    glDeleteShader(vertex);
    return false;
  }
  program_ = glCreateProgram();
  glAttachShader(program_, vertex);
  glAttachShader(program_, fragment);
  glLinkProgram(program_);
  glDeleteShader(vertex);
  glDeleteShader(fragment);
  GLint ok = GL_FALSE;
  glGetProgramiv(program_, GL_LINK_STATUS, &ok);
  if (ok != GL_TRUE) {
    char log[1024] = {};
    glGetProgramInfoLog(program_, sizeof log, nullptr, log);
    error = std::string("program does not link: ") + log;
    return false;
  }
  flipLocation_ = glGetUniformLocation(program_, "flip");
  blendedLocation_ = glGetUniformLocation(program_, "blended");
  glUseProgram(program_);
  glUniform1i(glGetUniformLocation(program_, "picture"), 0);
  glGenVertexArrays(1, &vertexArray_);
  // A sampler of our own, so the library's texture parameters do not matter.
  glGenSamplers(1, &sampler_);
  glSamplerParameteri(sampler_, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
  glSamplerParameteri(sampler_, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
  glSamplerParameteri(sampler_, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
  glSamplerParameteri(sampler_, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
  return true;
}

void QuadRenderer::draw(unsigned texture, bool topRowFirst, const PixelRect& rect, bool blended) {
  resetDrawState();
  if (blended) {
    glEnable(GL_BLEND);
    glBlendFuncSeparate(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA, GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
  }
  glViewport(rect.x, rect.y, rect.width, rect.height);
  glUseProgram(program_);
  glUniform1i(flipLocation_, topRowFirst ? 1 : 0);
  glUniform1i(blendedLocation_, blended ? 1 : 0);
  glActiveTexture(GL_TEXTURE0);
  glBindTexture(GL_TEXTURE_2D, texture);
  glBindSampler(0, sampler_);
  glBindVertexArray(vertexArray_);
  glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
  glBindVertexArray(0);
  glBindSampler(0, 0);
  glBindTexture(GL_TEXTURE_2D, 0);
  if (blended) glDisable(GL_BLEND);
}

VideoCanvas::~VideoCanvas() {
  if (framebuffer_ != 0) glDeleteFramebuffers(1, &framebuffer_);
  if (texture_ != 0) glDeleteTextures(1, &texture_);
}

void VideoCanvas::drawFrame(QuadRenderer& quad, unsigned libraryTexture, int width, int height) {
  if (width <= 0 || height <= 0) return;
  if (framebuffer_ == 0) glGenFramebuffers(1, &framebuffer_);
  glBindFramebuffer(GL_FRAMEBUFFER, framebuffer_);
  if (texture_ == 0 || width != width_ || height != height_) {
    if (texture_ != 0) glDeleteTextures(1, &texture_);
    glGenTextures(1, &texture_);
    glBindTexture(GL_TEXTURE_2D, texture_);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glBindTexture(GL_TEXTURE_2D, 0);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture_, 0);
    width_ = width;
    height_ = height;
  }
  quad.draw(libraryTexture, true, PixelRect{0, 0, width, height});
  glBindFramebuffer(GL_FRAMEBUFFER, 0);
}

void VideoCanvas::drawOverlay(QuadRenderer& quad, unsigned texture, const PixelRect& rect) {
  if (framebuffer_ == 0) return;
  glBindFramebuffer(GL_FRAMEBUFFER, framebuffer_);
  quad.draw(texture, true, rect, true);
  glBindFramebuffer(GL_FRAMEBUFFER, 0);
}

std::vector<uint8_t> VideoCanvas::readPixels() const {
  std::vector<uint8_t> rows(static_cast<size_t>(width_) * height_ * 4);
  if (rows.empty()) return rows;
  glBindFramebuffer(GL_FRAMEBUFFER, framebuffer_);
  glPixelStorei(GL_PACK_ALIGNMENT, 1);
  glReadPixels(0, 0, width_, height_, GL_RGBA, GL_UNSIGNED_BYTE, rows.data());
  glBindFramebuffer(GL_FRAMEBUFFER, 0);
  // glReadPixels gives the bottom row first; pictures are stored top row first.
  const size_t stride = static_cast<size_t>(width_) * 4;
  std::vector<uint8_t> line(stride);
  for (int top = 0, bottom = height_ - 1; top < bottom; ++top, --bottom) {
    uint8_t* a = rows.data() + top * stride;
    uint8_t* b = rows.data() + bottom * stride;
    std::memcpy(line.data(), a, stride);
    std::memcpy(a, b, stride);
    std::memcpy(b, line.data(), stride);
  }
  return rows;
}

}  // namespace zentplay
