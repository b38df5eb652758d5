#pragma once

#include <utility>

#include "player/media_player.h"

namespace zent {

// Caption output of an item: its sink receives the plain text of the caption on
// screen (an empty list when it clears), always on the main queue.
class GstLegibleOutput final : public LegibleOutput {
 public:
  explicit GstLegibleOutput(Sink sink) : sink_(std::move(sink)) {}
  void deliver(const std::vector<std::string>& strings) const {
    if (sink_) sink_(strings);
  }

 private:
  const Sink sink_;
};

}  // namespace zent
