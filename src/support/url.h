#pragma once

#include <optional>
#include <string>

namespace zent {

// The URL to open for a string the host gave as a URL: "scheme:..." as it is, an
// absolute file-system path as a file:// URL. Nothing for text that does not
// parse as a URL (empty, no scheme, spaces or control characters).
std::optional<std::string> parseUrl(const std::string& text);

// A file:// URL for a file-system path; a relative path is taken from the
// current directory. The file need not exist.
std::string fileUrlFromPath(const std::string& path);

}  // namespace zent
