// A fresh directory under the system temp dir, removed with its contents when
// the object goes away.
#ifndef ZENT_TESTS_SUPPORT_SCOPED_TEMP_DIR_H
#define ZENT_TESTS_SUPPORT_SCOPED_TEMP_DIR_H

#include <string>
#include <string_view>

namespace zent::test {

class ScopedTempDir {
 public:
  ScopedTempDir();  // throws std::runtime_error when it cannot be made
  ~ScopedTempDir();
  ScopedTempDir(const ScopedTempDir&) = delete;
  ScopedTempDir& operator=(const ScopedTempDir&) = delete;

  const std::string& path() const { return path_; }
  // path()/name (not created).
  std::string file(std::string_view name) const;
  // Writes `content` to path()/name (subdirectories created) and returns its path.
  std::string write(std::string_view name, std::string_view content) const;

 private:
  std::string path_;
};

}  // namespace zent::test

#endif
