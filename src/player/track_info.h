#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace zent {

struct Resolution {
  int64_t width = 0;
  int64_t height = 0;
};

// One video variant of the open content.
struct TrackInfo {
  Resolution resolution;
  float frameRate = 0.0f;
  int64_t bitRate = 0;            // peak bit rate, bits per second
  std::optional<std::string> id;  // "0", "1", ... in list order
};

}  // namespace zent
