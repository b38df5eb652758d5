// The ID3v2 reader, the record it feeds and the transport-stream and packed-audio
// extractors on any bytes.
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "metadata/metadata_delegate.h"
#include "metadata/timed_id3_extractors.h"
#include "support/logger.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  zent::Logger::setCurrentLogLevel(zent::LogLevel::NONE);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::span<const uint8_t> input(data, size);

  zent::MetadataDelegate delegate;
  delegate.metadataOutput(std::vector<uint8_t>(input.begin(), input.end()));
  for (int i = 0; i < zent::ID3MetadataInfo::kFieldCount; ++i) {
    (void)delegate.id3MetadataInfo->field(i).size();
  }

  // The first byte picks the size of the extractors' pieces.
  size_t piece = size > 0 ? 1 + data[0] % 200 : 1;
  std::vector<std::vector<uint8_t>> found;
  zent::TransportStreamId3Extractor ts([&](std::vector<uint8_t> tag) { found.push_back(tag); });
  zent::PackedAudioId3Extractor packed([&](std::vector<uint8_t> tag) { found.push_back(tag); });
  for (size_t at = 0; at < size; at += piece) {
    std::span<const uint8_t> chunk = input.subspan(at, std::min(piece, size - at));
    ts.feed(chunk, at == 0);
    packed.feed(chunk, at == 0 || (data[at] & 0x80));
  }
  for (const std::vector<uint8_t>& tag : found) delegate.metadataOutput(tag);
  return 0;
}
