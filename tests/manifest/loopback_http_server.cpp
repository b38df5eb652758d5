#include "manifest/loopback_http_server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

namespace zent::testing {

LoopbackHttpServer::LoopbackHttpServer() {
  listenFd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (listenFd_ < 0) throw std::runtime_error("socket failed");
  int yes = 1;
  ::setsockopt(listenFd_, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = 0;
  if (::bind(listenFd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      ::listen(listenFd_, 16) != 0) {
    throw std::runtime_error("bind or listen failed");
  }
  socklen_t length = sizeof address;
  ::getsockname(listenFd_, reinterpret_cast<sockaddr*>(&address), &length);
  port_ = ntohs(address.sin_port);
  if (::pipe2(wakeFds_, O_CLOEXEC) != 0) throw std::runtime_error("pipe failed");
  acceptThread_ = std::thread([this] { acceptLoop(); });
}

LoopbackHttpServer::~LoopbackHttpServer() {
  char byte = 1;
  (void)!::write(wakeFds_[1], &byte, 1);  // the pipe stays readable: every waiter wakes
  acceptThread_.join();
  std::vector<std::thread> connections;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    connections.swap(connections_);
  }
  for (std::thread& connection : connections) connection.join();
  ::close(listenFd_);
  ::close(wakeFds_[0]);
  ::close(wakeFds_[1]);
}

void LoopbackHttpServer::route(const std::string& path, Response response) {
  std::lock_guard<std::mutex> lock(mutex_);
  routes_[path] = std::move(response);
}

std::string LoopbackHttpServer::url(const std::string& path) const {
  return "http://127.0.0.1:" + std::to_string(port_) + path;
}

std::vector<LoopbackHttpServer::Request> LoopbackHttpServer::requests() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return requests_;
}

bool LoopbackHttpServer::waitForRequest(const std::string& path,
                                        std::chrono::milliseconds timeout) const {
  std::unique_lock<std::mutex> lock(mutex_);
  return requestArrived_.wait_for(lock, timeout, [&] {
    for (const Request& request : requests_) {
      if (request.path == path) return true;
    }
    return false;
  });
}

bool LoopbackHttpServer::waitReadable(int fd) const {
  pollfd fds[2] = {{fd, POLLIN, 0}, {wakeFds_[0], POLLIN, 0}};
  while (true) {
    int ready = ::poll(fds, 2, -1);
    if (ready < 0 && errno == EINTR) continue;
    if (ready < 0 || fds[1].revents != 0) return false;
    if (fds[0].revents != 0) return true;
  }
}

void LoopbackHttpServer::acceptLoop() {
  while (waitReadable(listenFd_)) {
    int fd = ::accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0) continue;
    std::lock_guard<std::mutex> lock(mutex_);
    connections_.emplace_back([this, fd] { serve(fd); });
  }
}

void LoopbackHttpServer::serve(int fd) {
  std::string head;
  char buffer[4096];
  while (head.find("\r\n\r\n") == std::string::npos && head.size() < 65536) {
    if (!waitReadable(fd)) {
      ::close(fd);
      return;
    }
    ssize_t got = ::recv(fd, buffer, sizeof buffer, 0);
    if (got <= 0) {
      ::close(fd);
      return;
    }
    head.append(buffer, static_cast<std::size_t>(got));
  }
  // "GET /path?query HTTP/1.1"
  std::size_t first = head.find(' ');
  std::size_t second = head.find(' ', first + 1);
  std::string target = head.substr(first + 1, second - first - 1);
  std::string path = target.substr(0, target.find('?'));

  Response response;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    requests_.push_back({path, head});
    auto found = routes_.find(path);
    if (found != routes_.end()) {
      response = found->second;
    } else {
      response.status = 404;
      response.reason = "Not Found";
      response.body = "no such page\n";
    }
  }
  requestArrived_.notify_all();

  if (response.hang) {
    // Until the client gives up (EOF) or the server stops.
    while (waitReadable(fd) && ::recv(fd, buffer, sizeof buffer, 0) > 0) {
    }
    ::close(fd);
    return;
  }

  std::string reply =
      "HTTP/1.1 " + std::to_string(response.status) + " " + response.reason + "\r\n";
  for (const std::string& header : response.headers) reply += header + "\r\n";
  if (!response.closeDelimited) {
    reply += "Content-Length: " + std::to_string(response.body.size()) + "\r\n";
  }
  reply += "Connection: close\r\n\r\n";
  reply += response.body;
  std::size_t sent = 0;
  while (sent < reply.size()) {
    ssize_t wrote = ::send(fd, reply.data() + sent, reply.size() - sent, MSG_NOSIGNAL);
    if (wrote < 0 && errno == EINTR) continue;
    if (wrote <= 0) break;  // the client went away (a refused body, say)
    sent += static_cast<std::size_t>(wrote);
  }
  ::shutdown(fd, SHUT_WR);
  ::close(fd);
}

}  // namespace zent::testing
