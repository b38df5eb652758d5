#include "support/file_util.h"

#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>

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

void writeFileAtomically(const std::string& path, std::string_view content) {
  static std::atomic<unsigned> counter{0};
  const std::string temp =
      path + ".tmp-" + std::to_string(getpid()) + "-" + std::to_string(counter.fetch_add(1));
  writeFile(temp, content);
  std::error_code ec;
  fs::rename(temp, path, ec);
  if (ec) {
    fs::remove(temp, ec);
    throw std::runtime_error("cannot rename onto " + path);
  }
}

void linkOrCopy(const std::string& from, const std::string& to) {
  std::error_code ec;
  fs::create_hard_link(from, to, ec);
  if (!ec) return;
  fs::copy_file(from, to, fs::copy_options::overwrite_existing);
}

}  // namespace zent::test
