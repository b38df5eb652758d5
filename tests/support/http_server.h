// A loopback HTTP/1.1 file server inside the test process (127.0.0.1, an
// ephemeral port): GET and HEAD, single byte ranges, keep-alive, a thread per
// connection, and a few hostile behaviours. Paths may be absolute under the
// root, relative to it, request paths or URLs.
#ifndef ZENT_TESTS_SUPPORT_HTTP_SERVER_H
#define ZENT_TESTS_SUPPORT_HTTP_SERVER_H

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace zent::test {

class HttpServer {
 public:
  // Serves `root` (default: the media cache); throws when it cannot listen.
  HttpServer();
  explicit HttpServer(std::string root);
  ~HttpServer();  // closes every connection
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  std::string url(std::string_view path) const;

  // While paused nothing is answered and transfers stall.
  void setPaused(bool paused);
  bool waitForStalled(int count, std::chrono::milliseconds timeout) const;

  enum class Hostile {
    None,             // answered normally
    NeverAnswer,      // the request is read and never answered
    StopAfterPart,    // the head and the first third of the file, then nothing
    RedirectLoop,     // "302 Found" back to the same target, every time
    EndlessPlaylist,  // a chunked HLS media playlist that never ends (4 MiB/s)
    Trickle,          // the file at 4 KiB per second
  };
  void setHostile(std::string_view path, Hostile kind);
  void setBytesPerSecond(uint64_t bytesPerSecond);  // 0: unlimited
  // Holds each response for a random time in [shortest, longest].
  void setResponseDelay(std::chrono::milliseconds shortest, std::chrono::milliseconds longest);

  // Requests for `path`, any status, hanging ones included.
  int requestCount(std::string_view path) const;
  int totalRequestCount() const;
  uint64_t bytesSent() const;
  bool waitForRequests(std::string_view path, int count, std::chrono::milliseconds timeout) const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace zent::test

#endif
