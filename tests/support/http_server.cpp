#include "support/http_server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <random>
#include <stdexcept>
#include <thread>

#include "support/media_cache.h"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

namespace zent::test {
namespace {

constexpr size_t kMaxHeadBytes = 64 * 1024;
constexpr size_t kChunkBytes = 64 * 1024;
constexpr milliseconds kPauseCap{60000};     // a paused request is dropped after this
constexpr milliseconds kIdleTimeout{30000};  // an idle keep-alive connection is closed

bool equalsIgnoreCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) ==
                  std::tolower(static_cast<unsigned char>(y));
         });
}

std::string_view trim(std::string_view text) {
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front()))) {
    text.remove_prefix(1);
  }
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) {
    text.remove_suffix(1);
  }
  return text;
}

std::string percentEncodePath(std::string_view path) {
  static const char* kHex = "0123456789ABCDEF";
  std::string encoded;
  for (unsigned char c : path) {
    if (std::isalnum(c) || std::strchr("/-_.~", c) != nullptr) {
      encoded.push_back(static_cast<char>(c));
    } else {
      encoded += {'%', kHex[c >> 4], kHex[c & 15]};
    }
  }
  return encoded;
}

std::string percentDecode(std::string_view text) {
  std::string decoded;
  for (size_t i = 0; i < text.size(); ++i) {
    unsigned value = 0;
    if (text[i] == '%' && i + 2 < text.size() &&
        std::from_chars(text.data() + i + 1, text.data() + i + 3, value, 16).ptr ==
            text.data() + i + 3) {
      decoded.push_back(static_cast<char>(value));
      i += 2;
    } else {
      decoded.push_back(text[i]);
    }
  }
  return decoded;
}

// The path of a URL or request target, decoded, without query or fragment.
std::string targetPath(std::string_view target) {
  if (target.substr(0, 7) == "http://") {
    size_t slash = target.find('/', 7);
    target = slash == std::string_view::npos ? std::string_view("/") : target.substr(slash);
  }
  return percentDecode(target.substr(0, target.find_first_of("?#")));
}

std::string contentTypeFor(std::string_view path) {
  // clang-format off
  static const std::map<std::string, std::string> kTypes = {
      {".m3u8", "application/vnd.apple.mpegurl"}, {".mpd", "application/dash+xml"},
      {".mp4", "video/mp4"}, {".m4s", "video/iso.segment"}, {".m4a", "audio/mp4"},
      {".ts", "video/mp2t"}, {".aac", "audio/aac"}, {".vtt", "text/vtt"},
      {".srt", "application/x-subrip"}, {".mkv", "video/x-matroska"}, {".txt", "text/plain"}};
  // clang-format on
  size_t dot = path.rfind('.');
  if (dot == std::string_view::npos || path.find('/', dot) != std::string_view::npos) {
    return "application/octet-stream";
  }
  std::string extension(path.substr(dot));
  std::transform(extension.begin(), extension.end(), extension.begin(), ::tolower);
  auto it = kTypes.find(extension);
  return it == kTypes.end() ? "application/octet-stream" : it->second;
}

const char* reasonPhrase(int status) {
  // clang-format off
  static const std::map<int, const char*> kPhrases = {
      {200, "OK"}, {206, "Partial Content"}, {301, "Moved Permanently"}, {302, "Found"},
      {400, "Bad Request"}, {403, "Forbidden"}, {404, "Not Found"}, {410, "Gone"},
      {416, "Range Not Satisfiable"}, {500, "Internal Server Error"},
      {503, "Service Unavailable"}};
  // clang-format on
  auto it = kPhrases.find(status);
  return it == kPhrases.end() ? "Unknown" : it->second;
}

std::string headerOf(const std::vector<std::pair<std::string, std::string>>& headers,
                     std::string_view name) {
  for (const auto& [key, value] : headers) {
    if (equalsIgnoreCase(key, name)) return value;
  }
  return "";
}

std::optional<HttpRequestRecord> parseRequest(std::string_view head, bool* keepAlive) {
  HttpRequestRecord request;
  size_t lineEnd = head.find("\r\n");
  std::string_view line = head.substr(0, lineEnd);
  size_t first = line.find(' ');
  size_t last = line.rfind(' ');
  if (first == std::string_view::npos || last == first) return std::nullopt;
  request.method = line.substr(0, first);
  request.target = line.substr(first + 1, last - first - 1);
  std::string_view version = line.substr(last + 1);
  if (version != "HTTP/1.1" && version != "HTTP/1.0") return std::nullopt;
  request.path = targetPath(request.target);
  if (request.path.empty() || request.path[0] != '/') return std::nullopt;
  while (lineEnd != std::string_view::npos) {
    size_t start = lineEnd + 2;
    lineEnd = head.find("\r\n", start);
    line = head.substr(start, lineEnd == std::string_view::npos ? lineEnd : lineEnd - start);
    size_t colon = line.find(':');
    if (line.empty()) continue;
    if (colon == std::string_view::npos || colon == 0) return std::nullopt;
    request.headers.emplace_back(line.substr(0, colon), trim(line.substr(colon + 1)));
  }
  std::string connection = headerOf(request.headers, "Connection");
  std::transform(connection.begin(), connection.end(), connection.begin(), ::tolower);
  *keepAlive = connection.find("close") == std::string::npos &&
               (version == "HTTP/1.1" || connection.find("keep-alive") != std::string::npos);
  return request;
}

// A single "bytes=" range against `size`: [first, last], nullopt when the whole
// file is sent (none or malformed), first > last when unsatisfiable.
std::optional<std::pair<uint64_t, uint64_t>> parseRange(std::string_view value, uint64_t size) {
  value = trim(value);
  if (!equalsIgnoreCase(value.substr(0, 6), "bytes=") || value.find(',') != value.npos) {
    return std::nullopt;
  }
  value.remove_prefix(6);
  size_t dash = value.find('-');
  if (dash == std::string_view::npos) return std::nullopt;
  auto number = [](std::string_view text, uint64_t& out) {
    text = trim(text);
    return !text.empty() && std::from_chars(text.data(), text.data() + text.size(), out).ptr ==
                                text.data() + text.size();
  };
  uint64_t first = 0, last = size == 0 ? 0 : size - 1;
  if (trim(value.substr(0, dash)).empty()) {  // the final N bytes
    uint64_t suffix = 0;
    if (!number(value.substr(dash + 1), suffix)) return std::nullopt;
    if (suffix == 0 || size == 0) return std::pair<uint64_t, uint64_t>{1, 0};
    first = suffix >= size ? 0 : size - suffix;
    return std::pair{first, last};
  }
  if (!number(value.substr(0, dash), first)) return std::nullopt;
  if (!trim(value.substr(dash + 1)).empty()) {
    uint64_t to = 0;
    if (!number(value.substr(dash + 1), to) || to < first) return std::nullopt;
    last = std::min(last, to);
  }
  if (first >= size) return std::pair<uint64_t, uint64_t>{1, 0};
  return std::pair{first, last};
}

enum class Wake { Ready, Timeout, Stop, Error };

struct FileCloser {
  int fd;
  ~FileCloser() {
    if (fd >= 0) close(fd);
  }
};

}  // namespace

std::string HttpRequestRecord::header(std::string_view name) const {
  return headerOf(headers, name);
}

struct HttpServer::Impl {
  struct Connection {
    uint64_t id = 0;
    int fd = -1;      // closed by its own thread, under the mutex
    int wakeFd = -1;  // eventfd that dropConnections() pokes
    bool dropped = false;
    bool finished = false;
    std::thread thread;
    ~Connection() {
      if (wakeFd >= 0) close(wakeFd);
    }
  };

  std::string root;
  std::string canonicalRoot;
  std::atomic<uint16_t> port{0};
  int listenFd = -1;              // the constructor's, then the acceptor thread's
  int stopPipe[2] = {-1, -1};     // written once by stop()
  int controlPipe[2] = {-1, -1};  // pokes the acceptor to apply setRefuseConnections

  std::mutex stopMutex;
  mutable std::mutex mutex;
  mutable std::condition_variable changed;
  bool stopping = false;
  bool paused = false;
  bool refuse = false;
  uint64_t refuseRequested = 0;
  uint64_t refuseApplied = 0;
  int stalled = 0;
  uint64_t bytesPerSecond = 0;
  std::atomic<uint64_t> bytesSent{0};
  milliseconds delayShortest{0}, delayLongest{0};
  std::minstd_rand delayDraw{20240611};
  std::map<std::string, std::pair<int, int>> statusOverrides;  // path -> (status, times left)
  std::map<std::string, Hostile> hostile;
  std::vector<HttpRequestRecord> log;
  std::map<std::string, int> counts;
  int total = 0;
  uint64_t accepted = 0;
  std::list<std::unique_ptr<Connection>> connections;
  std::thread acceptor;

  ~Impl() {
    closeListener();
    for (int fd : {stopPipe[0], stopPipe[1], controlPipe[0], controlPipe[1]}) {
      if (fd >= 0) close(fd);
    }
  }

  void openListener() {
    int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) throw std::runtime_error(std::string("socket: ") + std::strerror(errno));
    int one = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port.load());
    if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        listen(fd, 128) != 0) {
      int error = errno;
      close(fd);
      throw std::runtime_error("cannot listen on 127.0.0.1:" + std::to_string(port.load()) + ": " +
                               std::strerror(error));
    }
    socklen_t length = sizeof address;
    getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    port = ntohs(address.sin_port);
    listenFd = fd;
  }

  void closeListener() {
    if (listenFd >= 0) close(listenFd);
    listenFd = -1;
  }

  void acceptLoop() {
    while (true) {
      pollfd fds[3] = {
          {stopPipe[0], POLLIN, 0}, {controlPipe[0], POLLIN, 0}, {listenFd, POLLIN, 0}};
      int ready = poll(fds, 3, 500);
      if ((ready < 0 && errno != EINTR) || fds[0].revents) break;
      if (fds[1].revents) applyRefuse();
      if (listenFd >= 0 && fds[2].revents) acceptOne();
      reapFinished();
    }
    closeListener();
  }

  void applyRefuse() {
    char drain[64];
    while (read(controlPipe[0], drain, sizeof drain) > 0) {
    }
    std::unique_lock<std::mutex> lock(mutex);
    bool listening = !refuse;
    uint64_t generation = refuseRequested;
    lock.unlock();
    if (listening && listenFd < 0) {
      try {
        openListener();
      } catch (const std::exception&) {
        // The port was taken meanwhile: stay closed rather than move ports.
      }
    } else if (!listening) {
      closeListener();
    }
    lock.lock();
    refuseApplied = std::max(refuseApplied, generation);
    changed.notify_all();
  }

  void acceptOne() {
    int fd = accept4(listenFd, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd < 0) return;
    int one = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    std::lock_guard<std::mutex> lock(mutex);
    if (stopping) {
      close(fd);
      return;
    }
    auto connection = std::make_unique<Connection>();
    connection->id = ++accepted;
    connection->fd = fd;
    connection->wakeFd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    Connection* raw = connection.get();
    connections.push_back(std::move(connection));
    raw->thread = std::thread([this, raw] { serve(raw); });
  }

  void reapFinished() {
    std::list<std::unique_ptr<Connection>> done;
    {
      std::lock_guard<std::mutex> lock(mutex);
      for (auto it = connections.begin(); it != connections.end();) {
        if ((*it)->finished) {
          done.push_back(std::move(*it));
          it = connections.erase(it);
        } else {
          ++it;
        }
      }
    }
    for (auto& connection : done) connection->thread.join();
  }

  Wake waitFor(Connection* c, short events, milliseconds timeout) {
    pollfd fds[3] = {{c->fd, events, 0}, {stopPipe[0], POLLIN, 0}, {c->wakeFd, POLLIN, 0}};
    while (true) {
      int ready = poll(fds, 3, static_cast<int>(timeout.count()));
      if (ready < 0 && errno == EINTR) continue;
      if (ready < 0) return Wake::Error;
      if (ready == 0) return Wake::Timeout;
      if (fds[1].revents || fds[2].revents) return Wake::Stop;
      if (fds[0].revents & (events | POLLHUP | POLLERR)) return Wake::Ready;
    }
  }

  bool sendAll(Connection* c, const char* data, size_t size) {
    while (size > 0) {
      ssize_t sent = send(c->fd, data, size, MSG_NOSIGNAL);
      if (sent > 0) {
        bytesSent += static_cast<uint64_t>(sent);
        data += sent;
        size -= static_cast<size_t>(sent);
      } else if (sent < 0 && errno == EINTR) {
        continue;
      } else if (sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
        if (waitFor(c, POLLOUT, kIdleTimeout) != Wake::Ready) return false;
      } else {
        return false;
      }
    }
    return true;
  }

  bool sendAll(Connection* c, const std::string& data) {
    return sendAll(c, data.data(), data.size());
  }

  // Holds the caller while paused; false when the request must be abandoned.
  bool passPauseGate(Connection* c) {
    std::unique_lock<std::mutex> lock(mutex);
    if (stopping || c->dropped) return false;
    if (!paused) return true;
    ++stalled;
    changed.notify_all();
    bool resumed =
        changed.wait_for(lock, kPauseCap, [&] { return !paused || stopping || c->dropped; });
    --stalled;
    changed.notify_all();
    return resumed && !stopping && !c->dropped;
  }

  // Sleeps until `due` unless the server stops or the connection is dropped.
  bool waitUntil(Connection* c, Clock::time_point due) {
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait_until(lock, due, [&] { return stopping || c->dropped; });
    return !stopping && !c->dropped;
  }

  Clock::time_point responseDue() {
    std::lock_guard<std::mutex> lock(mutex);
    if (delayLongest <= delayShortest) return Clock::now() + delayShortest;
    std::uniform_int_distribution<int64_t> draw(delayShortest.count(), delayLongest.count());
    return Clock::now() + milliseconds(draw(delayDraw));
  }

  static std::string responseHead(int status, const std::string& type, uint64_t length,
                                  bool keepAlive, const std::string& extra) {
    return "HTTP/1.1 " + std::to_string(status) + " " + reasonPhrase(status) +
           "\r\nServer: zent-test-server\r\nContent-Type: " + type +
           "\r\nContent-Length: " + std::to_string(length) +
           "\r\nAccept-Ranges: bytes\r\nCache-Control: no-cache\r\n" + extra +
           (keepAlive ? "Connection: keep-alive\r\n\r\n" : "Connection: close\r\n\r\n");
  }

  // The status goes into the request log just before the response goes out, so
  // a client that has its response finds it in the log.
  using Announce = std::function<void(int)>;

  // A short text body; returns the status, 0 when the connection broke.
  int sendText(Connection* c, const HttpRequestRecord& request, int status, bool keepAlive,
               const Announce& announce, const std::string& extra = "") {
    announce(status);
    std::string body = std::to_string(status) + " " + reasonPhrase(status) + "\n";
    std::string head = responseHead(status, "text/plain", body.size(), keepAlive, extra);
    return sendAll(c, request.method == "HEAD" ? head : head + body) ? status : 0;
  }

  // Leaves a request unanswered until the client goes away, a drop or stop.
  void holdUnanswered(Connection* c) {
    {
      std::lock_guard<std::mutex> lock(mutex);
      ++stalled;
      changed.notify_all();
    }
    char input[4096];
    while (waitFor(c, POLLIN, milliseconds(500)) != Wake::Stop) {
      ssize_t got = recv(c->fd, input, sizeof input, MSG_DONTWAIT);
      if (got == 0 || (got < 0 && errno != EAGAIN && errno != EINTR)) break;
    }
    std::lock_guard<std::mutex> lock(mutex);
    --stalled;
    changed.notify_all();
  }

  // An HLS media playlist sent in chunks for ever, about 4 MiB/s.
  void sendEndlessPlaylist(Connection* c, const Announce& announce) {
    auto asChunk = [](const std::string& data) {
      char size[32];
      std::snprintf(size, sizeof size, "%zx\r\n", data.size());
      return size + data + "\r\n";
    };
    std::string segments;
    for (int segment = 0; segments.size() < kChunkBytes - 64; ++segment) {
      segments += "#EXTINF:2.000,\nseg_" + std::to_string(segment) + ".ts\n";
    }
    const std::string chunk = asChunk(segments);
    announce(200);
    if (!sendAll(c,
                 "HTTP/1.1 200 OK\r\nContent-Type: application/vnd.apple.mpegurl\r\n"
                 "Transfer-Encoding: chunked\r\nCache-Control: no-cache\r\n\r\n" +
                     asChunk("#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXT-X-MEDIA-"
                             "SEQUENCE:0\n"))) {
      return;
    }
    for (auto due = Clock::now(); waitUntil(c, due) && sendAll(c, chunk); due += milliseconds(16)) {
    }
  }

  // Sends one response: its status, or 0 when the connection must close.
  int respond(Connection* c, const HttpRequestRecord& request, bool keepAlive,
              const Announce& announce) {
    int overridden = 0;
    Hostile kind = Hostile::None;
    {
      std::lock_guard<std::mutex> lock(mutex);
      auto it = statusOverrides.find(request.path);
      if (it != statusOverrides.end()) {
        overridden = it->second.first;
        if (it->second.second > 0 && --it->second.second == 0) statusOverrides.erase(it);
      }
      auto bad = hostile.find(request.path);
      if (bad != hostile.end()) kind = bad->second;
    }
    if (overridden != 0) return sendText(c, request, overridden, keepAlive, announce);
    switch (kind) {
      case Hostile::NeverAnswer:
        holdUnanswered(c);
        return 0;
      case Hostile::RedirectLoop:
        return sendText(c, request, 302, keepAlive, announce,
                        "Location: " + request.target + "\r\n");
      case Hostile::EndlessPlaylist:
        sendEndlessPlaylist(c, announce);
        return 0;
      default:
        break;
    }
    FileCloser file{open((root + request.path).c_str(), O_RDONLY | O_CLOEXEC)};
    struct stat info {};
    if (file.fd < 0 || fstat(file.fd, &info) != 0 || !S_ISREG(info.st_mode)) {
      return sendText(c, request, 404, keepAlive, announce);
    }
    const auto size = static_cast<uint64_t>(info.st_size);
    std::pair<uint64_t, uint64_t> range{0, size == 0 ? 0 : size - 1};
    int status = 200;
    std::string extra;
    if (auto asked = parseRange(request.header("Range"), size)) {
      if (asked->first > asked->second) {
        return sendText(c, request, 416, keepAlive, announce,
                        "Content-Range: bytes */" + std::to_string(size) + "\r\n");
      }
      range = *asked;
      status = 206;
      extra = "Content-Range: bytes " + std::to_string(range.first) + "-" +
              std::to_string(range.second) + "/" + std::to_string(size) + "\r\n";
    }
    const uint64_t length = size == 0 ? 0 : range.second - range.first + 1;
    announce(status);
    if (!sendAll(c, responseHead(status, contentTypeFor(request.path), length, keepAlive, extra))) {
      return 0;
    }
    if (request.method == "HEAD") return status;

    std::vector<char> chunk(kChunkBytes);
    uint64_t offset = range.first;
    uint64_t left = kind == Hostile::StopAfterPart ? length / 3 : length;
    uint64_t rate = 0, sentAtRate = 0;
    Clock::time_point rateStart{};
    while (left > 0) {
      if (!passPauseGate(c)) return 0;
      uint64_t currentRate;
      {
        std::lock_guard<std::mutex> lock(mutex);
        currentRate = kind == Hostile::Trickle ? 4096 : bytesPerSecond;
      }
      if (currentRate != rate) {  // pace from here
        rate = currentRate;
        rateStart = Clock::now();
        sentAtRate = 0;
      }
      size_t want = static_cast<size_t>(std::min<uint64_t>(left, kChunkBytes));
      if (rate > 0) {
        want = static_cast<size_t>(
            std::min<uint64_t>(want, std::clamp<uint64_t>(rate / 10, 1024, kChunkBytes)));
        auto due =
            rateStart + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(
                            static_cast<double>(sentAtRate) / static_cast<double>(rate)));
        if (!waitUntil(c, due)) return 0;
      }
      ssize_t got = pread(file.fd, chunk.data(), want, static_cast<off_t>(offset));
      if (got <= 0 || !sendAll(c, chunk.data(), static_cast<size_t>(got))) return 0;
      offset += static_cast<uint64_t>(got);
      left -= static_cast<uint64_t>(got);
      sentAtRate += static_cast<uint64_t>(got);
    }
    if (kind == Hostile::StopAfterPart) {
      holdUnanswered(c);
      return 0;
    }
    return status;
  }

  // Reads one request head; false when the connection ends first.
  bool readHead(Connection* c, std::string& buffer, std::string& head) {
    char input[16384];
    size_t end;
    while ((end = buffer.find("\r\n\r\n")) == std::string::npos) {
      if (buffer.size() > kMaxHeadBytes || waitFor(c, POLLIN, kIdleTimeout) != Wake::Ready) {
        return false;
      }
      ssize_t got = recv(c->fd, input, sizeof input, 0);
      if (got < 0 && (errno == EAGAIN || errno == EINTR)) continue;
      if (got <= 0) return false;
      buffer.append(input, static_cast<size_t>(got));
    }
    head = buffer.substr(0, end);
    buffer.erase(0, end + 4);
    return true;
  }

  void serve(Connection* c) {
    std::string buffer, head;
    while (readHead(c, buffer, head)) {
      bool keepAlive = false;
      std::optional<HttpRequestRecord> request = parseRequest(head, &keepAlive);
      if (!request) {
        sendText(c, HttpRequestRecord{}, 400, false, [](int) {});
        break;
      }
      request->connection = c->id;
      size_t index;
      {
        std::lock_guard<std::mutex> lock(mutex);
        log.push_back(*request);
        index = log.size() - 1;
        ++counts[request->path];
        ++total;
        changed.notify_all();
      }
      if (!passPauseGate(c) || !waitUntil(c, responseDue())) break;
      int status = respond(c, *request, keepAlive, [&](int answered) {
        std::lock_guard<std::mutex> lock(mutex);
        log[index].status = answered;
      });
      if (status == 0 || !keepAlive) break;
    }
    std::lock_guard<std::mutex> lock(mutex);
    if (c->dropped) {
      linger reset{1, 0};  // close with RST
      setsockopt(c->fd, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
    }
    close(c->fd);
    c->fd = -1;
    c->finished = true;
    changed.notify_all();
  }

  std::string requestPath(std::string_view path) const {
    std::string text(path);
    if (text.rfind("http://", 0) == 0) return targetPath(text);
    for (const std::string& base : {root, canonicalRoot}) {
      if (text == base) return "/";
      if (text.size() > base.size() && text.compare(0, base.size(), base) == 0 &&
          text[base.size()] == '/') {
        return text.substr(base.size());
      }
    }
    return !text.empty() && text[0] == '/' ? text : "/" + text;
  }
};

HttpServer::HttpServer() : HttpServer(mediaCacheDir()) {}

HttpServer::HttpServer(std::string root) : impl_(std::make_unique<Impl>()) {
  Impl& s = *impl_;
  s.root = fs::absolute(root).lexically_normal().string();
  while (s.root.size() > 1 && s.root.back() == '/') s.root.pop_back();
  std::error_code ec;
  s.canonicalRoot = fs::weakly_canonical(s.root, ec).string();
  if (ec) s.canonicalRoot = s.root;
  if (pipe2(s.stopPipe, O_CLOEXEC | O_NONBLOCK) != 0 ||
      pipe2(s.controlPipe, O_CLOEXEC | O_NONBLOCK) != 0) {
    throw std::runtime_error(std::string("pipe: ") + std::strerror(errno));
  }
  s.openListener();
  s.acceptor = std::thread([&s] { s.acceptLoop(); });
}

HttpServer::~HttpServer() {
  stop();
}

uint16_t HttpServer::port() const {
  return impl_->port.load();
}

const std::string& HttpServer::root() const {
  return impl_->root;
}

std::string HttpServer::url(std::string_view path) const {
  return "http://127.0.0.1:" + std::to_string(impl_->port.load()) +
         percentEncodePath(impl_->requestPath(path));
}

void HttpServer::setStatusFor(std::string_view path, int status, int times) {
  std::lock_guard<std::mutex> lock(impl_->mutex);
  if (times == 0) {
    impl_->statusOverrides.erase(impl_->requestPath(path));
  } else {
    impl_->statusOverrides[impl_->requestPath(path)] = {status, times < 0 ? -1 : times};
  }
}

void HttpServer::setPaused(bool paused) {
  std::lock_guard<std::mutex> lock(impl_->mutex);
  impl_->paused = paused;
  impl_->changed.notify_all();
}

bool HttpServer::waitForStalled(int count, milliseconds timeout) const {
  std::unique_lock<std::mutex> lock(impl_->mutex);
  return impl_->changed.wait_for(lock, timeout, [&] { return impl_->stalled >= count; });
}

void HttpServer::setRefuseConnections(bool refuse) {
  std::unique_lock<std::mutex> lock(impl_->mutex);
  if (impl_->stopping) return;
  impl_->refuse = refuse;
  uint64_t generation = ++impl_->refuseRequested;
  lock.unlock();
  char poke = 1;
  [[maybe_unused]] ssize_t written = write(impl_->controlPipe[1], &poke, 1);
  lock.lock();
  impl_->changed.wait(lock, [&] { return impl_->refuseApplied >= generation || impl_->stopping; });
}

void HttpServer::dropConnections() {
  std::lock_guard<std::mutex> lock(impl_->mutex);
  for (auto& connection : impl_->connections) {
    if (connection->finished) continue;
    connection->dropped = true;
    uint64_t one = 1;
    [[maybe_unused]] ssize_t written = write(connection->wakeFd, &one, sizeof one);
  }
  impl_->changed.notify_all();
}

void HttpServer::setHostile(std::string_view path, Hostile kind) {
  std::lock_guard<std::mutex> lock(impl_->mutex);
  impl_->hostile[impl_->requestPath(path)] = kind;
}

void HttpServer::setBytesPerSecond(uint64_t bytesPerSecond) {
  std::lock_guard<std::mutex> lock(impl_->mutex);
  impl_->bytesPerSecond = bytesPerSecond;
  impl_->changed.notify_all();
}

void HttpServer::setResponseDelay(milliseconds shortest, milliseconds longest) {
  std::lock_guard<std::mutex> lock(impl_->mutex);
  impl_->delayShortest = shortest;
  impl_->delayLongest = longest;
}

int HttpServer::requestCount(std::string_view path) const {
  std::string key = impl_->requestPath(path);
  std::lock_guard<std::mutex> lock(impl_->mutex);
  auto it = impl_->counts.find(key);
  return it == impl_->counts.end() ? 0 : it->second;
}

int HttpServer::totalRequestCount() const {
  std::lock_guard<std::mutex> lock(impl_->mutex);
  return impl_->total;
}

uint64_t HttpServer::bytesSent() const {
  return impl_->bytesSent.load();
}

std::vector<HttpRequestRecord> HttpServer::requests() const {
  std::lock_guard<std::mutex> lock(impl_->mutex);
  return impl_->log;
}

bool HttpServer::waitForRequests(std::string_view path, int count, milliseconds timeout) const {
  std::string key = impl_->requestPath(path);
  std::unique_lock<std::mutex> lock(impl_->mutex);
  return impl_->changed.wait_for(lock, timeout, [&] {
    auto it = impl_->counts.find(key);
    return it != impl_->counts.end() && it->second >= count;
  });
}

void HttpServer::stop() {
  Impl& s = *impl_;
  std::lock_guard<std::mutex> serial(s.stopMutex);
  if (!s.acceptor.joinable()) return;
  {
    std::lock_guard<std::mutex> lock(s.mutex);
    s.stopping = true;
    s.changed.notify_all();
  }
  char poke = 1;
  [[maybe_unused]] ssize_t written = write(s.stopPipe[1], &poke, 1);
  s.acceptor.join();
  std::list<std::unique_ptr<Impl::Connection>> all;  // every thread sees the stop pipe now
  {
    std::lock_guard<std::mutex> lock(s.mutex);
    all = std::move(s.connections);
  }
  for (auto& connection : all) connection->thread.join();
}

}  // namespace zent::test
