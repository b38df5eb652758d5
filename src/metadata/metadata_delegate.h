#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "metadata/id3_metadata_info.h"

namespace zent {

// Receives the ID3 tags the stream carries and keeps the latest value of each
// known frame in id3MetadataInfo. Owned by one player and called only on the
// main queue under that player's lock, so it has no lock of its own.
class MetadataDelegate {
 public:
  MetadataDelegate() : id3MetadataInfo(std::make_shared<ID3MetadataInfo>()) {}

  // One whole ID3 tag (or several back to back) from the stream, in stream
  // order. Each frame is handed to checkMetadata in the order it was read; a
  // malformed tag is logged and its whole frames before the fault still count.
  void metadataOutput(const std::vector<uint8_t>& id3Tag);

  // Drops the record (the player's Release); later tags are ignored.
  void clear() { id3MetadataInfo.reset(); }

  std::shared_ptr<ID3MetadataInfo> id3MetadataInfo;
};

}  // namespace zent
