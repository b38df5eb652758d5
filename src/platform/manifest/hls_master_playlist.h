#pragma once

#include <string>
#include <string_view>

#include "platform/manifest/manifest_info.h"
#include "platform/manifest/manifest_text.h"

namespace zent::manifest {

// True when the playlist declares variants or renditions (EXT-X-STREAM-INF,
// EXT-X-MEDIA), i.e. it is a master playlist rather than a media playlist.
bool isHlsMasterPlaylist(std::string_view text);

// Reads an HLS playlist known to start with #EXTM3U: a master playlist gives
// its video variants and renditions, a media playlist an empty HlsMedia result.
ManifestInfo parseHlsPlaylist(std::string_view text, const std::string& baseUrl, ProblemLog& log);

}  // namespace zent::manifest
