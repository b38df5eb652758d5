// HTTP/1.1 request parsing and the response vocabulary of the test server.
#ifndef ZENT_TESTS_SUPPORT_HTTP_REQUEST_H
#define ZENT_TESTS_SUPPORT_HTTP_REQUEST_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zent::test {

struct HttpRequest {
  std::string method;   // "GET"
  std::string target;   // as sent: "/hls/master.m3u8?x=1"
  std::string path;     // percent-decoded, without the query: "/hls/master.m3u8"
  std::string version;  // "HTTP/1.1"
  std::vector<std::pair<std::string, std::string>> headers;  // in order, names as sent

  // The first header of that name (case-insensitive), or "" when absent.
  std::string header(std::string_view name) const;
  // Whether the client wants the connection kept open after the response.
  bool keepAlive() const;
};

// Parses a request head (request line and headers, without the blank line).
// Returns nullopt when it is not a well-formed HTTP/1.x request head.
std::optional<HttpRequest> parseHttpRequest(std::string_view head);

// A byte range resolved against a file size: bytes [first, last].
struct ByteRange {
  uint64_t first = 0;
  uint64_t last = 0;
};

enum class RangeResult { None, Satisfiable, Unsatisfiable };

// Interprets a Range header ("bytes=0-99", "bytes=100-", "bytes=-50") against
// `size`. Malformed values and multiple ranges count as None (the whole file
// is sent, as RFC 9110 allows); a start at or beyond the end is Unsatisfiable.
RangeResult parseRange(std::string_view value, uint64_t size, ByteRange* range);

// The Content-Type the server sends for a path, by extension.
std::string contentTypeFor(std::string_view path);

// "OK", "Not Found", ... ("Unknown" for codes it does not know).
const char* reasonPhrase(int status);

// Decodes %XX escapes; nullopt when an escape is malformed or decodes to NUL.
std::optional<std::string> percentDecode(std::string_view text);

}  // namespace zent::test

#endif
