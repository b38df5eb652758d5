// Small file helpers for tests and fixtures.
#ifndef ZENT_TESTS_SUPPORT_FILE_UTIL_H
#define ZENT_TESTS_SUPPORT_FILE_UTIL_H

#include <string>
#include <string_view>

namespace zent::test {

// The whole file; throws std::runtime_error when it cannot be read.
std::string readFile(const std::string& path);

// Creates or replaces `path` with `content`; throws on failure.
void writeFile(const std::string& path, std::string_view content);

// Writes `content` to a temporary name beside `path` and renames it over
// `path`, so a concurrent reader sees the old file or the new one, never a mix.
void writeFileAtomically(const std::string& path, std::string_view content);

// Hard-links `from` at `to` (same file system), copying when linking fails.
void linkOrCopy(const std::string& from, const std::string& to);

}  // namespace zent::test

#endif
