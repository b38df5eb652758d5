// fetchText: whole text resources over http(s) with libcurl's easy interface,
// or from the local disk for file:// URLs and plain paths.

#include <curl/curl.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "support/text_fetcher.h"

namespace zent {
namespace {

constexpr long kMaxRedirects = 10;
constexpr std::size_t kReadChunk = 64 * 1024;
// How often a transfer looks at its cancel flag while it waits on the peer.
constexpr int kCancelCheckMs = 50;

bool cancelled(const FetchOptions& options) {
  return options.cancelFlag != nullptr && options.cancelFlag->load();
}

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool startsWithIgnoreCase(std::string_view text, std::string_view prefix) {
  if (text.size() < prefix.size()) return false;
  for (std::size_t i = 0; i < prefix.size(); ++i) {
    if (lower(text[i]) != prefix[i]) return false;
  }
  return true;
}

// The URL's scheme in lower case, or "" when the text is a plain path.
std::string schemeOf(std::string_view url) {
  std::size_t colon = url.find(':');
  if (colon == std::string_view::npos || colon == 0) return {};
  std::string scheme;
  for (std::size_t i = 0; i < colon; ++i) {
    char c = url[i];
    bool alpha = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    bool other = (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.';
    if (!alpha && (i == 0 || !other)) return {};
    scheme.push_back(lower(c));
  }
  return scheme;
}

std::string refusedAsTooLarge(const std::string& url, std::size_t maxBytes) {
  return url + ": body larger than the " + std::to_string(maxBytes) + "-byte limit; not read";
}

FetchResult failure(std::string reason) {
  FetchResult result;
  result.error = std::move(reason);
  return result;
}

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// The local path of a file URL: "file:///a/b%20c", "file://localhost/a",
// "file:/a". Nothing for a remote host, a bad escape or an escaped NUL.
std::optional<std::string> pathOfFileUrl(std::string_view url, std::string& why) {
  std::string_view rest = url.substr(5);  // after "file:"
  rest = rest.substr(0, rest.find_first_of("?#"));
  if (rest.substr(0, 2) == "//") {
    std::size_t slash = rest.find('/', 2);
    std::string_view host = rest.substr(2, slash == std::string_view::npos ? rest.npos : slash - 2);
    bool local = host.empty() || (host.size() == 9 && startsWithIgnoreCase(host, "localhost"));
    if (!local) {
      why = "file URL names a remote host";
      return std::nullopt;
    }
    rest = slash == std::string_view::npos ? std::string_view() : rest.substr(slash);
  }
  std::string path;
  for (std::size_t i = 0; i < rest.size(); ++i) {
    if (rest[i] != '%') {
      path.push_back(rest[i]);
      continue;
    }
    int high = i + 2 < rest.size() ? hexValue(rest[i + 1]) : -1;
    int low = i + 2 < rest.size() ? hexValue(rest[i + 2]) : -1;
    if (high < 0 || low < 0 || (high == 0 && low == 0)) {
      why = "file URL has a bad percent escape";
      return std::nullopt;
    }
    path.push_back(static_cast<char>(high * 16 + low));
    i += 2;
  }
  if (path.empty()) {
    why = "file URL has no path";
    return std::nullopt;
  }
  return path;
}

FetchResult readLocalFile(const std::string& path, const std::string& shownAs,
                          const FetchOptions& options) {
  int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return failure(shownAs + ": " + std::strerror(errno));
  struct FdCloser {
    int fd;
    ~FdCloser() { ::close(fd); }
  } closer{fd};

  struct stat info {};
  if (::fstat(fd, &info) != 0) return failure(shownAs + ": " + std::strerror(errno));
  if (S_ISDIR(info.st_mode)) return failure(shownAs + ": is a directory");
  if (S_ISREG(info.st_mode) && static_cast<uint64_t>(info.st_size) > options.maxBytes &&
      options.sniffBytes == 0) {
    return failure(refusedAsTooLarge(shownAs, options.maxBytes));
  }

  // Pipes and devices have no size: read until the end, refusing past the cap.
  FetchResult result;
  std::string buffer(kReadChunk, '\0');
  bool sniffed = options.sniffBytes == 0 || !options.wanted;
  while (true) {
    if (!sniffed && result.body.size() >= options.sniffBytes) {
      sniffed = true;
      if (!options.wanted("", result.body)) {
        result.stoppedEarly = true;
        break;
      }
    }
    if (cancelled(options)) return failure(shownAs + ": cancelled");
    ssize_t got = ::read(fd, buffer.data(), buffer.size());
    if (got < 0) {
      if (errno == EINTR) continue;
      return failure(shownAs + ": " + std::strerror(errno));
    }
    if (got == 0) break;
    if (static_cast<std::size_t>(got) > options.maxBytes - result.body.size()) {
      return failure(refusedAsTooLarge(shownAs, options.maxBytes));
    }
    result.body.append(buffer.data(), static_cast<std::size_t>(got));
  }
  result.ok = true;
  result.effectiveUrl = shownAs;
  return result;
}

// URLs found in documents may hold blanks or raw UTF-8, which curl refuses;
// percent-encode those bytes and leave everything else as written.
std::string escapeForCurl(const std::string& url) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(url.size());
  for (char c : url) {
    auto byte = static_cast<unsigned char>(c);
    if (byte <= 0x20 || byte >= 0x7F) {
      out.push_back('%');
      out.push_back(kHex[byte >> 4]);
      out.push_back(kHex[byte & 0x0F]);
    } else {
      out.push_back(c);
    }
  }
  return out;
}

bool curlReady() {
  static std::once_flag once;
  static bool ready = false;
  std::call_once(once, [] { ready = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK; });
  return ready;
}

struct Transfer {
  const FetchOptions* options = nullptr;
  std::string body;
  bool overCap = false;
  long status = 0;          // of the last response whose status line was seen
  std::string reason;       // its reason phrase ("Not Found"); HTTP/2 has none
  std::string contentType;  // of the last response
  bool sniffed = false;
  bool stoppedEarly = false;
};

size_t onHeader(char* data, size_t size, size_t count, void* user) {
  auto* transfer = static_cast<Transfer*>(user);
  std::string_view line(data, size * count);
  if (startsWithIgnoreCase(line, "content-type:")) {
    std::string_view value = line.substr(13);
    while (!value.empty() && (value.front() == ' ' || value.front() == '\t'))
      value.remove_prefix(1);
    while (!value.empty() &&
           (value.back() == '\r' || value.back() == '\n' || value.back() == ' ')) {
      value.remove_suffix(1);
    }
    transfer->contentType = std::string(value);
    return size * count;
  }
  if (line.substr(0, 5) != "HTTP/") return size * count;
  transfer->contentType.clear();
  // "HTTP/1.1 404 Not Found\r\n": each response of a redirect chain starts anew.
  transfer->status = 0;
  transfer->reason.clear();
  std::size_t space = line.find(' ');
  if (space == std::string_view::npos || space + 4 > line.size()) return size * count;
  std::string_view code = line.substr(space + 1, 3);
  long status = 0;
  for (char c : code) {
    if (c < '0' || c > '9') return size * count;
    status = status * 10 + (c - '0');
  }
  transfer->status = status;
  std::string_view reason = line.substr(space + 4);
  while (!reason.empty() && reason.front() == ' ') reason.remove_prefix(1);
  while (!reason.empty() && (reason.back() == '\r' || reason.back() == '\n')) {
    reason.remove_suffix(1);
  }
  transfer->reason = std::string(reason);
  return size * count;
}

size_t onBody(char* data, size_t size, size_t count, void* user) {
  auto* transfer = static_cast<Transfer*>(user);
  std::size_t bytes = size * count;
  if (transfer->status >= 400) return bytes;  // an error page is not the resource: drop it
  std::string& body = transfer->body;
  const std::size_t cap = transfer->options->maxBytes;
  if (bytes > cap - body.size()) {
    transfer->overCap = true;
    return 0;  // makes curl stop with CURLE_WRITE_ERROR
  }
  // Grown by hand so the buffer itself never passes the cap (append would double it).
  if (body.size() + bytes > body.capacity()) {
    body.reserve(std::min(cap, std::max(body.size() + bytes, 2 * body.capacity())));
  }
  body.append(data, bytes);
  const FetchOptions& options = *transfer->options;
  if (!transfer->sniffed && options.sniffBytes > 0 && options.wanted &&
      body.size() >= options.sniffBytes) {
    transfer->sniffed = true;
    if (!options.wanted(transfer->contentType, body)) {
      transfer->stoppedEarly = true;
      return 0;  // stops the transfer; the bytes so far are the result
    }
  }
  return bytes;
}

// Runs the transfer on a multi handle in short slices, so a raised cancel flag
// ends it within one slice whatever the peer does (curl's progress callback
// alone comes only about once a second while nothing arrives).
CURLcode performCancellable(CURL* curl, const FetchOptions& options) {
  CURLM* multi = curl_multi_init();
  if (multi == nullptr) return CURLE_OUT_OF_MEMORY;
  curl_multi_add_handle(multi, curl);
  CURLcode result = CURLE_OK;
  int running = 1;
  while (true) {
    if (curl_multi_perform(multi, &running) != CURLM_OK) {
      result = CURLE_RECV_ERROR;
      break;
    }
    if (running == 0) {
      int left = 0;
      while (CURLMsg* message = curl_multi_info_read(multi, &left)) {
        if (message->msg == CURLMSG_DONE) result = message->data.result;
      }
      break;
    }
    if (cancelled(options)) {
      result = CURLE_ABORTED_BY_CALLBACK;
      break;
    }
    curl_multi_poll(multi, nullptr, 0, kCancelCheckMs, nullptr);
  }
  curl_multi_remove_handle(multi, curl);
  curl_multi_cleanup(multi);
  return result;
}

FetchResult fetchHttp(const std::string& url, const FetchOptions& options) {
  if (!curlReady()) return failure(url + ": libcurl could not be initialised");
  CURL* curl = curl_easy_init();
  if (!curl) return failure(url + ": libcurl could not make a transfer handle");
  curl_slist* headers = nullptr;
  for (const std::string& header : options.headers) {
    curl_slist* grown = curl_slist_append(headers, header.c_str());
    if (grown) headers = grown;
  }

  Transfer transfer;
  transfer.options = &options;
  char curlError[CURL_ERROR_SIZE] = {};
  std::string escaped = escapeForCurl(url);
  curl_easy_setopt(curl, CURLOPT_URL, escaped.c_str());
  curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(curl, CURLOPT_MAXREDIRS, kMaxRedirects);
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);  // timeouts without SIGALRM: we run on many threads
  if (options.connectTimeoutSeconds > 0) {
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, options.connectTimeoutSeconds);
  }
  if (options.totalTimeoutSeconds > 0) {
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, options.totalTimeoutSeconds);
  }
  if (options.stallTimeoutSeconds > 0) {  // less than a byte a second for that long
    curl_easy_setopt(curl, CURLOPT_LOW_SPEED_LIMIT, 1L);
    curl_easy_setopt(curl, CURLOPT_LOW_SPEED_TIME, options.stallTimeoutSeconds);
  }
  // Refused from the Content-Length before any body arrives; chunked bodies
  // are stopped by onBody when they pass the cap.
  // (Not while sniffing: a large media file is told by its first bytes, at once.)
  if (options.maxBytes > 0 && options.maxBytes < static_cast<std::size_t>(INT64_MAX) &&
      options.sniffBytes == 0) {
    curl_easy_setopt(curl, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(options.maxBytes));
  }
  curl_easy_setopt(curl, CURLOPT_ACCEPT_ENCODING, "");  // any encoding curl can decode
  curl_easy_setopt(curl, CURLOPT_USERAGENT, "ZentPlayer/1.0");
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
  curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, curlError);
  curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, onHeader);
  curl_easy_setopt(curl, CURLOPT_HEADERDATA, &transfer);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, onBody);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &transfer);

  CURLcode code = performCancellable(curl, options);

  FetchResult result;
  char* effective = nullptr;
  curl_easy_getinfo(curl, CURLINFO_EFFECTIVE_URL, &effective);
  result.effectiveUrl = effective ? effective : url;
  long status = 0;
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
  result.httpStatus = status;
  curl_easy_cleanup(curl);
  curl_slist_free_all(headers);

  const std::string& where = result.effectiveUrl;
  result.contentType = transfer.contentType;
  if (transfer.stoppedEarly && status < 400) {
    result.ok = true;
    result.stoppedEarly = true;
    result.body = std::move(transfer.body);
  } else if (code == CURLE_ABORTED_BY_CALLBACK && cancelled(options)) {
    result.error = where + ": cancelled";
  } else if (status >= 400) {
    result.error = "HTTP " + std::to_string(status);
    if (transfer.status == status && !transfer.reason.empty()) {
      result.error += " " + transfer.reason;
    }
    result.error += " from " + where;
  } else if (transfer.overCap || code == CURLE_FILESIZE_EXCEEDED) {
    result.error = refusedAsTooLarge(where, options.maxBytes);
  } else if (code != CURLE_OK) {
    result.error = where + ": " + (curlError[0] ? curlError : curl_easy_strerror(code));
  } else if (status < 200 || status >= 300) {
    result.error = "HTTP " + std::to_string(status) + " from " + where + " is not a document";
  } else {
    result.ok = true;
    result.body = std::move(transfer.body);
  }
  return result;
}

}  // namespace

FetchResult fetchText(const std::string& urlOrPath, const FetchOptions& options) {
  if (cancelled(options)) return failure(urlOrPath + ": cancelled");
  if (urlOrPath.empty()) return failure("no URL or path given");
  std::string scheme = schemeOf(urlOrPath);
  if (scheme.empty()) return readLocalFile(urlOrPath, urlOrPath, options);
  if (scheme == "file") {
    std::string why;
    std::optional<std::string> path = pathOfFileUrl(urlOrPath, why);
    if (!path) return failure(urlOrPath + ": " + why);
    // Keep the URL as the document's address, so the references in it
    // resolve to file URLs like the one that was opened.
    return readLocalFile(*path, urlOrPath, options);
  }
  if (scheme == "http" || scheme == "https") return fetchHttp(urlOrPath, options);
  return failure(urlOrPath + ": unsupported URL scheme \"" + scheme + "\"");
}

}  // namespace zent
