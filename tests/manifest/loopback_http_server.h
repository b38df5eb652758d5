#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace zent::testing {

// A small HTTP/1.1 server on 127.0.0.1 and an ephemeral port, for tests that
// need a real network peer. Each connection gets one canned response and is
// closed. Stops (and unblocks hanging responses) when destroyed.
class LoopbackHttpServer {
 public:
  struct Response {
    int status = 200;
    std::string reason = "OK";
    std::vector<std::string> headers;  // "Name: value"
    std::string body;
    // No Content-Length: the body ends when the connection closes.
    bool closeDelimited = false;
    // Read the request, then send nothing until the client goes away or the
    // server stops (for timeouts and cancellation).
    bool hang = false;
  };
  struct Request {
    std::string path;  // without the query
    std::string head;  // request line and headers as received
  };

  LoopbackHttpServer();
  ~LoopbackHttpServer();
  LoopbackHttpServer(const LoopbackHttpServer&) = delete;
  LoopbackHttpServer& operator=(const LoopbackHttpServer&) = delete;

  void route(const std::string& path, Response response);
  // "http://127.0.0.1:<port><path>"
  std::string url(const std::string& path) const;
  uint16_t port() const { return port_; }

  std::vector<Request> requests() const;
  // True once a request for `path` has arrived, false after `timeout`.
  bool waitForRequest(const std::string& path, std::chrono::milliseconds timeout) const;

 private:
  void acceptLoop();
  void serve(int fd);
  bool waitReadable(int fd) const;  // false when the server is stopping

  int listenFd_ = -1;
  int wakeFds_[2] = {-1, -1};
  uint16_t port_ = 0;
  std::thread acceptThread_;

  mutable std::mutex mutex_;
  mutable std::condition_variable requestArrived_;
  std::map<std::string, Response> routes_;
  std::vector<Request> requests_;
  std::vector<std::thread> connections_;
};

}  // namespace zent::testing
