#pragma once

#include <gst/gst.h>
#include <gst/video/video.h>

#include <memory>

#include "render/pixel_buffer.h"

namespace zent {

// One decoded frame of a GstSample, mapped for reading while the object lives.
class GstPixelBuffer final : public PixelBuffer {
 public:
  // Maps the sample's buffer with the sample's caps; null when the caps are not
  // raw video of a format PixelFormat names or the buffer cannot be mapped.
  static std::shared_ptr<GstPixelBuffer> fromSample(GstSample* sample);
  ~GstPixelBuffer() override;

  GstPixelBuffer(const GstPixelBuffer&) = delete;
  GstPixelBuffer& operator=(const GstPixelBuffer&) = delete;

  PixelFormat format() const override { return format_; }
  int32_t width() const override;
  int32_t height() const override;
  int32_t planeCount() const override;
  PlaneView plane(int32_t index) const override;
  ColorMatrix matrix() const override;
  ColorRange range() const override;

 private:
  GstPixelBuffer() = default;

  GstVideoFrame frame_{};
  PixelFormat format_ = PixelFormat::I420;
};

// The PixelFormat of a GStreamer video format, or nothing for any other.
bool pixelFormatOf(GstVideoFormat format, PixelFormat* out);

}  // namespace zent
