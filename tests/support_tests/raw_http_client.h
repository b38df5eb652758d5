// A minimal blocking HTTP client over a raw socket, so the server tests control
// exactly what goes on the wire (keep-alive, hanging requests, resets).
#ifndef ZENT_TESTS_SUPPORT_TESTS_RAW_HTTP_CLIENT_H
#define ZENT_TESTS_SUPPORT_TESTS_RAW_HTTP_CLIENT_H

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace zent::test {

struct RawResponse {
  int status = 0;
  std::map<std::string, std::string> headers;  // names lower-cased
  std::string body;
  std::string header(const std::string& lowerName) const {
    auto it = headers.find(lowerName);
    return it == headers.end() ? "" : it->second;
  }
};

class RawHttpClient {
 public:
  // Connects to 127.0.0.1:port; connected() tells whether it worked and
  // connectError() the errno when not.
  explicit RawHttpClient(uint16_t port);
  ~RawHttpClient();
  RawHttpClient(const RawHttpClient&) = delete;
  RawHttpClient& operator=(const RawHttpClient&) = delete;

  bool connected() const { return fd_ >= 0; }
  int connectError() const { return connectError_; }

  // Sends raw bytes.
  bool send(const std::string& bytes);
  // Sends "<method> <target> HTTP/1.1" with Host and the extra header lines
  // (each ending in \r\n).
  bool sendRequest(const std::string& method, const std::string& target,
                   const std::string& extraHeaders = "");
  // Reads one response (status line, headers, Content-Length body; no body
  // for HEAD). nullopt when the connection ends first or `timeout` passes.
  std::optional<RawResponse> readResponse(std::chrono::milliseconds timeout, bool head = false);
  // Reads up to `count` body bytes as they come, until `timeout`.
  std::string readSome(size_t count, std::chrono::milliseconds timeout);
  // True when bytes are waiting to be read right now (or the peer closed).
  bool readable(std::chrono::milliseconds wait = std::chrono::milliseconds(0)) const;
  // Reads until the peer closes: returns 0 on orderly close, the errno on a
  // reset, -1 when `timeout` passes with the connection still open.
  int waitForClose(std::chrono::milliseconds timeout);

  // A GET or HEAD on a fresh connection.
  static std::optional<RawResponse> fetch(uint16_t port, const std::string& target,
                                          const std::string& extraHeaders = "",
                                          const std::string& method = "GET");

 private:
  bool fill(std::chrono::steady_clock::time_point deadline);

  int fd_ = -1;
  int connectError_ = 0;
  std::string buffer_;
};

}  // namespace zent::test

#endif
