#include "render/frame_layout.h"

#include <cstring>
#include <limits>

namespace zent {
namespace {

constexpr std::size_t kPlaneAlignment = 64;

std::size_t alignUp(std::size_t value) {
  return (value + kPlaneAlignment - 1) / kPlaneAlignment * kPlaneAlignment;
}

struct PlaneShape {
  PlaneTexelFormat texel;
  int32_t bytesPerTexel;
  bool halfSize;  // 4:2:0 chroma: half the width and height, rounded up
};

PlaneShape planeShape(PixelFormat format, int32_t index) {
  switch (format) {
    case PixelFormat::I420:
      return {PlaneTexelFormat::R8, 1, index > 0};
    case PixelFormat::NV12:
      return index == 0 ? PlaneShape{PlaneTexelFormat::R8, 1, false}
                        : PlaneShape{PlaneTexelFormat::RG8, 2, true};
    case PixelFormat::BGRA:
    case PixelFormat::RGBA:
      return {PlaneTexelFormat::RGBA8, 4, false};
  }
  return {PlaneTexelFormat::R8, 1, false};
}

}  // namespace

const char* pixelFormatName(PixelFormat format) {
  switch (format) {
    case PixelFormat::I420:
      return "I420";
    case PixelFormat::NV12:
      return "NV12";
    case PixelFormat::BGRA:
      return "BGRA";
    case PixelFormat::RGBA:
      return "RGBA";
  }
  return "unknown";
}

int32_t expectedPlaneCount(PixelFormat format) {
  switch (format) {
    case PixelFormat::I420:
      return 3;
    case PixelFormat::NV12:
      return 2;
    case PixelFormat::BGRA:
    case PixelFormat::RGBA:
      return 1;
  }
  return 0;
}

bool describeFrame(const PixelBuffer& frame, FrameLayout& layout, std::string& problem) {
  layout = FrameLayout{};
  layout.format = frame.format();
  layout.width = frame.width();
  layout.height = frame.height();
  layout.planeCount = expectedPlaneCount(layout.format);
  const char* name = pixelFormatName(layout.format);
  if (layout.planeCount == 0) {
    problem = "the frame has an unknown pixel format";
    return false;
  }
  if (layout.width <= 0 || layout.height <= 0) {
    problem = std::string("the ") + name + " frame has no pixels (" + std::to_string(layout.width) +
              "x" + std::to_string(layout.height) + ")";
    return false;
  }
  if (frame.planeCount() < layout.planeCount) {
    problem = std::string("the ") + name + " frame has " + std::to_string(frame.planeCount()) +
              " planes instead of " + std::to_string(layout.planeCount);
    return false;
  }

  layout.chromaInterleaved = layout.format == PixelFormat::I420;
  std::size_t offset = 0;
  for (int32_t i = 0; i < layout.planeCount; ++i) {
    const PlaneShape shape = planeShape(layout.format, i);
    const PlaneView view = frame.plane(i);
    PlaneLayout& plane = layout.planes[static_cast<std::size_t>(i)];
    plane.texel = shape.texel;
    plane.bytesPerTexel = shape.bytesPerTexel;
    plane.width = shape.halfSize ? (layout.width + 1) / 2 : layout.width;
    plane.height = shape.halfSize ? (layout.height + 1) / 2 : layout.height;
    const int64_t rowBytes = int64_t{plane.width} * plane.bytesPerTexel;
    // Built only on failure: a good frame costs no allocation.
    auto where = [&] {
      return "plane " + std::to_string(i) + " of the " + std::string(name) + " frame";
    };
    if (view.data == nullptr) {
      problem = where() + " has no data";
      return false;
    }
    if (view.width < plane.width || view.height < plane.height) {
      problem = where() + " is " + std::to_string(view.width) + "x" + std::to_string(view.height) +
                ", smaller than " + std::to_string(plane.width) + "x" +
                std::to_string(plane.height);
      return false;
    }
    if (view.stride < rowBytes) {
      problem = where() + " has a stride of " + std::to_string(view.stride) +
                " bytes, shorter than a row of " + std::to_string(rowBytes);
      return false;
    }
    plane.sourceStride = view.stride;
    if (layout.chromaInterleaved && i > 0) {
      // Both chroma planes have the same size; V lands beside U in plane 1's rows.
      plane.uploadStride = static_cast<int32_t>(rowBytes) * 2;
      if (i == 2) {
        plane.uploadOffset = layout.planes[1].uploadOffset;
        continue;
      }
    } else {
      plane.uploadStride =
          view.stride % plane.bytesPerTexel == 0 ? view.stride : static_cast<int32_t>(rowBytes);
    }
    plane.uploadOffset = offset;
    const std::size_t planeBytes =
        static_cast<std::size_t>(plane.uploadStride) * static_cast<std::size_t>(plane.height);
    if (planeBytes > std::numeric_limits<std::size_t>::max() / 2 - offset) {
      problem = where() + " is too large";
      return false;
    }
    offset = alignUp(offset + planeBytes);
  }
  layout.uploadSize = offset;
  return true;
}

int32_t uploadTextureCount(const FrameLayout& layout) {
  return layout.chromaInterleaved ? 2 : layout.planeCount;
}

PlaneTexelFormat uploadTexel(const FrameLayout& layout, int32_t index) {
  if (layout.chromaInterleaved && index > 0) return PlaneTexelFormat::RG8;
  return layout.planes[static_cast<std::size_t>(index)].texel;
}

namespace {

// U and V rows side by side, as one row of two-byte texels.
void interleaveChroma(const PixelBuffer& frame, const PlaneLayout& plane, uint8_t* out) {
  const PlaneView u = frame.plane(1);
  const PlaneView v = frame.plane(2);
  const std::size_t width = static_cast<std::size_t>(plane.width);
  for (int32_t row = 0; row < plane.height; ++row) {
    const uint8_t* __restrict us = u.data + static_cast<std::size_t>(row) * u.stride;
    const uint8_t* __restrict vs = v.data + static_cast<std::size_t>(row) * v.stride;
    uint8_t* __restrict o = out + static_cast<std::size_t>(row) * plane.uploadStride;
    for (std::size_t x = 0; x < width; ++x) {
      o[2 * x] = us[x];
      o[2 * x + 1] = vs[x];
    }
  }
}

void copyPlane(const PixelBuffer& frame, const FrameLayout& layout, int32_t i,
               uint8_t* destination) {
  const PlaneLayout& plane = layout.planes[static_cast<std::size_t>(i)];
  const PlaneView view = frame.plane(i);
  uint8_t* out = destination + plane.uploadOffset;
  if (layout.chromaInterleaved && i > 0) {
    if (i == 1) interleaveChroma(frame, plane, out);
    return;
  }
  const std::size_t rowBytes = static_cast<std::size_t>(plane.width) * plane.bytesPerTexel;
  if (plane.uploadStride == plane.sourceStride) {
    // One block: every row but the last at full stride, the last without padding
    // (the source may end right after it).
    const std::size_t block =
        static_cast<std::size_t>(plane.sourceStride) * (plane.height - 1) + rowBytes;
    std::memcpy(out, view.data, block);
  } else {
    for (int32_t row = 0; row < plane.height; ++row) {
      std::memcpy(out + static_cast<std::size_t>(row) * plane.uploadStride,
                  view.data + static_cast<std::size_t>(row) * plane.sourceStride, rowBytes);
    }
  }
}

}  // namespace

void copyPlanes(const PixelBuffer& frame, const FrameLayout& layout, uint8_t* destination) {
  for (int32_t i = 0; i < layout.planeCount; ++i) copyPlane(frame, layout, i, destination);
}

bool uploadsFromFrame(const FrameLayout& layout, int32_t index) {
  if (layout.chromaInterleaved && index > 0) return false;
  const PlaneLayout& plane = layout.planes[static_cast<std::size_t>(index)];
  return plane.uploadStride == plane.sourceStride;
}

bool stagePlanes(const PixelBuffer& frame, const FrameLayout& layout, uint8_t* destination) {
  bool staged = false;
  for (int32_t i = 0; i < layout.planeCount; ++i) {
    // Interleaved chroma is one upload texture made from planes 1 and 2.
    const int32_t texture = layout.chromaInterleaved && i > 1 ? 1 : i;
    if (uploadsFromFrame(layout, texture)) continue;
    copyPlane(frame, layout, i, destination);
    staged = true;
  }
  return staged;
}

}  // namespace zent
