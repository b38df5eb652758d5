#include "platform/gst/gst_video_output.h"

#include "platform/gst/gst_pixel_buffer.h"

namespace zent {

GstVideoOutput::~GstVideoOutput() {
  if (newest_ != nullptr) gst_sample_unref(newest_);
}

bool GstVideoOutput::hasNewPixelBuffer(double) {
  std::lock_guard lock(mutex_);
  return fresh_;
}

std::shared_ptr<PixelBuffer> GstVideoOutput::copyPixelBuffer(double) {
  GstSample* sample = nullptr;
  {
    std::lock_guard lock(mutex_);
    if (newest_ == nullptr) return nullptr;
    sample = gst_sample_ref(newest_);
    fresh_ = false;
  }
  // Mapping happens outside the lock so the streaming thread never waits on it.
  std::shared_ptr<PixelBuffer> frame = GstPixelBuffer::fromSample(sample);
  gst_sample_unref(sample);
  return frame;
}

void GstVideoOutput::deliver(GstSample* sample) {
  GstSample* previous = nullptr;
  {
    std::lock_guard lock(mutex_);
    previous = newest_;
    newest_ = gst_sample_ref(sample);
    fresh_ = true;
  }
  if (previous != nullptr) gst_sample_unref(previous);
}

void GstVideoOutput::clear() {
  GstSample* previous = nullptr;
  {
    std::lock_guard lock(mutex_);
    previous = newest_;
    newest_ = nullptr;
    fresh_ = false;
  }
  if (previous != nullptr) gst_sample_unref(previous);
}

}  // namespace zent
