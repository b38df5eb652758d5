#include "metadata/metadata_delegate.h"

#include "metadata/id3_reader.h"

namespace zent {

void MetadataDelegate::metadataOutput(const std::vector<uint8_t>& id3Tag) {
  if (!id3MetadataInfo) return;
  for (const Id3Frame& frame : readId3Tags(id3Tag)) {
    id3MetadataInfo->checkMetadata(frame.id, frame.value());
  }
}

}  // namespace zent
