#include "support/http_request.h"

#include <algorithm>
#include <cctype>
#include <charconv>

namespace zent::test {
namespace {

bool equalsIgnoreCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) ==
                  std::tolower(static_cast<unsigned char>(y));
         });
}

std::string_view trim(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r')) {
    text.remove_suffix(1);
  }
  return text;
}

bool parseNumber(std::string_view text, uint64_t* value) {
  if (text.empty()) return false;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), *value);
  return error == std::errc() && end == text.data() + text.size();
}

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

std::string HttpRequest::header(std::string_view name) const {
  for (const auto& [key, value] : headers) {
    if (equalsIgnoreCase(key, name)) return value;
  }
  return "";
}

bool HttpRequest::keepAlive() const {
  std::string connection = header("Connection");
  std::transform(connection.begin(), connection.end(), connection.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (connection.find("close") != std::string::npos) return false;
  if (version == "HTTP/1.0") return connection.find("keep-alive") != std::string::npos;
  return true;
}

std::optional<HttpRequest> parseHttpRequest(std::string_view head) {
  HttpRequest request;
  size_t lineEnd = head.find("\r\n");
  std::string_view requestLine = head.substr(0, lineEnd);
  size_t firstSpace = requestLine.find(' ');
  size_t lastSpace = requestLine.rfind(' ');
  if (firstSpace == std::string_view::npos || lastSpace == firstSpace) return std::nullopt;
  request.method = std::string(requestLine.substr(0, firstSpace));
  request.target = std::string(requestLine.substr(firstSpace + 1, lastSpace - firstSpace - 1));
  request.version = std::string(requestLine.substr(lastSpace + 1));
  if (request.method.empty() || request.target.empty() ||
      (request.version != "HTTP/1.1" && request.version != "HTTP/1.0")) {
    return std::nullopt;
  }

  std::string_view target = request.target;
  // An absolute-form target ("http://host/path") is accepted as well.
  if (target.substr(0, 7) == "http://") {
    size_t slash = target.find('/', 7);
    target = slash == std::string_view::npos ? std::string_view("/") : target.substr(slash);
  }
  std::string_view rawPath = target.substr(0, target.find_first_of("?#"));
  std::optional<std::string> path = percentDecode(rawPath);
  if (!path || path->empty() || (*path)[0] != '/') return std::nullopt;
  request.path = *path;

  while (lineEnd != std::string_view::npos) {
    size_t start = lineEnd + 2;
    lineEnd = head.find("\r\n", start);
    std::string_view line = head.substr(
        start, lineEnd == std::string_view::npos ? std::string_view::npos : lineEnd - start);
    if (line.empty()) continue;
    size_t colon = line.find(':');
    if (colon == std::string_view::npos || colon == 0) return std::nullopt;
    request.headers.emplace_back(std::string(line.substr(0, colon)),
                                 std::string(trim(line.substr(colon + 1))));
  }
  return request;
}

RangeResult parseRange(std::string_view value, uint64_t size, ByteRange* range) {
  value = trim(value);
  constexpr std::string_view kUnit = "bytes=";
  if (value.size() < kUnit.size() || !equalsIgnoreCase(value.substr(0, kUnit.size()), kUnit)) {
    return RangeResult::None;
  }
  value.remove_prefix(kUnit.size());
  if (value.find(',') != std::string_view::npos) return RangeResult::None;
  size_t dash = value.find('-');
  if (dash == std::string_view::npos) return RangeResult::None;
  std::string_view from = trim(value.substr(0, dash));
  std::string_view to = trim(value.substr(dash + 1));

  uint64_t first = 0;
  uint64_t last = 0;
  if (from.empty()) {  // suffix: the final N bytes
    uint64_t suffix = 0;
    if (!parseNumber(to, &suffix)) return RangeResult::None;
    if (suffix == 0 || size == 0) return RangeResult::Unsatisfiable;
    first = suffix >= size ? 0 : size - suffix;
    last = size - 1;
  } else {
    if (!parseNumber(from, &first)) return RangeResult::None;
    if (to.empty()) {
      last = size == 0 ? 0 : size - 1;
    } else {
      if (!parseNumber(to, &last) || last < first) return RangeResult::None;
      if (size > 0) last = std::min(last, size - 1);
    }
    if (first >= size) return RangeResult::Unsatisfiable;
  }
  range->first = first;
  range->last = last;
  return RangeResult::Satisfiable;
}

std::string contentTypeFor(std::string_view path) {
  static const std::pair<std::string_view, std::string_view> kTypes[] = {
      {".m3u8", "application/vnd.apple.mpegurl"},
      {".mpd", "application/dash+xml"},
      {".mp4", "video/mp4"},
      {".m4v", "video/mp4"},
      {".m4s", "video/iso.segment"},
      {".m4a", "audio/mp4"},
      {".ts", "video/mp2t"},
      {".aac", "audio/aac"},
      {".mp3", "audio/mpeg"},
      {".vtt", "text/vtt"},
      {".srt", "application/x-subrip"},
      {".mkv", "video/x-matroska"},
      {".webm", "video/webm"},
      {".avi", "video/x-msvideo"},
      {".json", "application/json"},
      {".xml", "application/xml"},
      {".txt", "text/plain"},
      {".html", "text/html"},
  };
  size_t dot = path.rfind('.');
  size_t slash = path.rfind('/');
  if (dot != std::string_view::npos && (slash == std::string_view::npos || dot > slash)) {
    std::string_view extension = path.substr(dot);
    for (const auto& [suffix, type] : kTypes) {
      if (equalsIgnoreCase(extension, suffix)) return std::string(type);
    }
  }
  return "application/octet-stream";
}

const char* reasonPhrase(int status) {
  switch (status) {
    case 200:
      return "OK";
    case 204:
      return "No Content";
    case 206:
      return "Partial Content";
    case 301:
      return "Moved Permanently";
    case 302:
      return "Found";
    case 304:
      return "Not Modified";
    case 400:
      return "Bad Request";
    case 401:
      return "Unauthorized";
    case 403:
      return "Forbidden";
    case 404:
      return "Not Found";
    case 405:
      return "Method Not Allowed";
    case 408:
      return "Request Timeout";
    case 410:
      return "Gone";
    case 416:
      return "Range Not Satisfiable";
    case 429:
      return "Too Many Requests";
    case 500:
      return "Internal Server Error";
    case 501:
      return "Not Implemented";
    case 502:
      return "Bad Gateway";
    case 503:
      return "Service Unavailable";
    case 504:
      return "Gateway Timeout";
    default:
      return "Unknown";
  }
}

std::optional<std::string> percentDecode(std::string_view text) {
  std::string decoded;
  decoded.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      decoded.push_back(text[i]);
      continue;
    }
    if (i + 2 >= text.size()) return std::nullopt;
    int high = hexValue(text[i + 1]);
    int low = hexValue(text[i + 2]);
    if (high < 0 || low < 0 || (high == 0 && low == 0)) return std::nullopt;
    decoded.push_back(static_cast<char>(high * 16 + low));
    i += 2;
  }
  return decoded;
}

}  // namespace zent::test
