#include "support/scoped_temp_dir.h"

#include <stdlib.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "support/file_util.h"

namespace fs = std::filesystem;

namespace zent::test {

ScopedTempDir::ScopedTempDir() {
  std::string pattern = (fs::temp_directory_path() / "zent-test-XXXXXX").string();
  std::vector<char> buffer(pattern.begin(), pattern.end());
  buffer.push_back('\0');
  if (!mkdtemp(buffer.data())) {
    throw std::runtime_error("mkdtemp " + pattern + ": " + std::strerror(errno));
  }
  path_ = buffer.data();
}

ScopedTempDir::~ScopedTempDir() {
  std::error_code ec;
  fs::remove_all(path_, ec);
}

std::string ScopedTempDir::file(std::string_view name) const {
  return (fs::path(path_) / name).string();
}

std::string ScopedTempDir::write(std::string_view name, std::string_view content) const {
  fs::path target = fs::path(path_) / name;
  fs::create_directories(target.parent_path());
  writeFile(target.string(), content);
  return target.string();
}

}  // namespace zent::test
