#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "render/pixel_buffer.h"

namespace zent {

// How one plane of a frame is held on the GPU.
enum class PlaneTexelFormat { R8, RG8, RGBA8 };

// Where each plane goes in the upload buffer. I420's two chroma planes share one
// RG8 texture, U and V interleaved as NV12 holds them: the conversion shader then
// makes one chroma lookup per pixel instead of two, which on a software rasteriser
// costs more than interleaving the quarter-size planes while they are copied.
struct PlaneLayout {
  PlaneTexelFormat texel = PlaneTexelFormat::R8;
  int32_t bytesPerTexel = 1;
  int32_t width = 0;   // texels
  int32_t height = 0;  // rows
  int32_t sourceStride = 0;
  // Row pitch in the upload buffer: the source stride when it is a whole number of
  // texels (one block copy), else the packed row size (copied row by row). For
  // interleaved chroma: the packed row of the shared RG8 texture.
  int32_t uploadStride = 0;
  std::size_t uploadOffset = 0;  // start of the plane (or shared texture) in the buffer
};

// Where each plane of a frame goes, checked against what its format requires.
struct FrameLayout {
  PixelFormat format = PixelFormat::I420;
  int32_t width = 0;
  int32_t height = 0;
  int32_t planeCount = 0;
  std::array<PlaneLayout, 3> planes{};
  std::size_t uploadSize = 0;  // bytes of the whole upload buffer
  // Planes 1 and 2 go interleaved into one RG8 texture at plane 1's offset.
  bool chromaInterleaved = false;
};

// The textures a frame is uploaded to: its planes, or for interleaved chroma the
// luma plane and one RG8 chroma texture.
int32_t uploadTextureCount(const FrameLayout& layout);
// Texel format of upload texture `index`.
PlaneTexelFormat uploadTexel(const FrameLayout& layout, int32_t index);

// Number of planes and the texel format each must have for a pixel format.
int32_t expectedPlaneCount(PixelFormat format);

// Fills `layout` from the frame; on a frame that does not match its format (missing
// plane, plane too small, stride shorter than a row, no data) returns false and
// says why in `problem`.
bool describeFrame(const PixelBuffer& frame, FrameLayout& layout, std::string& problem);

// Copies the planes into the upload buffer at the offsets and pitches of `layout`.
void copyPlanes(const PixelBuffer& frame, const FrameLayout& layout, uint8_t* destination);

// Whether upload texture `index` can be read straight from the frame's memory (its
// rows are whole texels, so the stride is the unpack row length), else it is taken
// from the upload buffer.
bool uploadsFromFrame(const FrameLayout& layout, int32_t index);
// Like copyPlanes, for the planes that are not uploaded from the frame; returns
// whether there were any.
bool stagePlanes(const PixelBuffer& frame, const FrameLayout& layout, uint8_t* destination);

const char* pixelFormatName(PixelFormat format);

}  // namespace zent
