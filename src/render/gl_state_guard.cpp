#include "render/gl_state_guard.h"

namespace zent {
namespace {

constexpr std::array<GLenum, 6> kCapabilities = {
    GL_BLEND, GL_DEPTH_TEST, GL_STENCIL_TEST, GL_SCISSOR_TEST, GL_CULL_FACE, GL_RASTERIZER_DISCARD};

}  // namespace

GlStateGuard::GlStateGuard() {
  glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &drawFramebuffer_);
  glGetIntegerv(GL_READ_FRAMEBUFFER_BINDING, &readFramebuffer_);
  glGetIntegerv(GL_VIEWPORT, viewport_.data());
  glGetIntegerv(GL_CURRENT_PROGRAM, &program_);
  glGetIntegerv(GL_VERTEX_ARRAY_BINDING, &vertexArray_);
  glGetIntegerv(GL_ACTIVE_TEXTURE, &activeTexture_);
  for (int unit = 0; unit < kUnits; ++unit) {
    glActiveTexture(GL_TEXTURE0 + static_cast<GLenum>(unit));
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &textures_[static_cast<std::size_t>(unit)]);
    glGetIntegerv(GL_SAMPLER_BINDING, &samplers_[static_cast<std::size_t>(unit)]);
  }
  glGetIntegerv(GL_PIXEL_UNPACK_BUFFER_BINDING, &unpackBuffer_);
  glGetIntegerv(GL_UNPACK_ALIGNMENT, &unpackAlignment_);
  glGetIntegerv(GL_UNPACK_ROW_LENGTH, &unpackRowLength_);
  glGetIntegerv(GL_UNPACK_SKIP_ROWS, &unpackSkipRows_);
  glGetIntegerv(GL_UNPACK_SKIP_PIXELS, &unpackSkipPixels_);
  for (std::size_t i = 0; i < kCapabilities.size(); ++i) {
    capabilities_[i] = glIsEnabled(kCapabilities[i]);
  }
  glGetBooleanv(GL_COLOR_WRITEMASK, colorMask_.data());
}

void GlStateGuard::prepareForConversion() {
  for (GLenum capability : kCapabilities) glDisable(capability);
  glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
  for (int unit = 0; unit < kUnits; ++unit) glBindSampler(static_cast<GLuint>(unit), 0);
  glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
  glPixelStorei(GL_UNPACK_SKIP_ROWS, 0);
  glPixelStorei(GL_UNPACK_SKIP_PIXELS, 0);
}

GlStateGuard::~GlStateGuard() {
  glColorMask(colorMask_[0], colorMask_[1], colorMask_[2], colorMask_[3]);
  for (std::size_t i = 0; i < kCapabilities.size(); ++i) {
    if (capabilities_[i]) {
      glEnable(kCapabilities[i]);
    } else {
      glDisable(kCapabilities[i]);
    }
  }
  glPixelStorei(GL_UNPACK_ALIGNMENT, unpackAlignment_);
  glPixelStorei(GL_UNPACK_ROW_LENGTH, unpackRowLength_);
  glPixelStorei(GL_UNPACK_SKIP_ROWS, unpackSkipRows_);
  glPixelStorei(GL_UNPACK_SKIP_PIXELS, unpackSkipPixels_);
  glBindBuffer(GL_PIXEL_UNPACK_BUFFER, static_cast<GLuint>(unpackBuffer_));
  for (int unit = kUnits - 1; unit >= 0; --unit) {
    glActiveTexture(GL_TEXTURE0 + static_cast<GLenum>(unit));
    glBindTexture(GL_TEXTURE_2D, static_cast<GLuint>(textures_[static_cast<std::size_t>(unit)]));
    glBindSampler(static_cast<GLuint>(unit),
                  static_cast<GLuint>(samplers_[static_cast<std::size_t>(unit)]));
  }
  glActiveTexture(static_cast<GLenum>(activeTexture_));
  glBindVertexArray(static_cast<GLuint>(vertexArray_));
  glUseProgram(static_cast<GLuint>(program_));
  glViewport(viewport_[0], viewport_[1], viewport_[2], viewport_[3]);
  glBindFramebuffer(GL_DRAW_FRAMEBUFFER, static_cast<GLuint>(drawFramebuffer_));
  glBindFramebuffer(GL_READ_FRAMEBUFFER, static_cast<GLuint>(readFramebuffer_));
}

}  // namespace zent
