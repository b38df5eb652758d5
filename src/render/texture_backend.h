#pragma once

#include <cstdint>

#include "render/pixel_buffer.h"

namespace zent {

// What the renderer needs of the graphics API: turn a decoded frame into the
// texture handed to the host. The GL realisation works in whatever context the
// host has current on the calling thread.
class TextureBackend {
 public:
  virtual ~TextureBackend() = default;
  // Uploads the frame and converts it to an RGBA8 texture of the frame's size;
  // returns the texture handle (the GL texture name) or 0 when it cannot.
  virtual uintptr_t upload(const PixelBuffer& frame) = 0;
  // Whether a handle made earlier can be used on the calling thread now (for GL: a
  // context is current). Cheap: it runs on every poll without a new frame. A
  // backend that reports failures logs once per stretch of them.
  virtual bool contextReady() { return true; }
  // Whether frames should reach upload() already converted to RGBA by the media
  // engine (the context rasterises on the CPU; see frame_conversion.h). Known once
  // a frame has been uploaded in the context.
  virtual bool wantsRgbaFrames() const { return false; }
};

}  // namespace zent
