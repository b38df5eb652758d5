#pragma once

#include <cstdint>

namespace zent {

// Layout of a decoded frame as the decoder produced it.
enum class PixelFormat { I420, NV12, BGRA, RGBA };

// Colour matrix and range of YUV frames, from the stream's caps (colorimetry).
enum class ColorMatrix { BT601, BT709 };
enum class ColorRange { Limited, Full };

struct PlaneView {
  const uint8_t* data = nullptr;
  int32_t stride = 0;  // bytes per row
  int32_t width = 0;   // in samples of this plane (a sample of a BGRA plane is 4 bytes)
  int32_t height = 0;
};

// One decoded video frame, mapped for reading for as long as the object lives.
class PixelBuffer {
 public:
  virtual ~PixelBuffer() = default;
  virtual PixelFormat format() const = 0;
  virtual int32_t width() const = 0;
  virtual int32_t height() const = 0;
  virtual int32_t planeCount() const = 0;
  virtual PlaneView plane(int32_t index) const = 0;
  virtual ColorMatrix matrix() const = 0;
  virtual ColorRange range() const = 0;
};

}  // namespace zent
