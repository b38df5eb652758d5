// A loopback HTTP/1.1 file server for tests, running inside the test process.
//
//   HttpServer server;                                   // serves the media cache
//   std::string url = server.url(hls_multivariant() + "/master.m3u8");
//   server.setStatusFor(hls_multivariant() + "/video_720p/seg_002.ts", 404);
//
// It listens on 127.0.0.1 on an ephemeral port and serves the files under one
// directory: GET and HEAD, single byte ranges (206 with Content-Range, 416 when
// unsatisfiable, "Accept-Ranges: bytes" always), Content-Type by extension
// (see contentTypeFor in support/http_request.h), persistent connections
// (HTTP/1.1 keep-alive; "Connection: close" honoured) and "Cache-Control:
// no-cache" on every response, so live playlists are always fetched afresh.
// Each connection has its own thread; at most Options::maxConnections are open
// (more are answered 503 and closed).
//
// Every control below may be called from any thread at any time. Paths given
// to them and to url() may be absolute file paths under the root, paths
// relative to the root ("hls/master.m3u8") or request paths ("/hls/master.m3u8").
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

  // The first header of that name (case-insensitive), or "".
  std::string header(std::string_view name) const;
};

class HttpServer {
 public:
  struct Options {
    // Open connections at most; more are answered 503 and closed.
    size_t maxConnections = 64;
    // How long a request may hang while the server is paused before its
    // connection is closed without a response.
    std::chrono::milliseconds pauseCap{60000};
    // An idle persistent connection is closed after this.
    std::chrono::milliseconds idleTimeout{30000};
  };

  // Serves `root` (default: the media cache, see support/media_cache.h).
  // Throws std::runtime_error when it cannot listen.
  HttpServer();
  explicit HttpServer(std::string root);
  HttpServer(std::string root, Options options);
  ~HttpServer();  // stop()
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  uint16_t port() const;
  const std::string& root() const;
  // "http://127.0.0.1:<port>/<path>", `path` as described above (the part
  // under the root is percent-encoded where needed).
  std::string url(std::string_view path) const;
  // The request path for `path` ("/hls/master.m3u8").
  std::string requestPath(std::string_view path) const;

  // Answers requests for `path` with `status` (and a short text body) instead
  // of the file: the next `times` requests, or all of them when times < 0.
  void setStatusFor(std::string_view path, int status, int times = -1);
  void clearStatusFor(std::string_view path);
  void clearAllStatus();

  // While paused the server answers nothing: new and pending requests hang
  // without a response (until unpaused, stop(), or Options::pauseCap, which
  // closes the connection), and responses being sent stall between chunks.
  void setPaused(bool paused);
  bool paused() const;
  // Requests (or transfers) hanging because of the pause right now.
  int stalledCount() const;
  // Waits until at least `count` requests or transfers hang on the pause.
  bool waitForStalled(int count, std::chrono::milliseconds timeout) const;

  // While refusing, the listening socket is closed, so connection attempts
  // fail with ECONNREFUSED; open connections are left alone (see
  // dropConnections). Turning it off listens again on the same port. Returns
  // once the change has taken effect.
  void setRefuseConnections(bool refuse);
  // Resets (RST) every open connection now.
  void dropConnections();

  // Ways an origin misbehaves, for the requests of one path.
  enum class Hostile {
    None,             // answered normally
    NeverAnswer,      // the request is read and never answered
    StopAfterPart,    // the head and the first third of the file go out, then nothing
    RedirectLoop,     // "302 Found" back to the same target, every time
    EndlessPlaylist,  // a chunked HLS media playlist that never ends (4 MiB/s)
    Trickle,          // the file at 4 KiB per second
  };
  // Makes the requests for `path` misbehave. A hanging request counts in
  // stalledCount() and ends when the client goes away, at dropConnections()
  // or at stop().
  void setHostile(std::string_view path, Hostile kind);

  // Limits the rate of every response body to this many bytes per second
  // (0 = unlimited, the default).
  void setBytesPerSecond(uint64_t bytesPerSecond);

  // Holds each response for a random time between `shortest` and `longest`
  // before answering (both 0, the default: answers at once), like a distant
  // origin, so that downloads are still in flight when a player acts.
  void setResponseDelay(std::chrono::milliseconds shortest, std::chrono::milliseconds longest);

  // Requests received for `path` (any status, including hanging ones).
  int requestCount(std::string_view path) const;
  int totalRequestCount() const;
  // Bytes written to every connection so far, headers included.
  uint64_t bytesSent() const;
  // Connections accepted so far.
  int connectionCount() const;
  int openConnectionCount() const;
  // Every request so far, in arrival order.
  std::vector<HttpRequestRecord> requests() const;
  // Waits until `path` has been requested at least `count` times.
  bool waitForRequests(std::string_view path, int count, std::chrono::milliseconds timeout) const;
  // Forgets the request log and counters.
  void resetCounters();

  // Closes every connection and joins every thread; hanging requests end
  // without a response. Idempotent; the server cannot be restarted.
  void stop();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace zent::test

#endif
