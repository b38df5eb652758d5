#pragma once

#include <cstdint>
#include <optional>

#include "render/video_size_info.h"

namespace zent {

// Shared player types: the status reported to the host and the presented video size.
class PlayerInfo {
 public:
  enum class ZentPlayerStatus : int8_t { NONE = 0, CLOSE = 1, STOP = 2, PLAY = 3, PAUSE = 4 };

  // Height first, the reverse of Resolution; the renderer keeps the same record.
  using videoSizeInfo = VideoSizeInfo;

  // The status for a raw value 0..4; nothing for any other value.
  static std::optional<ZentPlayerStatus> statusFromRaw(int64_t raw) {
    if (static_cast<uint64_t>(raw) >= 5) return std::nullopt;
    return static_cast<ZentPlayerStatus>(raw);
  }
};

using ZentPlayerStatus = PlayerInfo::ZentPlayerStatus;

}  // namespace zent
