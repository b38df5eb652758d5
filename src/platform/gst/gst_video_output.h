#pragma once

#include <gst/gst.h>

#include <atomic>
#include <mutex>

#include "render/video_output.h"

namespace zent {

// Frame source fed by an item's video appsink. The appsink is synchronised to the
// pipeline clock, so the newest sample is the frame to show now; only that one is
// kept. The streaming thread delivers, the host's render thread polls; both under
// the output's own small lock, which nothing else is taken under.
class GstVideoOutput final : public VideoOutput {
 public:
  GstVideoOutput() = default;
  ~GstVideoOutput() override;
  GstVideoOutput(const GstVideoOutput&) = delete;
  GstVideoOutput& operator=(const GstVideoOutput&) = delete;

  // The frames follow the playback clock, so the item time asked for is not
  // needed to pick one: the newest frame is always the current one.
  bool hasNewPixelBuffer(double itemTimeSeconds) override;
  // The newest frame (whether or not it was handed out before), marking it handed
  // out; null before the first frame.
  std::shared_ptr<PixelBuffer> copyPixelBuffer(double itemTimeSeconds) override;
  void setRgbaWanted(bool wanted) override { rgbaWanted_.store(wanted); }
  bool rgbaWanted() const { return rgbaWanted_.load(); }

  // Streaming thread: keeps a reference to the sample as the newest frame.
  void deliver(GstSample* sample);
  // Forgets the newest frame (the output was detached from its item).
  void clear();

 private:
  std::mutex mutex_;
  GstSample* newest_ = nullptr;
  bool fresh_ = false;
  std::atomic<bool> rgbaWanted_{false};
};

}  // namespace zent
