#pragma once

#include <utility>

#include "player/media_player.h"

namespace zent {

// Timed-metadata output of an item: its sink receives each whole ID3 tag, in
// stream order, always on the main queue.
class GstMetadataOutput final : public MetadataOutput {
 public:
  explicit GstMetadataOutput(Sink sink) : sink_(std::move(sink)) {}
  void deliver(const std::vector<uint8_t>& id3Tag) const {
    if (sink_) sink_(id3Tag);
  }

 private:
  const Sink sink_;
};

}  // namespace zent
