#pragma once

#include <cstdint>

namespace zent {

// Size in pixels of a decoded video frame: height first, then width.
struct VideoSizeInfo {
  int64_t height = 0;
  int64_t width = 0;

  bool operator==(const VideoSizeInfo&) const = default;
};

}  // namespace zent
