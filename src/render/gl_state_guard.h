#pragma once

#include <epoxy/gl.h>

#include <array>

namespace zent {

// Saves the GL state the conversion pass changes and restores it on destruction,
// so the host's rendering continues as if the call had not happened: framebuffer
// bindings, viewport, program, vertex array, active texture, the 2-D texture and
// sampler bindings of the units used, the pixel-unpack buffer and unpack parameters,
// the capabilities that would alter the pass (blend, depth, stencil, scissor, cull
// face, rasterizer discard) and the colour mask.
class GlStateGuard {
 public:
  static constexpr int kUnits = 2;  // luma and chroma

  GlStateGuard();
  ~GlStateGuard();
  GlStateGuard(const GlStateGuard&) = delete;
  GlStateGuard& operator=(const GlStateGuard&) = delete;

  // Puts the state the pass needs in place: no unpack buffer offsets or skips, the
  // capabilities off, every colour channel written, no sampler objects on our units.
  void prepareForConversion();

 private:
  GLint drawFramebuffer_ = 0;
  GLint readFramebuffer_ = 0;
  std::array<GLint, 4> viewport_{};
  GLint program_ = 0;
  GLint vertexArray_ = 0;
  GLint activeTexture_ = GL_TEXTURE0;
  std::array<GLint, kUnits> textures_{};
  std::array<GLint, kUnits> samplers_{};
  GLint unpackBuffer_ = 0;
  GLint unpackAlignment_ = 4;
  GLint unpackRowLength_ = 0;
  GLint unpackSkipRows_ = 0;
  GLint unpackSkipPixels_ = 0;
  std::array<GLboolean, 6> capabilities_{};
  std::array<GLboolean, 4> colorMask_{};
};

}  // namespace zent
