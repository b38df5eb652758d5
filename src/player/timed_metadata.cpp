// The ID3 record as hosts read it.
#include "metadata/metadata_delegate.h"
#include "player/zent_player.h"

namespace zent {

std::string ZentPlayer::id3Field(int64_t field) {
  LibraryLock lock(mutex_);
  if (!metadataDelegate || !metadataDelegate->id3MetadataInfo) return "";
  return metadataDelegate->id3MetadataInfo->field(field);
}

}  // namespace zent
