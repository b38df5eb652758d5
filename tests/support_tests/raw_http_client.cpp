#include "raw_http_client.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>

namespace zent::test {

RawHttpClient::RawHttpClient(uint16_t port) {
  fd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  if (connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    connectError_ = errno;
    close(fd_);
    fd_ = -1;
  }
}

RawHttpClient::~RawHttpClient() {
  if (fd_ >= 0) close(fd_);
}

bool RawHttpClient::send(const std::string& bytes) {
  size_t done = 0;
  while (done < bytes.size()) {
    ssize_t n = ::send(fd_, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
    if (n <= 0) return false;
    done += static_cast<size_t>(n);
  }
  return true;
}

bool RawHttpClient::sendRequest(const std::string& method, const std::string& target,
                                const std::string& extraHeaders) {
  return send(method + " " + target + " HTTP/1.1\r\nHost: 127.0.0.1\r\n" + extraHeaders + "\r\n");
}

bool RawHttpClient::fill(std::chrono::steady_clock::time_point deadline) {
  auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
      deadline - std::chrono::steady_clock::now());
  if (left.count() < 0) return false;
  pollfd p{fd_, POLLIN, 0};
  if (poll(&p, 1, static_cast<int>(left.count())) <= 0) return false;
  char chunk[65536];
  ssize_t n = recv(fd_, chunk, sizeof chunk, 0);
  if (n <= 0) return false;
  buffer_.append(chunk, static_cast<size_t>(n));
  return true;
}

std::optional<RawResponse> RawHttpClient::readResponse(std::chrono::milliseconds timeout,
                                                       bool head) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  size_t end;
  while ((end = buffer_.find("\r\n\r\n")) == std::string::npos) {
    if (!fill(deadline)) return std::nullopt;
  }
  RawResponse response;
  std::string headText = buffer_.substr(0, end);
  buffer_.erase(0, end + 4);
  size_t lineEnd = headText.find("\r\n");
  std::string statusLine = headText.substr(0, lineEnd);
  if (statusLine.size() < 12) return std::nullopt;
  response.status = std::stoi(statusLine.substr(9, 3));
  while (lineEnd != std::string::npos) {
    size_t start = lineEnd + 2;
    lineEnd = headText.find("\r\n", start);
    std::string line =
        headText.substr(start, lineEnd == std::string::npos ? std::string::npos : lineEnd - start);
    size_t colon = line.find(':');
    if (colon == std::string::npos) continue;
    std::string name = line.substr(0, colon);
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    size_t valueStart = line.find_first_not_of(' ', colon + 1);
    response.headers[name] = valueStart == std::string::npos ? "" : line.substr(valueStart);
  }
  if (head) return response;
  size_t length = std::stoull(
      response.header("content-length").empty() ? "0" : response.header("content-length"));
  while (buffer_.size() < length) {
    if (!fill(deadline)) return std::nullopt;
  }
  response.body = buffer_.substr(0, length);
  buffer_.erase(0, length);
  return response;
}

std::string RawHttpClient::readSome(size_t count, std::chrono::milliseconds timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (buffer_.size() < count && fill(deadline)) {
  }
  std::string taken = buffer_.substr(0, std::min(count, buffer_.size()));
  buffer_.erase(0, taken.size());
  return taken;
}

bool RawHttpClient::readable(std::chrono::milliseconds wait) const {
  if (!buffer_.empty()) return true;
  pollfd p{fd_, POLLIN, 0};
  return poll(&p, 1, static_cast<int>(wait.count())) > 0;
}

int RawHttpClient::waitForClose(std::chrono::milliseconds timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  char chunk[65536];
  while (true) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    if (left.count() < 0) return -1;
    pollfd p{fd_, POLLIN, 0};
    if (poll(&p, 1, static_cast<int>(left.count())) <= 0) return -1;
    ssize_t n = recv(fd_, chunk, sizeof chunk, 0);
    if (n == 0) return 0;
    if (n < 0) return errno;
  }
}

std::optional<RawResponse> RawHttpClient::fetch(uint16_t port, const std::string& target,
                                                const std::string& extraHeaders,
                                                const std::string& method) {
  RawHttpClient client(port);
  if (!client.connected() || !client.sendRequest(method, target, extraHeaders)) {
    return std::nullopt;
  }
  return client.readResponse(std::chrono::seconds(10), method == "HEAD");
}

}  // namespace zent::test
