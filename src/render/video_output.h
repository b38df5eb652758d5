#pragma once

#include <memory>

#include "render/pixel_buffer.h"

namespace zent {

// Frame source of one player item: a sink synchronised to the playback clock that
// keeps only the newest decoded frame. A frame is "new" until it has been copied
// out once. Thread-safe: the engine's streaming thread fills it, the host's render
// thread polls it.
class VideoOutput {
 public:
  virtual ~VideoOutput() = default;
  virtual bool hasNewPixelBuffer(double itemTimeSeconds) = 0;
  // The newest frame, marking it handed out; null when there is none.
  virtual std::shared_ptr<PixelBuffer> copyPixelBuffer(double itemTimeSeconds) = 0;
  // Asks for frames converted to RGBA by the engine (true) or as decoded (false),
  // from the next frame the engine makes on. Cheap when nothing changes: the
  // renderer says it after every upload.
  virtual void setRgbaWanted(bool) {}
};

}  // namespace zent
