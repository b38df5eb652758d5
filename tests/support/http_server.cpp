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
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <random>
#include <stdexcept>
#include <thread>

#include "support/http_request.h"
#include "support/media_cache.h"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace zent::test {
namespace {

constexpr size_t kMaxHeadBytes = 64 * 1024;
constexpr size_t kChunkBytes = 64 * 1024;

bool equalsIgnoreCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) ==
                  std::tolower(static_cast<unsigned char>(y));
         });
}

std::string percentEncodePath(std::string_view path) {
  static const char* kHex = "0123456789ABCDEF";
  std::string encoded;
  for (unsigned char c : path) {
    if (std::isalnum(c) || c == '/' || c == '-' || c == '_' || c == '.' || c == '~') {
      encoded.push_back(static_cast<char>(c));
    } else {
      encoded.push_back('%');
      encoded.push_back(kHex[c >> 4]);
      encoded.push_back(kHex[c & 15]);
    }
  }
  return encoded;
}

bool hasDotDotSegment(std::string_view path) {
  size_t start = 0;
  while (start <= path.size()) {
    size_t end = path.find('/', start);
    if (end == std::string_view::npos) end = path.size();
    if (path.substr(start, end - start) == "..") return true;
    start = end + 1;
  }
  return false;
}

// Why waiting on a socket ended.
enum class Wake { Ready, Timeout, Stop, Error };

struct FileCloser {
  int fd;
  ~FileCloser() {
    if (fd >= 0) close(fd);
  }
};

}  // namespace

std::string HttpRequestRecord::header(std::string_view name) const {
  for (const auto& [key, value] : headers) {
    if (equalsIgnoreCase(key, name)) return value;
  }
  return "";
}

struct HttpServer::Impl {
  struct Connection {
    uint64_t id = 0;
    int fd = -1;      // closed by its own thread, under the mutex
    int wakeFd = -1;  // eventfd: dropConnections() pokes it
    bool dropped = false;
    bool finished = false;
    std::thread thread;
    ~Connection() {
      if (wakeFd >= 0) close(wakeFd);
    }
  };

  std::string root;           // absolute, as given
  std::string canonicalRoot;  // symlinks resolved
  Options options;
  std::atomic<uint16_t> port{0};  // rewritten (same value) when listening resumes

  int listenFd = -1;              // touched by the constructor, then only by the acceptor thread
  int stopPipe[2] = {-1, -1};     // written once by stop(), never drained
  int controlPipe[2] = {-1, -1};  // pokes the acceptor to apply setRefuseConnections

  std::mutex stopMutex;  // serialises stop()
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
  std::chrono::milliseconds delayShortest{0}, delayLongest{0};
  std::minstd_rand delayDraw{20240611};
  std::map<std::string, std::pair<int, int>> statusOverrides;  // path -> (status, times left)
  std::map<std::string, Hostile> hostile;
  std::vector<HttpRequestRecord> log;
  uint64_t logEpoch = 0;
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

  // ---- listening -----------------------------------------------------------

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
      if (ready < 0 && errno != EINTR) break;
      if (fds[0].revents) break;
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
    bool wantListening = !refuse;
    uint64_t generation = refuseRequested;
    lock.unlock();
    if (wantListening && listenFd < 0) {
      try {
        openListener();
      } catch (const std::exception&) {
        // The port was taken meanwhile; stay closed rather than move ports.
      }
    } else if (!wantListening) {
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
    size_t open = 0;
    for (const auto& connection : connections) open += connection->finished ? 0 : 1;
    if (stopping || open >= options.maxConnections) {
      static const char kBusy[] =
          "HTTP/1.1 503 Service Unavailable\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";
      if (!stopping) send(fd, kBusy, sizeof kBusy - 1, MSG_NOSIGNAL);
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
    changed.notify_all();
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

  // ---- one connection --------------------------------------------------------

  Wake waitFor(Connection* c, short events, std::chrono::milliseconds timeout) {
    pollfd fds[3] = {{c->fd, events, 0}, {stopPipe[0], POLLIN, 0}, {c->wakeFd, POLLIN, 0}};
    while (true) {
      int ready = poll(fds, 3, static_cast<int>(timeout.count()));
      if (ready < 0) {
        if (errno == EINTR) continue;
        return Wake::Error;
      }
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
        continue;
      }
      if (sent < 0 && errno == EINTR) continue;
      if (sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
        if (waitFor(c, POLLOUT, options.idleTimeout) != Wake::Ready) return false;
        continue;
      }
      return false;
    }
    return true;
  }

  // Holds the caller while the server is paused. False when the request must
  // be abandoned (stop, drop, or the pause cap passed).
  bool passPauseGate(Connection* c) {
    std::unique_lock<std::mutex> lock(mutex);
    if (stopping || c->dropped) return false;
    if (!paused) return true;
    ++stalled;
    changed.notify_all();
    bool resumed =
        changed.wait_for(lock, options.pauseCap, [&] { return !paused || stopping || c->dropped; });
    --stalled;
    changed.notify_all();
    return resumed && !stopping && !c->dropped;
  }

  Clock::duration drawDelay() {
    std::lock_guard<std::mutex> lock(mutex);
    if (delayLongest <= delayShortest) return delayShortest;
    std::uniform_int_distribution<int64_t> draw(delayShortest.count(), delayLongest.count());
    return std::chrono::milliseconds(draw(delayDraw));
  }

  // Sleeps until `due` unless the server stops or the connection is dropped.
  bool waitUntil(Connection* c, Clock::time_point due) {
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait_until(lock, due, [&] { return stopping || c->dropped; });
    return !stopping && !c->dropped;
  }

  void setStatus(size_t index, uint64_t epoch, int status) {
    std::lock_guard<std::mutex> lock(mutex);
    if (epoch == logEpoch && index < log.size()) log[index].status = status;
  }

  std::string responseHead(int status, const std::string& contentType, uint64_t length,
                           bool keepAlive, const std::string& extra) {
    std::string head = "HTTP/1.1 " + std::to_string(status) + " " + reasonPhrase(status) + "\r\n";
    head += "Server: zent-test-server\r\n";
    head += "Content-Type: " + contentType + "\r\n";
    head += "Content-Length: " + std::to_string(length) + "\r\n";
    head += "Accept-Ranges: bytes\r\n";
    head += "Cache-Control: no-cache\r\n";
    head += extra;
    head += keepAlive ? "Connection: keep-alive\r\n" : "Connection: close\r\n";
    head += "\r\n";
    return head;
  }

  // Records the status in the request log just before the response goes out,
  // so a client that has its response also finds it in the log.
  using Announce = std::function<void(int)>;

  // Answers with a short text body. False when the connection broke.
  bool sendText(Connection* c, const HttpRequest& request, int status, bool keepAlive,
                const Announce& announce, const std::string& extra = "") {
    announce(status);
    std::string body = std::to_string(status) + " " + reasonPhrase(status) + "\n";
    std::string head = responseHead(status, "text/plain", body.size(), keepAlive, extra);
    if (request.method != "HEAD") head += body;
    return sendAll(c, head.data(), head.size());
  }

  // Leaves a request unanswered until the client goes away, the connection is
  // dropped or the server stops. Anything the client sends meanwhile is dropped.
  void holdUnanswered(Connection* c) {
    {
      std::lock_guard<std::mutex> lock(mutex);
      ++stalled;
      changed.notify_all();
    }
    char input[4096];
    while (waitFor(c, POLLIN, std::chrono::milliseconds(500)) != Wake::Stop) {
      ssize_t got = recv(c->fd, input, sizeof input, MSG_DONTWAIT);
      if (got == 0 || (got < 0 && errno != EAGAIN && errno != EINTR)) break;
    }
    std::lock_guard<std::mutex> lock(mutex);
    --stalled;
    changed.notify_all();
  }

  // An HLS media playlist sent as chunks for ever, at about 4 MiB/s.
  bool sendEndlessPlaylist(Connection* c, const Announce& announce) {
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
    std::string head =
        "HTTP/1.1 200 OK\r\nContent-Type: application/vnd.apple.mpegurl\r\n"
        "Transfer-Encoding: chunked\r\nCache-Control: no-cache\r\n\r\n" +
        asChunk("#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXT-X-MEDIA-SEQUENCE:0\n");
    if (!sendAll(c, head.data(), head.size())) return false;
    for (auto due = Clock::now();; due += std::chrono::milliseconds(16)) {
      if (!waitUntil(c, due) || !sendAll(c, chunk.data(), chunk.size())) return false;
    }
  }

  // Sends one response. Returns its status, or 0 when the connection broke or
  // was abandoned (then it must be closed).
  int respond(Connection* c, const HttpRequest& request, bool keepAlive, const Announce& announce) {
    int overridden = 0;
    {
      std::lock_guard<std::mutex> lock(mutex);
      auto it = statusOverrides.find(request.path);
      if (it != statusOverrides.end()) {
        overridden = it->second.first;
        if (it->second.second > 0 && --it->second.second == 0) statusOverrides.erase(it);
      }
    }
    if (overridden != 0)
      return sendText(c, request, overridden, keepAlive, announce) ? overridden : 0;
    Hostile kind = Hostile::None;
    {
      std::lock_guard<std::mutex> lock(mutex);
      auto it = hostile.find(request.path);
      if (it != hostile.end()) kind = it->second;
    }
    switch (kind) {
      case Hostile::NeverAnswer:
        holdUnanswered(c);
        return 0;
      case Hostile::RedirectLoop:
        return sendText(c, request, 302, keepAlive, announce,
                        "Location: " + request.target + "\r\n")
                   ? 302
                   : 0;
      case Hostile::EndlessPlaylist:
        sendEndlessPlaylist(c, announce);
        return 0;
      default:
        break;
    }
    if (request.method != "GET" && request.method != "HEAD") {
      return sendText(c, request, 405, keepAlive, announce, "Allow: GET, HEAD\r\n") ? 405 : 0;
    }
    if (hasDotDotSegment(request.path))
      return sendText(c, request, 403, keepAlive, announce) ? 403 : 0;

    const std::string file = root + request.path;
    FileCloser handle{open(file.c_str(), O_RDONLY | O_CLOEXEC)};
    struct stat info {};
    if (handle.fd < 0 || fstat(handle.fd, &info) != 0 || !S_ISREG(info.st_mode)) {
      return sendText(c, request, 404, keepAlive, announce) ? 404 : 0;
    }
    const uint64_t size = static_cast<uint64_t>(info.st_size);

    ByteRange range{0, size == 0 ? 0 : size - 1};
    int status = 200;
    std::string extra;
    std::string rangeHeader = request.header("Range");
    if (!rangeHeader.empty()) {
      switch (parseRange(rangeHeader, size, &range)) {
        case RangeResult::Satisfiable:
          status = 206;
          extra = "Content-Range: bytes " + std::to_string(range.first) + "-" +
                  std::to_string(range.last) + "/" + std::to_string(size) + "\r\n";
          break;
        case RangeResult::Unsatisfiable:
          return sendText(c, request, 416, keepAlive, announce,
                          "Content-Range: bytes */" + std::to_string(size) + "\r\n")
                     ? 416
                     : 0;
        case RangeResult::None:
          range = {0, size == 0 ? 0 : size - 1};
          break;
      }
    }
    const uint64_t length = size == 0 ? 0 : range.last - range.first + 1;
    std::string head = responseHead(status, contentTypeFor(request.path), length, keepAlive, extra);
    announce(status);
    if (!sendAll(c, head.data(), head.size())) return 0;
    if (request.method == "HEAD") return status;

    std::vector<char> chunk(kChunkBytes);
    uint64_t offset = range.first;
    uint64_t left = kind == Hostile::StopAfterPart ? length / 3 : length;
    uint64_t rate = 0;
    Clock::time_point rateStart{};
    uint64_t sentAtRate = 0;
    while (left > 0) {
      if (!passPauseGate(c)) return 0;
      uint64_t currentRate;
      {
        std::lock_guard<std::mutex> lock(mutex);
        currentRate = kind == Hostile::Trickle ? 4096 : bytesPerSecond;
      }
      if (currentRate != rate) {  // (re)start pacing from here
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
      ssize_t got = pread(handle.fd, chunk.data(), want, static_cast<off_t>(offset));
      if (got <= 0) return 0;  // the file shrank under us: end the connection
      if (!sendAll(c, chunk.data(), static_cast<size_t>(got))) return 0;
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

  void serve(Connection* c) {
    std::string buffer;
    char input[16384];
    bool open = true;
    while (open) {
      // Read one request head.
      size_t headEnd;
      while ((headEnd = buffer.find("\r\n\r\n")) == std::string::npos) {
        if (buffer.size() > kMaxHeadBytes) {
          open = false;
          break;
        }
        if (waitFor(c, POLLIN, options.idleTimeout) != Wake::Ready) {
          open = false;
          break;
        }
        ssize_t got = recv(c->fd, input, sizeof input, 0);
        if (got < 0 && (errno == EAGAIN || errno == EINTR)) continue;
        if (got <= 0) {
          open = false;
          break;
        }
        buffer.append(input, static_cast<size_t>(got));
      }
      if (!open) break;
      std::optional<HttpRequest> request = parseHttpRequest(buffer.substr(0, headEnd));
      buffer.erase(0, headEnd + 4);
      if (!request) {
        HttpRequest bad;
        bad.method = "GET";
        sendText(c, bad, 400, false, [](int) {});
        break;
      }
      // A request body (unusual for GET) is read and dropped.
      uint64_t bodyLength = 0;
      std::string lengthHeader = request->header("Content-Length");
      if (!lengthHeader.empty()) bodyLength = std::strtoull(lengthHeader.c_str(), nullptr, 10);
      while (bodyLength > 0 && open) {
        if (!buffer.empty()) {
          size_t take = static_cast<size_t>(std::min<uint64_t>(bodyLength, buffer.size()));
          buffer.erase(0, take);
          bodyLength -= take;
          continue;
        }
        if (waitFor(c, POLLIN, options.idleTimeout) != Wake::Ready) open = false;
        ssize_t got = open ? recv(c->fd, input, sizeof input, 0) : 0;
        if (got < 0 && (errno == EAGAIN || errno == EINTR)) continue;
        if (got <= 0) open = false;
        if (open) buffer.append(input, static_cast<size_t>(got));
      }
      if (!open) break;

      size_t index;
      uint64_t epoch;
      {
        std::lock_guard<std::mutex> lock(mutex);
        HttpRequestRecord record;
        record.method = request->method;
        record.path = request->path;
        record.target = request->target;
        record.headers = request->headers;
        record.connection = c->id;
        log.push_back(std::move(record));
        index = log.size() - 1;
        epoch = logEpoch;
        ++counts[request->path];
        ++total;
        changed.notify_all();
      }
      if (!passPauseGate(c)) break;
      if (!waitUntil(c, Clock::now() + drawDelay())) break;
      const bool keepAlive = request->keepAlive();
      int status =
          respond(c, *request, keepAlive, [&](int answered) { setStatus(index, epoch, answered); });
      if (status == 0) break;
      if (!keepAlive) break;
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
};

// ---- public face -------------------------------------------------------------

HttpServer::HttpServer() : HttpServer(mediaCacheDir(), Options{}) {}

HttpServer::HttpServer(std::string root) : HttpServer(std::move(root), Options{}) {}

HttpServer::HttpServer(std::string root, Options options) : impl_(std::make_unique<Impl>()) {
  Impl& s = *impl_;
  s.root = fs::absolute(root).lexically_normal().string();
  while (s.root.size() > 1 && s.root.back() == '/') s.root.pop_back();
  std::error_code ec;
  s.canonicalRoot = fs::weakly_canonical(s.root, ec).string();
  if (ec) s.canonicalRoot = s.root;
  s.options = options;
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

std::string HttpServer::requestPath(std::string_view path) const {
  std::string text(path);
  if (text.rfind("http://", 0) == 0) {
    size_t slash = text.find('/', 7);
    text = slash == std::string::npos ? "/" : text.substr(slash);
    text = text.substr(0, text.find_first_of("?#"));
    return percentDecode(text).value_or(text);
  }
  for (const std::string& root : {impl_->root, impl_->canonicalRoot}) {
    if (text == root) return "/";
    if (text.size() > root.size() && text.compare(0, root.size(), root) == 0 &&
        text[root.size()] == '/') {
      return text.substr(root.size());
    }
  }
  if (!text.empty() && text[0] == '/') return text;
  return "/" + text;
}

std::string HttpServer::url(std::string_view path) const {
  return "http://127.0.0.1:" + std::to_string(impl_->port.load()) +
         percentEncodePath(requestPath(path));
}

void HttpServer::setStatusFor(std::string_view path, int status, int times) {
  std::lock_guard<std::mutex> lock(impl_->mutex);
  if (times == 0) {
    impl_->statusOverrides.erase(requestPath(path));
  } else {
    impl_->statusOverrides[requestPath(path)] = {status, times < 0 ? -1 : times};
  }
}

void HttpServer::clearStatusFor(std::string_view path) {
  std::lock_guard<std::mutex> lock(impl_->mutex);
  impl_->statusOverrides.erase(requestPath(path));
}

void HttpServer::clearAllStatus() {
  std::lock_guard<std::mutex> lock(impl_->mutex);
  impl_->statusOverrides.clear();
}

void HttpServer::setPaused(bool paused) {
  std::lock_guard<std::mutex> lock(impl_->mutex);
  impl_->paused = paused;
  impl_->changed.notify_all();
}

bool HttpServer::paused() const {
  std::lock_guard<std::mutex> lock(impl_->mutex);
  return impl_->paused;
}

int HttpServer::stalledCount() const {
  std::lock_guard<std::mutex> lock(impl_->mutex);
  return impl_->stalled;
}

bool HttpServer::waitForStalled(int count, std::chrono::milliseconds timeout) const {
  std::unique_lock<std::mutex> lock(impl_->mutex);
  return impl_->changed.wait_for(lock, timeout, [&] { return impl_->stalled >= count; });
}

void HttpServer::setRefuseConnections(bool refuse) {
  uint64_t generation;
  {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    if (impl_->stopping) return;
    impl_->refuse = refuse;
    generation = ++impl_->refuseRequested;
  }
  char poke = 1;
  [[maybe_unused]] ssize_t written = write(impl_->controlPipe[1], &poke, 1);
  std::unique_lock<std::mutex> lock(impl_->mutex);
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

uint64_t HttpServer::bytesSent() const {
  return impl_->bytesSent.load();
}

void HttpServer::setResponseDelay(std::chrono::milliseconds shortest,
                                  std::chrono::milliseconds longest) {
  std::lock_guard<std::mutex> lock(impl_->mutex);
  impl_->delayShortest = shortest;
  impl_->delayLongest = longest;
}

void HttpServer::setHostile(std::string_view path, Hostile kind) {
  std::lock_guard<std::mutex> lock(impl_->mutex);
  if (kind == Hostile::None) {
    impl_->hostile.erase(requestPath(path));
  } else {
    impl_->hostile[requestPath(path)] = kind;
  }
}

void HttpServer::setBytesPerSecond(uint64_t bytesPerSecond) {
  std::lock_guard<std::mutex> lock(impl_->mutex);
  impl_->bytesPerSecond = bytesPerSecond;
  impl_->changed.notify_all();
}

int HttpServer::requestCount(std::string_view path) const {
  std::string key = requestPath(path);
  std::lock_guard<std::mutex> lock(impl_->mutex);
  auto it = impl_->counts.find(key);
  return it == impl_->counts.end() ? 0 : it->second;
}

int HttpServer::totalRequestCount() const {
  std::lock_guard<std::mutex> lock(impl_->mutex);
  return impl_->total;
}

int HttpServer::connectionCount() const {
  std::lock_guard<std::mutex> lock(impl_->mutex);
  return static_cast<int>(impl_->accepted);
}

int HttpServer::openConnectionCount() const {
  std::lock_guard<std::mutex> lock(impl_->mutex);
  int open = 0;
  for (const auto& connection : impl_->connections) open += connection->finished ? 0 : 1;
  return open;
}

std::vector<HttpRequestRecord> HttpServer::requests() const {
  std::lock_guard<std::mutex> lock(impl_->mutex);
  return impl_->log;
}

bool HttpServer::waitForRequests(std::string_view path, int count,
                                 std::chrono::milliseconds timeout) const {
  std::string key = requestPath(path);
  std::unique_lock<std::mutex> lock(impl_->mutex);
  return impl_->changed.wait_for(lock, timeout, [&] {
    auto it = impl_->counts.find(key);
    return it != impl_->counts.end() && it->second >= count;
  });
}

void HttpServer::resetCounters() {
  std::lock_guard<std::mutex> lock(impl_->mutex);
  impl_->log.clear();
  ++impl_->logEpoch;
  impl_->counts.clear();
  impl_->total = 0;
}

void HttpServer::stop() {
  Impl& s = *impl_;
  std::lock_guard<std::mutex> serial(s.stopMutex);
  if (!s.acceptor.joinable()) return;  // stopped before
  {
    std::lock_guard<std::mutex> lock(s.mutex);
    s.stopping = true;
    s.changed.notify_all();
  }
  char poke = 1;
  [[maybe_unused]] ssize_t written = write(s.stopPipe[1], &poke, 1);
  if (s.acceptor.joinable()) s.acceptor.join();
  // No connection is accepted any more; every thread sees the stop pipe.
  std::list<std::unique_ptr<Impl::Connection>> all;
  {
    std::lock_guard<std::mutex> lock(s.mutex);
    all = std::move(s.connections);
    s.connections.clear();
  }
  for (auto& connection : all) connection->thread.join();
}

}  // namespace zent::test
