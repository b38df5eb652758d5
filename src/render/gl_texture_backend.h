#pragma once

#include <memory>

#include "render/texture_backend.h"

namespace zent {

// The OpenGL realisation of TextureBackend (GL 3.3 core or GLES 3.0, functions
// loaded through libepoxy). Works in whatever context is current on the calling
// thread when upload() runs; needs none to be made. Returns null when the system
// has no GL window-system library at all.
//
// The texture is RGBA8 at the frame's size, alpha 1 for YUV frames; its row 0 is
// the top row of the picture, as a plain glTexImage2D of the frame would be.
//
// Per context it keeps a luma and a chroma texture (I420's chroma planes are
// interleaved into one, as NV12's are; a BGRA frame uses one texture, an RGBA frame
// goes straight to the output), one framebuffer, one empty vertex array, the
// conversion programs and the RGBA8 output texture whose name is the handle; all
// are reused across frames and reallocated only when the frame size or format
// changes. Planes whose rows are whole texels are uploaded from the frame's own
// memory; the others go through a staging copy. If upload() finds a different context
// current than before, it makes new objects there and leaves the old ones to be
// deleted in their own context (see GlDeferredDeletion).
std::unique_ptr<TextureBackend> makeGlTextureBackend();

}  // namespace zent
