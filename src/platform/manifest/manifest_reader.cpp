#include "platform/manifest/manifest_reader.h"

#include <array>
#include <cctype>

#include "platform/manifest/dash_mpd.h"
#include "platform/manifest/hls_master_playlist.h"
#include "platform/manifest/manifest_text.h"
#include "support/logger.h"

namespace zent {

using manifest::LineReader;
using manifest::ProblemLog;

namespace {

enum class Declared { Hls, Dash, Guess };

// 1 and 2 declare a type; 0 declares none, and any other value declares the
// empty type, which says nothing either.
Declared declaredType(int64_t selector) {
  if (selector == kManifestSelectorHls) return Declared::Hls;
  if (selector == kManifestSelectorDash) return Declared::Dash;
  return Declared::Guess;
}

std::string_view firstLine(std::string_view text) {
  LineReader lines(manifest::withoutBom(text));
  std::string_view line;
  while (lines.next(line)) {
    if (!line.empty()) return line;
  }
  return {};
}

bool looksLikeXml(std::string_view text) {
  std::string_view start = manifest::trim(manifest::withoutBom(text.substr(0, 4096)));
  return !start.empty() && start.front() == '<';
}

// A URL whose path ends in a plain media file's extension is not a manifest.
bool namesMediaFile(const std::string& url) {
  std::string_view path = url;
  path = path.substr(0, path.find_first_of("?#"));
  std::size_t slash = path.rfind('/');
  std::string_view name = slash == std::string_view::npos ? path : path.substr(slash + 1);
  std::size_t dot = name.rfind('.');
  if (dot == std::string_view::npos) return false;
  std::string_view extension = name.substr(dot + 1);
  static constexpr std::array<std::string_view, 23> kMediaFiles = {
      "mp4", "m4v", "m4a", "mov",  "mkv", "webm", "avi",  "mp3", "aac", "ac3", "flac", "wav",
      "ogg", "ogv", "oga", "opus", "ts",  "mts",  "m2ts", "flv", "wmv", "3gp", "mpg"};
  for (std::string_view known : kMediaFiles) {
    if (manifest::equalsIgnoreCase(known, extension)) return true;
  }
  return false;
}

// Enough of a document to tell a playlist or an MPD from media.
constexpr std::size_t kSniffBytes = 4096;

// Whether a resource of undeclared kind may be a manifest: its Content-Type
// names one, or its first bytes begin a playlist or an XML document.
bool mayBeManifest(std::string_view contentType, std::string_view firstBytes) {
  std::string type(contentType.substr(0, contentType.find(';')));
  for (char& c : type) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (type.find("mpegurl") != std::string::npos || type.find("dash+xml") != std::string::npos) {
    return true;
  }
  return firstLine(firstBytes.substr(0, firstBytes.find('\n'))) == "#EXTM3U" ||
         looksLikeXml(firstBytes);
}

}  // namespace

ManifestInfo parseManifest(std::string_view text, const std::string& baseUrl,
                           int64_t mimeSelector) {
  Declared declared = declaredType(mimeSelector);
  bool guessing = declared == Declared::Guess;
  if (guessing) {
    if (firstLine(text) == "#EXTM3U") {
      declared = Declared::Hls;
    } else if (looksLikeXml(text)) {
      declared = Declared::Dash;
    } else {
      Logger::log(LogLevel::DEBUG, "Manifest " + baseUrl + ": neither HLS nor DASH; no variants");
      ManifestInfo info;
      info.baseUrl = baseUrl;
      return info;
    }
  }

  if (declared == Declared::Hls) {
    ProblemLog log("HLS playlist", baseUrl);
    if (firstLine(text) != "#EXTM3U") {
      log.error("does not begin with #EXTM3U");
      ManifestInfo info;
      info.baseUrl = baseUrl;
      return info;
    }
    return manifest::parseHlsPlaylist(text, baseUrl, log);
  }
  ProblemLog log("DASH manifest", baseUrl);
  ManifestInfo info = manifest::parseDashMpd(text, baseUrl, log, guessing);
  if (guessing && info.kind == ManifestInfo::Kind::Unknown && log.count() == 0) {
    Logger::log(LogLevel::DEBUG, "Manifest " + baseUrl + ": XML but not an MPD; no variants");
  }
  return info;
}

ManifestInfo readManifest(const std::string& url, int64_t mimeSelector,
                          const FetchOptions& options) {
  ManifestInfo unread;
  unread.baseUrl = url;
  bool guessing = declaredType(mimeSelector) == Declared::Guess;
  if (guessing && namesMediaFile(url)) {
    Logger::log(LogLevel::DEBUG, "Manifest " + url + ": a media file; no variants");
    return unread;
  }
  FetchOptions reading = options;
  if (guessing) {
    // Nothing says what the address holds: its first bytes do, and media stop there.
    reading.sniffBytes = kSniffBytes;
    reading.wanted = mayBeManifest;
  }
  FetchResult fetched = fetchText(url, reading);
  if (fetched.ok && fetched.stoppedEarly) {
    Logger::log(LogLevel::DEBUG,
                "Manifest " + url + ": media (" +
                    (fetched.contentType.empty() ? std::string("by its first bytes")
                                                 : fetched.contentType) +
                    "); not read further, no variants");
    return unread;
  }
  if (!fetched.ok) {
    if (options.cancelFlag && options.cancelFlag->load()) {
      Logger::log(LogLevel::DEBUG, "Manifest " + url + ": reading cancelled");
    } else {
      // Without a declared type the address may simply not be a manifest.
      // (The fetch error names the address already.)
      Logger::log(guessing || options.auxiliary ? LogLevel::WARNING : LogLevel::ERROR,
                  "Manifest not read: " + fetched.error);
    }
    return unread;
  }
  return parseManifest(fetched.body, fetched.effectiveUrl.empty() ? url : fetched.effectiveUrl,
                       mimeSelector);
}

}  // namespace zent
