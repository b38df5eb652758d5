#include "support/url.h"

#include <unistd.h>

#include <cctype>

namespace zent {
namespace {

bool isSchemeChar(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) || c == '+' || c == '-' || c == '.';
}

}  // namespace

std::optional<std::string> parseUrl(const std::string& text) {
  if (text.empty()) return std::nullopt;
  for (char c : text) {
    if (static_cast<unsigned char>(c) <= 0x20 || c == 0x7f) return std::nullopt;
  }
  if (text.front() == '/') return fileUrlFromPath(text);
  auto colon = text.find(':');
  if (colon == std::string::npos || colon == 0 || colon + 1 == text.size()) return std::nullopt;
  if (!std::isalpha(static_cast<unsigned char>(text.front()))) return std::nullopt;
  for (std::size_t i = 1; i < colon; ++i) {
    if (!isSchemeChar(text[i])) return std::nullopt;
  }
  return text;
}

std::string fileUrlFromPath(const std::string& path) {
  std::string absolute = path;
  if (absolute.empty() || absolute.front() != '/') {
    char cwd[4096];
    std::string base = getcwd(cwd, sizeof cwd) ? cwd : "/";
    absolute = base + (base.back() == '/' ? "" : "/") + path;
  }
  static const char* kHex = "0123456789ABCDEF";
  std::string url = "file://";
  for (unsigned char c : absolute) {
    if (std::isalnum(c) || c == '/' || c == '-' || c == '.' || c == '_' || c == '~') {
      url += static_cast<char>(c);
    } else {
      url += '%';
      url += kHex[c >> 4];
      url += kHex[c & 15];
    }
  }
  return url;
}

}  // namespace zent
