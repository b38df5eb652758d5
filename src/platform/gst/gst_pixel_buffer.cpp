#include "platform/gst/gst_pixel_buffer.h"

namespace zent {

bool pixelFormatOf(GstVideoFormat format, PixelFormat* out) {
  switch (format) {
    case GST_VIDEO_FORMAT_I420:
      *out = PixelFormat::I420;
      return true;
    case GST_VIDEO_FORMAT_NV12:
      *out = PixelFormat::NV12;
      return true;
    case GST_VIDEO_FORMAT_BGRA:
      *out = PixelFormat::BGRA;
      return true;
    case GST_VIDEO_FORMAT_RGBA:
      *out = PixelFormat::RGBA;
      return true;
    default:
      return false;
  }
}

std::shared_ptr<GstPixelBuffer> GstPixelBuffer::fromSample(GstSample* sample) {
  if (sample == nullptr) return nullptr;
  GstCaps* caps = gst_sample_get_caps(sample);
  GstBuffer* buffer = gst_sample_get_buffer(sample);
  if (caps == nullptr || buffer == nullptr) return nullptr;
  GstVideoInfo info;
  if (!gst_video_info_from_caps(&info, caps)) return nullptr;
  PixelFormat format;
  if (!pixelFormatOf(GST_VIDEO_INFO_FORMAT(&info), &format)) return nullptr;
  std::shared_ptr<GstPixelBuffer> frame(new GstPixelBuffer());
  // The mapped frame holds its own reference to the buffer until unmapped.
  if (!gst_video_frame_map(&frame->frame_, &info, buffer, GST_MAP_READ)) return nullptr;
  frame->format_ = format;
  return frame;
}

GstPixelBuffer::~GstPixelBuffer() {
  if (frame_.buffer != nullptr) gst_video_frame_unmap(&frame_);
}

int32_t GstPixelBuffer::width() const {
  return GST_VIDEO_FRAME_WIDTH(&frame_);
}
int32_t GstPixelBuffer::height() const {
  return GST_VIDEO_FRAME_HEIGHT(&frame_);
}
int32_t GstPixelBuffer::planeCount() const {
  return GST_VIDEO_FRAME_N_PLANES(&frame_);
}

PlaneView GstPixelBuffer::plane(int32_t index) const {
  PlaneView view;
  if (index < 0 || index >= planeCount()) return view;
  const GstVideoFormatInfo* formatInfo = frame_.info.finfo;
  view.data = static_cast<const uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(&frame_, index));
  view.stride = GST_VIDEO_FRAME_PLANE_STRIDE(&frame_, index);
  // Every plane of these formats holds one component group, so the width and
  // height of the plane's first component are the plane's sample counts.
  guint component = 0;
  for (guint c = 0; c < GST_VIDEO_FORMAT_INFO_N_COMPONENTS(formatInfo); ++c) {
    if (GST_VIDEO_FORMAT_INFO_PLANE(formatInfo, c) == static_cast<guint>(index)) {
      component = c;
      break;
    }
  }
  view.width = GST_VIDEO_FRAME_COMP_WIDTH(&frame_, component);
  view.height = GST_VIDEO_FRAME_COMP_HEIGHT(&frame_, component);
  return view;
}

ColorMatrix GstPixelBuffer::matrix() const {
  return frame_.info.colorimetry.matrix == GST_VIDEO_COLOR_MATRIX_BT709 ? ColorMatrix::BT709
                                                                        : ColorMatrix::BT601;
}

ColorRange GstPixelBuffer::range() const {
  return frame_.info.colorimetry.range == GST_VIDEO_COLOR_RANGE_0_255 ? ColorRange::Full
                                                                      : ColorRange::Limited;
}

}  // namespace zent
