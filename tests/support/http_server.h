// A loopback HTTP/1.1 file server inside the test process (127.0.0.1, an
// ephemeral port): GET and HEAD, single byte ranges, keep-alive,
// "Cache-Control: no-cache", a thread per connection. Controls may be called
// from any thread; paths may be absolute under the root, relative to it, or
// request paths.
#ifndef ZENT_TESTS_SUPPORT_HTTP_SERVER_H
#define ZENT_TESTS_SUPPORT_HTTP_SERVER_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zent::test {

// One request as the server saw it.
struct HttpRequestRecord {
  std::string method;
  std::string path;    // request path, percent-decoded, without the query
  std::string target;  // the request target as sent
  std::vector<std::pair<std::string, std::string>> headers;
  int status = 0;           // the status answered, 0 while none has been sent (paused) or never
  uint64_t connection = 0;  // which connection carried it (1, 2, ... in accept order)

  std::string header(std::string_view name) const;
};

class HttpServer {
 public:
  // Serves `root` (default: the media cache); throws when it cannot listen.
  HttpServer();
  explicit HttpServer(std::string root);
  ~HttpServer();  // stop()
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  uint16_t port() const;
  const std::string& root() const;
  std::string url(std::string_view path) const;

  // The next `times` requests (all when < 0) for `path` get `status`.
  void setStatusFor(std::string_view path, int status, int times = -1);

  // While paused nothing is answered and transfers stall (for at most a
  // minute).
  void setPaused(bool paused);
  bool waitForStalled(int count, std::chrono::milliseconds timeout) const;

  // While refusing, connection attempts fail (ECONNREFUSED); returns once
  // applied.
  void setRefuseConnections(bool refuse);
  void dropConnections();

  enum class Hostile {
    None,             // answered normally
    NeverAnswer,      // the request is read and never answered
    StopAfterPart,    // the head and the first third of the file go out, then
                      // nothing
    RedirectLoop,     // "302 Found" back to the same target, every time
    EndlessPlaylist,  // a chunked HLS media playlist that never ends (4 MiB/s)
    Trickle,          // the file at 4 KiB per second
  };
  void setHostile(std::string_view path, Hostile kind);

  void setBytesPerSecond(uint64_t bytesPerSecond);

  // Holds each response for a random time in [shortest, longest].
  void setResponseDelay(std::chrono::milliseconds shortest, std::chrono::milliseconds longest);

  // Requests for `path`, any status, hanging ones included.
  int requestCount(std::string_view path) const;
  int totalRequestCount() const;
  uint64_t bytesSent() const;
  std::vector<HttpRequestRecord> requests() const;
  bool waitForRequests(std::string_view path, int count, std::chrono::milliseconds timeout) const;

  void stop();  // closes every connection; idempotent, no restart

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace zent::test

#endif
