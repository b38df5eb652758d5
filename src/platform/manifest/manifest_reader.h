#pragma once

// Reads the variant and rendition lists of an HLS or DASH manifest.
//
// The MIME selector is the host's integer content type:
//   1  "application/x-mpegURL": the text is read as HLS, whatever it holds;
//   2  "application/dash+xml":  the text is read as a DASH MPD;
//   0  no declared type, and any other value (declared as an empty type):
//      the type is guessed from the content ("#EXTM3U" -> HLS, an XML
//      document whose root element is MPD -> DASH, anything else -> not a
//      manifest, silently).
// A declared type wins: HLS text read with selector 2 is a bad MPD.
//
// Failures never throw. A document that cannot be read at all (fetch failure,
// body over the size cap, wrong type, not well-formed) gives Kind::Unknown or
// an empty list and one ERROR line through Logger; a variant or rendition with
// a missing or bad attribute is skipped with one WARNING line. Thread-safe:
// no shared state.

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/manifest/manifest_info.h"
#include "support/text_fetcher.h"

namespace zent {

inline constexpr int64_t kManifestSelectorNone = 0;
inline constexpr int64_t kManifestSelectorHls = 1;
inline constexpr int64_t kManifestSelectorDash = 2;

// Fetches `url` (http(s), file:// or a local path) with fetchText and parses
// it; relative references resolve against the address after redirects.
// Blocking; honours options.cancelFlag (a cancelled read gives Kind::Unknown
// with a DEBUG line, not an ERROR).
//
// With no declared type, URLs whose path names a plain media file (.mp4,
// .mkv, .webm, .mov, .mp3, ...) are not fetched at all: they give Kind::Unknown
// at once, so opening a progressive file does not download it twice.
ManifestInfo readManifest(const std::string& url, int64_t mimeSelector,
                          const FetchOptions& options = {});

// Parses a manifest already in memory. `baseUrl` is the document's address,
// used to resolve relative URIs and to name the document in log lines.
ManifestInfo parseManifest(std::string_view text, const std::string& baseUrl, int64_t mimeSelector);

}  // namespace zent
