#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace zent {

struct FetchOptions {
  long connectTimeoutSeconds = 10;
  long totalTimeoutSeconds = 30;
  // A peer that sends nothing for this long is given up on: a playlist server
  // silent for longer than a long HLS target duration has failed the player
  // anyway, and the load waits no longer than the connect step may.
  long stallTimeoutSeconds = 10;
  std::size_t maxBytes = 16 * 1024 * 1024;  // larger bodies are refused, not truncated
  std::vector<std::string> headers;         // "Name: value"
  const std::atomic<bool>* cancelFlag = nullptr;
  // A read whose result only adds to another read's, which reports the
  // content's failure: the manifest readers log its failure as a WARNING.
  bool auxiliary = false;
  // Sniffing: once the first `sniffBytes` bytes are in (0: never), `wanted` is
  // asked, with the response's Content-Type ("" for files), whether the whole
  // resource is worth reading. When it says no, the read stops there and the
  // result is ok, stoppedEarly, with the bytes read so far: a media file at an
  // address that says nothing of its kind is not downloaded to find out.
  std::size_t sniffBytes = 0;
  std::function<bool(std::string_view contentType, std::string_view firstBytes)> wanted;
};

struct FetchResult {
  bool ok = false;
  std::string body;
  std::string effectiveUrl;   // after redirects; the path for local files
  long httpStatus = 0;        // 0 for local files
  std::string contentType;    // the response's Content-Type, "" when none (files)
  bool stoppedEarly = false;  // sniffing said the rest is not wanted
  std::string error;          // the reason, as a host developer can act on it
};

// Reads a whole text resource: an http(s) URL (redirects followed), a file:// URL
// or a local path. Never throws; failures come back with ok false and a reason.
FetchResult fetchText(const std::string& urlOrPath, const FetchOptions& options = {});

// Resolves a reference found in a document at baseUrl (relative or absolute).
std::string resolveUrl(const std::string& baseUrl, const std::string& reference);

}  // namespace zent
