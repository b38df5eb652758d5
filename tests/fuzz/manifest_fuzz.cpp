// The manifest reader on any bytes, as declared HLS, declared DASH, guessed content and
// an HLS media playlist, with the date mapping and URL resolution those paths use.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/manifest/hls_media_playlist.h"
#include "platform/manifest/manifest_reader.h"
#include "support/logger.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  zent::Logger::setCurrentLogLevel(zent::LogLevel::NONE);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string_view text(reinterpret_cast<const char*>(data), size);
  const std::string base = "https://cdn.example.com/live/stream/master.m3u8?token=1";

  for (int64_t selector :
       {zent::kManifestSelectorHls, zent::kManifestSelectorDash, zent::kManifestSelectorNone}) {
    zent::ManifestInfo info = zent::parseManifest(text, base, selector);
    for (const zent::VariantInfo& variant : info.videoVariants) {
      if (variant.peakBitRate < 0 || variant.width < 0 || variant.height < 0) __builtin_trap();
    }
  }

  if (auto playlist = zent::parseMediaPlaylist(text, base)) {
    double total = playlist->totalDurationSeconds();
    for (double offset : {0.0, total / 2, total, total + 1.0}) {
      (void)zent::segmentIndexAt(*playlist, offset);
      (void)zent::programDateAt(*playlist, offset);
    }
  }

  std::string asString(text.substr(0, 512));
  std::string resolved = zent::resolveUrl(base, asString);
  (void)zent::resolveUrl(asString, "../a/./b.m3u8?x#y");

  // Plain relative names take a short cut; "./name" the full RFC 3986 path: they agree.
  std::string_view path = std::string_view(asString).substr(0, asString.find_first_of("?#"));
  bool relativeName =
      !asString.empty() && std::string_view("/?#.").find(asString[0]) == std::string_view::npos;
  if (relativeName && path.find(':') == std::string_view::npos &&
      resolved != zent::resolveUrl(base, "./" + asString)) {
    __builtin_trap();
  }
  return 0;
}
