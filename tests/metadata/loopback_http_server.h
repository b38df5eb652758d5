#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace zent::testing {

// Serves the files under a directory over HTTP/1.1 GET on 127.0.0.1 at a free
// port, one connection per request, until destroyed.
class LoopbackHttpServer {
 public:
  explicit LoopbackHttpServer(std::filesystem::path root);
  ~LoopbackHttpServer();
  LoopbackHttpServer(const LoopbackHttpServer&) = delete;
  LoopbackHttpServer& operator=(const LoopbackHttpServer&) = delete;

  // "http://127.0.0.1:<port>/<relativePath>"
  std::string url(const std::string& relativePath) const;

 private:
  void acceptLoop();
  void serve(int connection);

  std::filesystem::path root_;
  int listener_ = -1;
  int wakePipe_[2] = {-1, -1};
  uint16_t port_ = 0;
  std::atomic<bool> stopping_{false};
  std::thread acceptThread_;
  std::mutex connectionsMutex_;
  std::vector<std::thread> connections_;
};

}  // namespace zent::testing
