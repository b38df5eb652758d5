#include "metadata/loopback_http_server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace zent::testing {
namespace {

std::string contentType(const std::filesystem::path& path) {
  std::string ext = path.extension().string();
  if (ext == ".m3u8") return "application/vnd.apple.mpegurl";
  if (ext == ".ts") return "video/mp2t";
  if (ext == ".aac") return "audio/aac";
  return "application/octet-stream";
}

void sendAll(int fd, const std::string& data) {
  size_t sent = 0;
  while (sent < data.size()) {
    ssize_t n = ::send(fd, data.data() + sent, data.size() - sent, MSG_NOSIGNAL);
    if (n <= 0) return;
    sent += static_cast<size_t>(n);
  }
}

}  // namespace

LoopbackHttpServer::LoopbackHttpServer(std::filesystem::path root) : root_(std::move(root)) {
  listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  if (listener_ < 0 || ::bind(listener_, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
      ::listen(listener_, 16) != 0 ||
      ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) != 0 ||
      ::pipe2(wakePipe_, O_CLOEXEC) != 0) {
    throw std::runtime_error("loopback HTTP server cannot listen");
  }
  port_ = ntohs(address.sin_port);
  acceptThread_ = std::thread([this] { acceptLoop(); });
}

LoopbackHttpServer::~LoopbackHttpServer() {
  stopping_ = true;
  char byte = 0;
  [[maybe_unused]] ssize_t ignored = ::write(wakePipe_[1], &byte, 1);
  acceptThread_.join();
  std::vector<std::thread> connections;
  {
    std::lock_guard<std::mutex> lock(connectionsMutex_);
    connections.swap(connections_);
  }
  for (std::thread& t : connections) t.join();
  ::close(listener_);
  ::close(wakePipe_[0]);
  ::close(wakePipe_[1]);
}

std::string LoopbackHttpServer::url(const std::string& relativePath) const {
  return "http://127.0.0.1:" + std::to_string(port_) + "/" + relativePath;
}

void LoopbackHttpServer::acceptLoop() {
  while (!stopping_) {
    pollfd fds[2] = {{listener_, POLLIN, 0}, {wakePipe_[0], POLLIN, 0}};
    if (::poll(fds, 2, -1) <= 0) continue;
    if (fds[1].revents) return;
    int connection = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection < 0) continue;
    std::lock_guard<std::mutex> lock(connectionsMutex_);
    connections_.emplace_back([this, connection] { serve(connection); });
  }
}

void LoopbackHttpServer::serve(int connection) {
  std::string request;
  char chunk[4096];
  while (request.find("\r\n\r\n") == std::string::npos && request.size() < 65536) {
    pollfd fds[2] = {{connection, POLLIN, 0}, {wakePipe_[0], POLLIN, 0}};
    if (::poll(fds, 2, 10000) <= 0 || fds[1].revents) break;
    ssize_t n = ::recv(connection, chunk, sizeof chunk, 0);
    if (n <= 0) break;
    request.append(chunk, static_cast<size_t>(n));
  }
  std::istringstream line(request.substr(0, request.find("\r\n")));
  std::string method, target;
  line >> method >> target;
  std::filesystem::path file = root_ / target.substr(target.empty() ? 0 : 1);
  bool safe = target.find("..") == std::string::npos && !target.empty() && target[0] == '/';
  std::ifstream in(file, std::ios::binary);
  if ((method != "GET" && method != "HEAD") || !safe || !in ||
      std::filesystem::is_directory(file)) {
    sendAll(connection, "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
  } else {
    std::string body{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    sendAll(connection, "HTTP/1.1 200 OK\r\nContent-Type: " + contentType(file) +
                            "\r\nContent-Length: " + std::to_string(body.size()) +
                            "\r\nConnection: close\r\n\r\n");
    if (method == "GET") sendAll(connection, body);
  }
  // Lingering close: half-close, then read until the client closes, so unread
  // request bytes never turn the close into a reset that loses the response.
  ::shutdown(connection, SHUT_WR);
  for (int rounds = 0; rounds < 50 && !stopping_; ++rounds) {
    pollfd fds[1] = {{connection, POLLIN, 0}};
    if (::poll(fds, 1, 100) < 0) break;
    if (fds[0].revents && ::recv(connection, chunk, sizeof chunk, 0) <= 0) break;
  }
  ::close(connection);
}

}  // namespace zent::testing
