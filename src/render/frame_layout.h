#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "render/pixel_buffer.h"

namespace zent {

// How one plane of a frame is held on the GPU.
enum class PlaneTexelFormat { R8, RG8, RGBA8 };

struct PlaneLayout {
  PlaneTexelFormat texel = PlaneTexelFormat::R8;
  int32_t bytesPerTexel = 1;
  int32_t width = 0;   // texels
  int32_t height = 0;  // rows
  int32_t sourceStride = 0;
  // Row pitch in the upload buffer: the source stride when it is a whole number of
  // texels (one block copy), else the packed row size (copied row by row).
  int32_t uploadStride = 0;
  std::size_t uploadOffset = 0;  // start of the plane in the upload buffer
};

// Where each plane of a frame goes, checked against what its format requires.
struct FrameLayout {
  PixelFormat format = PixelFormat::I420;
  int32_t width = 0;
  int32_t height = 0;
  int32_t planeCount = 0;
  std::array<PlaneLayout, 3> planes{};
  std::size_t uploadSize = 0;  // bytes of the whole upload buffer
};

// Number of planes and the texel format each must have for a pixel format.
int32_t expectedPlaneCount(PixelFormat format);

// Fills `layout` from the frame; on a frame that does not match its format (missing
// plane, plane too small, stride shorter than a row, no data) returns false and
// says why in `problem`.
bool describeFrame(const PixelBuffer& frame, FrameLayout& layout, std::string& problem);

// Copies the planes into the upload buffer at the offsets and pitches of `layout`.
void copyPlanes(const PixelBuffer& frame, const FrameLayout& layout, uint8_t* destination);

const char* pixelFormatName(PixelFormat format);

}  // namespace zent
