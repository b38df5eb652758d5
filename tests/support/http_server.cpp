#include "support/http_server.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <list>
#include <map>
#include <mutex>
#include <random>
#include <stdexcept>
#include <thread>
#include <vector>

#include "support/media_cache.h"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

namespace zent::test {
namespace {

constexpr size_t kChunkBytes = 64 * 1024;

std::string lowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), ::tolower);
  return text;
}

// Only manifests need naming: media are told by their first bytes.
std::string contentTypeFor(const std::string& path) {
  const std::string extension = lowerCase(fs::path(path).extension().string());
  return extension == ".m3u8"  ? "application/vnd.apple.mpegurl"
         : extension == ".mpd" ? "application/dash+xml"
                               : "application/octet-stream";
}

std::string responseHead(int status, const std::string& type, uint64_t length, bool keepAlive,
                         const std::string& extra = "") {
  const char* reason = status == 200   ? "OK"
                       : status == 206 ? "Partial Content"
                       : status == 302 ? "Found"
                       : status == 416 ? "Range Not Satisfiable"
                                       : "Not Found";
  return "HTTP/1.1 " + std::to_string(status) + " " + reason + "\r\nContent-Type: " + type +
         "\r\nContent-Length: " + std::to_string(length) +
         "\r\nAccept-Ranges: bytes\r\nCache-Control: no-cache\r\n" + extra +
         (keepAlive ? "Connection: keep-alive\r\n\r\n" : "Connection: close\r\n\r\n");
}

}  // namespace

struct HttpServer::Impl {
  struct Connection {
    int fd = -1;
    bool done = false;
    std::thread thread;
  };

  std::string root;
  int listenFd = -1;
  uint16_t port = 0;
  std::thread acceptor;
  mutable std::mutex mutex;
  mutable std::condition_variable changed;
  bool stopping = false;
  bool paused = false;
  int stalled = 0;
  uint64_t bytesPerSecond = 0;
  milliseconds delayShortest{0}, delayLongest{0};
  std::minstd_rand delayDraw{20240611};
  std::map<std::string, Hostile> hostile;
  std::map<std::string, int> counts;
  int total = 0;
  std::atomic<uint64_t> sent{0};
  std::list<Connection> connections;

  std::string requestPath(std::string_view path) const {
    std::string text(path);
    if (text.rfind("http://", 0) == 0) {
      size_t slash = text.find('/', 7);
      text = slash == std::string::npos ? "/" : text.substr(slash);
    } else if (text.empty() || text[0] != '/') {
      return "/" + text;
    } else if (auto file = fs::weakly_canonical(text).string(); file.rfind(root + "/", 0) == 0) {
      return file.substr(root.size());
    }
    return text.substr(0, text.find_first_of("?#"));
  }

  // False when the server stops meanwhile.
  bool sleepUntil(Clock::time_point until) {
    std::unique_lock<std::mutex> lock(mutex);
    return !changed.wait_until(lock, until, [&] { return stopping; });
  }
  template <class Span>
  bool sleepFor(Span span) {
    return sleepUntil(Clock::now() + std::chrono::duration_cast<Clock::duration>(span));
  }
  // A stalled request waits while paused (or for ever) and counts as stalled.
  bool stall(bool forever) {
    std::unique_lock<std::mutex> lock(mutex);
    if (!forever && !paused) return !stopping;
    ++stalled;
    changed.notify_all();
    changed.wait(lock, [&] { return stopping || (!forever && !paused); });
    --stalled;
    return !stopping;
  }

  bool sendAll(int fd, const char* data, size_t size) {
    while (size > 0) {
      ssize_t done = send(fd, data, size, MSG_NOSIGNAL);
      if (done < 0 && errno == EINTR) continue;
      if (done <= 0) return false;
      sent += static_cast<uint64_t>(done);
      data += done;
      size -= static_cast<size_t>(done);
    }
    return true;
  }
  bool sendAll(int fd, const std::string& data) { return sendAll(fd, data.data(), data.size()); }

  // An HLS media playlist sent in chunks for ever, about 4 MiB/s.
  void sendEndlessPlaylist(int fd) {
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
    std::string head =
        "HTTP/1.1 200 OK\r\nContent-Type: application/vnd.apple.mpegurl\r\n"
        "Transfer-Encoding: chunked\r\nCache-Control: no-cache\r\n\r\n" +
        asChunk("#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXT-X-MEDIA-SEQUENCE:0\n");
    if (!sendAll(fd, head)) return;
    while (sendAll(fd, chunk) && sleepFor(milliseconds(16))) {
    }
  }

  // Answers one request; false when the connection must close.
  bool respond(int fd, const std::string& head) {
    size_t first = head.find(' '), second = head.find(' ', first + 1);
    if (first == std::string::npos || second == std::string::npos) return false;
    const std::string method = head.substr(0, first);
    const std::string target = head.substr(first + 1, second - first - 1);
    const std::string path = requestPath(target);
    const std::string lowerHead = lowerCase(head);
    const bool keepAlive = lowerHead.find("\r\nconnection: close") == std::string::npos;
    Hostile kind = Hostile::None;
    Clock::time_point due;
    {
      std::lock_guard<std::mutex> lock(mutex);
      ++counts[path];
      ++total;
      changed.notify_all();
      if (auto it = hostile.find(path); it != hostile.end()) kind = it->second;
      std::uniform_int_distribution<int64_t> draw(delayShortest.count(),
                                                  std::max(delayShortest, delayLongest).count());
      due = Clock::now() + milliseconds(draw(delayDraw));
    }
    if (!stall(false) || !sleepUntil(due)) return false;
    switch (kind) {
      case Hostile::NeverAnswer:
        stall(true);
        return false;
      case Hostile::RedirectLoop:
        return sendAll(fd, responseHead(302, "text/plain", 0, keepAlive,
                                        "Location: " + target + "\r\n")) &&
               keepAlive;
      case Hostile::EndlessPlaylist:
        sendEndlessPlaylist(fd);
        return false;
      default:
        break;
    }

    int file = open((root + path).c_str(), O_RDONLY | O_CLOEXEC);
    struct stat info {};
    if (file < 0 || fstat(file, &info) != 0 || !S_ISREG(info.st_mode)) {
      if (file >= 0) close(file);
      return sendAll(fd, responseHead(404, "text/plain", 0, keepAlive)) && keepAlive;
    }
    const auto size = static_cast<uint64_t>(info.st_size);
    uint64_t offset = 0, last = size == 0 ? 0 : size - 1;
    int status = 200;
    std::string extra;
    if (size_t range = lowerHead.find("\r\nrange: bytes="); range != std::string::npos) {
      char* end = nullptr;
      offset = std::strtoull(lowerHead.c_str() + range + 15, &end, 10);
      if (*end == '-' && std::isdigit(static_cast<unsigned char>(end[1]))) {
        last = std::min<uint64_t>(last, std::strtoull(end + 1, nullptr, 10));
      }
      if (offset >= size) {
        close(file);
        return sendAll(fd,
                       responseHead(416, "text/plain", 0, keepAlive,
                                    "Content-Range: bytes */" + std::to_string(size) + "\r\n")) &&
               keepAlive;
      }
      status = 206;
      extra = "Content-Range: bytes " + std::to_string(offset) + "-" + std::to_string(last) + "/" +
              std::to_string(size) + "\r\n";
    }
    const uint64_t length = size == 0 ? 0 : last - offset + 1;
    bool ok = sendAll(fd, responseHead(status, contentTypeFor(path), length, keepAlive, extra));
    uint64_t left = method == "HEAD" ? 0 : kind == Hostile::StopAfterPart ? length / 3 : length;
    std::vector<char> chunk(kChunkBytes);
    while (ok && left > 0 && stall(false)) {
      uint64_t rate;
      {
        std::lock_guard<std::mutex> lock(mutex);
        rate = kind == Hostile::Trickle ? 4096 : bytesPerSecond;
      }
      uint64_t want = std::min<uint64_t>(
          left, rate > 0 ? std::clamp<uint64_t>(rate / 10, 1024, kChunkBytes) : kChunkBytes);
      ssize_t got =
          pread(file, chunk.data(), static_cast<size_t>(want), static_cast<off_t>(offset));
      ok = got > 0 && sendAll(fd, chunk.data(), static_cast<size_t>(got));
      offset += static_cast<uint64_t>(std::max<ssize_t>(got, 0));
      left -= std::min<uint64_t>(left, static_cast<uint64_t>(std::max<ssize_t>(got, 0)));
      if (ok && rate > 0) {
        ok = sleepFor(
            std::chrono::duration<double>(static_cast<double>(got) / static_cast<double>(rate)));
      }
    }
    close(file);
    if (kind == Hostile::StopAfterPart) stall(true);
    return ok && left == 0 && keepAlive && kind != Hostile::StopAfterPart;
  }

  void serve(Connection* c) {
    std::string buffer;
    char input[16384];
    bool open = true;
    while (open) {
      size_t end;
      while (open && (end = buffer.find("\r\n\r\n")) == std::string::npos) {
        ssize_t got = recv(c->fd, input, sizeof input, 0);
        open = got > 0 || (got < 0 && errno == EINTR);
        if (got > 0) buffer.append(input, static_cast<size_t>(got));
      }
      if (!open) break;
      std::string head = buffer.substr(0, end);
      buffer.erase(0, end + 4);
      open = respond(c->fd, head);
    }
    std::lock_guard<std::mutex> lock(mutex);
    close(c->fd);
    c->done = true;
  }

  void acceptLoop() {
    while (true) {
      int fd = accept4(listenFd, nullptr, nullptr, SOCK_CLOEXEC);
      std::lock_guard<std::mutex> lock(mutex);
      if (stopping) {
        if (fd >= 0) close(fd);
        return;
      }
      for (auto it = connections.begin(); it != connections.end();) {
        if (it->done) it->thread.join();  // it only returns from here
        it = it->done ? connections.erase(it) : std::next(it);
      }
      if (fd < 0) continue;
      Connection& c = connections.emplace_back();
      c.fd = fd;
      c.thread = std::thread([this, &c] { serve(&c); });
    }
  }
};

HttpServer::HttpServer() : HttpServer(mediaCacheDir()) {}

HttpServer::HttpServer(std::string root) : impl_(std::make_unique<Impl>()) {
  Impl& s = *impl_;
  s.root = fs::weakly_canonical(fs::absolute(root)).string();
  while (s.root.size() > 1 && s.root.back() == '/') s.root.pop_back();
  s.listenFd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  if (s.listenFd < 0 || bind(s.listenFd, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
      listen(s.listenFd, 128) != 0 ||
      getsockname(s.listenFd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    std::string error = std::strerror(errno);
    if (s.listenFd >= 0) close(s.listenFd);
    throw std::runtime_error("cannot listen on 127.0.0.1: " + error);
  }
  s.port = ntohs(address.sin_port);
  s.acceptor = std::thread([&s] { s.acceptLoop(); });
}

HttpServer::~HttpServer() {
  Impl& s = *impl_;
  {
    std::lock_guard<std::mutex> lock(s.mutex);
    s.stopping = true;
    for (Impl::Connection& c : s.connections) {
      if (!c.done) shutdown(c.fd, SHUT_RDWR);  // wakes its blocked recv/send
    }
    s.changed.notify_all();
  }
  shutdown(s.listenFd, SHUT_RDWR);  // wakes accept
  s.acceptor.join();
  close(s.listenFd);
  for (Impl::Connection& c : s.connections) c.thread.join();
}

std::string HttpServer::url(std::string_view path) const {
  return "http://127.0.0.1:" + std::to_string(impl_->port) + impl_->requestPath(path);
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

void HttpServer::setHostile(std::string_view path, Hostile kind) {
  std::lock_guard<std::mutex> lock(impl_->mutex);
  impl_->hostile[impl_->requestPath(path)] = kind;
}

void HttpServer::setBytesPerSecond(uint64_t bytesPerSecond) {
  std::lock_guard<std::mutex> lock(impl_->mutex);
  impl_->bytesPerSecond = bytesPerSecond;
}

void HttpServer::setResponseDelay(milliseconds shortest, milliseconds longest) {
  std::lock_guard<std::mutex> lock(impl_->mutex);
  impl_->delayShortest = shortest;
  impl_->delayLongest = longest;
}

int HttpServer::requestCount(std::string_view path) const {
  std::string key = impl_->requestPath(path);
  std::lock_guard<std::mutex> lock(impl_->mutex);
  return impl_->counts.count(key) ? impl_->counts.at(key) : 0;
}

int HttpServer::totalRequestCount() const {
  std::lock_guard<std::mutex> lock(impl_->mutex);
  return impl_->total;
}

uint64_t HttpServer::bytesSent() const {
  return impl_->sent.load();
}

bool HttpServer::waitForRequests(std::string_view path, int count, milliseconds timeout) const {
  std::string key = impl_->requestPath(path);
  std::unique_lock<std::mutex> lock(impl_->mutex);
  return impl_->changed.wait_for(
      lock, timeout, [&] { return impl_->counts.count(key) && impl_->counts.at(key) >= count; });
}

}  // namespace zent::test
