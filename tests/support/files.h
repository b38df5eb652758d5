// Small file helpers for tests and fixtures, and a scoped temporary directory.
#ifndef ZENT_TESTS_SUPPORT_FILES_H
#define ZENT_TESTS_SUPPORT_FILES_H

#include <string>
#include <string_view>

namespace zent::test {

// The whole file; throws std::runtime_error when it cannot be read.
std::string readFile(const std::string& path);
// Creates or replaces `path` with `content`; throws on failure.
void writeFile(const std::string& path, std::string_view content);
// Hard-links `from` at `to` (same file system), copying when linking fails.
void linkOrCopy(const std::string& from, const std::string& to);

// A fresh directory under the system temp dir, removed with its contents when
// the object goes away.
class ScopedTempDir {
 public:
  ScopedTempDir();  // throws std::runtime_error when it cannot be made
  ~ScopedTempDir();
  ScopedTempDir(const ScopedTempDir&) = delete;
  ScopedTempDir& operator=(const ScopedTempDir&) = delete;

  const std::string& path() const { return path_; }
  std::string file(std::string_view name) const;  // path()/name (not created)
  // Writes `content` to path()/name (subdirectories created) and returns its path.
  std::string write(std::string_view name, std::string_view content) const;

 private:
  std::string path_;
};

}  // namespace zent::test

#endif
