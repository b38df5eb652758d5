// Reading and writing the bits of HLS playlists that the fixtures need.
#ifndef ZENT_TESTS_SUPPORT_HLS_TEXT_H
#define ZENT_TESTS_SUPPORT_HLS_TEXT_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zent::test {

struct HlsSegment {
  double duration = 0;  // EXTINF
  std::string uri;      // as written in the playlist
};

// The segments of a media playlist, in order (EXTINF lines and the URI lines
// after them; other tags are ignored).
std::vector<HlsSegment> parseMediaSegments(std::string_view playlist);

// "2024-05-01T12:00:00.000Z" for milliseconds since 1970 (UTC).
std::string iso8601Utc(int64_t epochMs);

}  // namespace zent::test

#endif
