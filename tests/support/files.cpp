#include "support/files.h"

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace zent::test {

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("cannot read " + path);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

void writeFile(const std::string& path, std::string_view content) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(content.data(), static_cast<std::streamsize>(content.size()));
  out.close();
  if (!out) throw std::runtime_error("cannot write " + path);
}

void linkOrCopy(const std::string& from, const std::string& to) {
  std::error_code ec;
  fs::create_hard_link(from, to, ec);
  if (ec) fs::copy_file(from, to, fs::copy_options::overwrite_existing);
}

ScopedTempDir::ScopedTempDir() {
  std::string pattern = (fs::temp_directory_path() / "zent-test-XXXXXX").string();
  if (!mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp " + pattern + " failed");
  path_ = pattern;
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
