#include "platform/manifest/hls_media_playlist.h"

#include <algorithm>
#include <cmath>

#include "platform/manifest/hls_master_playlist.h"
#include "platform/manifest/manifest_text.h"
#include "support/logger.h"

namespace zent {

using manifest::LineReader;
using manifest::ProblemLog;
using manifest::quoted;
using manifest::startsWith;

namespace {

bool isTag(std::string_view line, std::string_view tag) {
  return startsWith(line, tag) && (line.size() == tag.size() || line[tag.size()] == ':');
}

std::string_view valueOf(std::string_view line) {
  std::size_t colon = line.find(':');
  return colon == std::string_view::npos ? std::string_view()
                                         : manifest::trim(line.substr(colon + 1));
}

bool beginsWithExtm3u(std::string_view text) {
  LineReader lines(manifest::withoutBom(text));
  std::string_view line;
  while (lines.next(line)) {
    if (!line.empty()) return line == "#EXTM3U";
  }
  return false;
}

// Dates of undated segments follow from the nearest dated one: forward by adding
// the durations in between, backward (before the first tag) by subtracting them.
void carryProgramDates(std::vector<MediaSegment>& segments) {
  auto firstDated = std::find_if(segments.begin(), segments.end(),
                                 [](const MediaSegment& s) { return s.hasOwnProgramDateTime; });
  if (firstDated == segments.end()) return;
  std::size_t first = static_cast<std::size_t>(firstDated - segments.begin());
  for (std::size_t i = first + 1; i < segments.size(); ++i) {
    if (!segments[i].hasOwnProgramDateTime) {
      segments[i].programDateTime =
          *segments[i - 1].programDateTime + segments[i - 1].durationSeconds;
    }
  }
  for (std::size_t i = first; i-- > 0;) {
    segments[i].programDateTime = *segments[i + 1].programDateTime - segments[i].durationSeconds;
  }
}

struct PendingSegment {
  std::optional<double> duration;
  std::string title;
  bool bad = false;  // its EXTINF could not be read; the URI line is dropped
  bool discontinuity = false;
  std::optional<double> programDateTime;
};

}  // namespace

double MediaPlaylist::totalDurationSeconds() const {
  if (segments.empty()) return 0.0;
  return segments.back().startSeconds + segments.back().durationSeconds;
}

bool MediaPlaylist::hasProgramDateTime() const {
  return !segments.empty() && segments.front().programDateTime.has_value();
}

std::optional<MediaPlaylist> parseMediaPlaylist(std::string_view text, const std::string& baseUrl) {
  ProblemLog log("HLS playlist", baseUrl);
  if (!beginsWithExtm3u(text)) {
    log.error("does not begin with #EXTM3U");
    return std::nullopt;
  }
  if (manifest::isHlsMasterPlaylist(text)) return std::nullopt;

  MediaPlaylist playlist;
  playlist.url = baseUrl;
  PendingSegment pending;
  int64_t uriLines = 0;
  LineReader lines(manifest::withoutBom(text));
  std::string_view line;
  while (lines.next(line)) {
    if (line.empty()) continue;
    if (isTag(line, "#EXTINF")) {
      std::string_view value = valueOf(line);
      std::size_t comma = value.find(',');
      std::string_view durationText = manifest::trim(value.substr(0, comma));
      auto duration = manifest::parseDecimalNumber(durationText);
      pending.bad = !duration || *duration < 0.0;
      if (pending.bad) {
        log.warningAtLine(lines.lineNumber(), "segment skipped: EXTINF duration " +
                                                  quoted(durationText) +
                                                  " is not a number of seconds");
      } else {
        pending.duration = duration;
        pending.title = comma == std::string_view::npos
                            ? std::string()
                            : std::string(manifest::trim(value.substr(comma + 1)));
      }
    } else if (isTag(line, "#EXT-X-TARGETDURATION")) {
      auto target = manifest::parseDecimalNumber(valueOf(line));
      if (target && *target >= 0.0) {
        playlist.targetDurationSeconds = *target;
      } else {
        log.warningAtLine(lines.lineNumber(), "EXT-X-TARGETDURATION " + quoted(valueOf(line)) +
                                                  " ignored: not a number");
      }
    } else if (isTag(line, "#EXT-X-MEDIA-SEQUENCE")) {
      auto sequence = manifest::parseDecimalInteger(valueOf(line));
      if (sequence) {
        playlist.mediaSequence = *sequence;
      } else {
        log.warningAtLine(lines.lineNumber(), "EXT-X-MEDIA-SEQUENCE " + quoted(valueOf(line)) +
                                                  " ignored: not a whole number");
      }
    } else if (isTag(line, "#EXT-X-ENDLIST")) {
      playlist.endList = true;
    } else if (isTag(line, "#EXT-X-PLAYLIST-TYPE")) {
      playlist.playlistType = std::string(valueOf(line));
    } else if (isTag(line, "#EXT-X-DISCONTINUITY")) {
      pending.discontinuity = true;
    } else if (isTag(line, "#EXT-X-PROGRAM-DATE-TIME")) {
      pending.programDateTime = manifest::parseIso8601(valueOf(line));
      if (!pending.programDateTime) {
        log.warningAtLine(lines.lineNumber(), "EXT-X-PROGRAM-DATE-TIME " + quoted(valueOf(line)) +
                                                  " ignored: not an ISO 8601 date");
      }
    } else if (line.front() == '#') {
      continue;
    } else {
      int64_t position = uriLines++;
      if (pending.bad) {
        // Already reported at its EXTINF line.
      } else if (!pending.duration) {
        log.warningAtLine(lines.lineNumber(), "segment " + quoted(line) + " skipped: no EXTINF");
      } else {
        MediaSegment segment;
        segment.durationSeconds = *pending.duration;
        segment.title = std::move(pending.title);
        segment.uri = resolveUrl(baseUrl, std::string(line));
        segment.sequenceNumber = position;
        segment.discontinuity = pending.discontinuity;
        segment.programDateTime = pending.programDateTime;
        segment.hasOwnProgramDateTime = pending.programDateTime.has_value();
        playlist.segments.push_back(std::move(segment));
      }
      pending = PendingSegment{};
    }
  }

  double start = 0.0;
  for (MediaSegment& segment : playlist.segments) {
    segment.startSeconds = start;
    start += segment.durationSeconds;
    segment.sequenceNumber += playlist.mediaSequence;
  }
  carryProgramDates(playlist.segments);
  return playlist;
}

namespace {

// A read given up because its owner let go is not a failure of the content.
void logNotRead(const FetchResult& fetched, const FetchOptions& options) {
  bool cancelled = options.cancelFlag != nullptr && options.cancelFlag->load();
  Logger::log(cancelled           ? LogLevel::DEBUG
              : options.auxiliary ? LogLevel::WARNING
                                  : LogLevel::ERROR,
              "HLS playlist not read: " + fetched.error);
}

}  // namespace

std::optional<MediaPlaylist> readMediaPlaylist(const std::string& url,
                                               const FetchOptions& options) {
  FetchResult fetched = fetchText(url, options);
  if (!fetched.ok) {
    logNotRead(fetched, options);
    return std::nullopt;
  }
  std::string address = fetched.effectiveUrl.empty() ? url : fetched.effectiveUrl;
  if (!manifest::isHlsMasterPlaylist(fetched.body))
    return parseMediaPlaylist(fetched.body, address);

  ManifestInfo master;
  {
    ProblemLog log("HLS playlist", address);
    master = manifest::parseHlsPlaylist(fetched.body, address, log);
  }
  if (master.videoVariants.empty()) {
    ProblemLog("HLS playlist", address).error("master playlist lists no video variant to read");
    return std::nullopt;
  }
  const std::string& variantUrl = master.videoVariants.front().uri;
  fetched = fetchText(variantUrl, options);
  if (!fetched.ok) {
    logNotRead(fetched, options);
    return std::nullopt;
  }
  address = fetched.effectiveUrl.empty() ? variantUrl : fetched.effectiveUrl;
  if (manifest::isHlsMasterPlaylist(fetched.body)) {
    ProblemLog("HLS playlist", address).error("variant is itself a master playlist");
    return std::nullopt;
  }
  return parseMediaPlaylist(fetched.body, address);
}

std::optional<std::size_t> segmentIndexAt(const MediaPlaylist& playlist, double offsetSeconds) {
  if (playlist.segments.empty() || !std::isfinite(offsetSeconds) || offsetSeconds < 0.0) {
    return std::nullopt;
  }
  auto after = std::upper_bound(
      playlist.segments.begin(), playlist.segments.end(), offsetSeconds,
      [](double offset, const MediaSegment& segment) { return offset < segment.startSeconds; });
  if (after == playlist.segments.begin()) return 0;
  return static_cast<std::size_t>(after - playlist.segments.begin()) - 1;
}

std::optional<double> programDateAt(const MediaPlaylist& playlist, double offsetSeconds) {
  auto index = segmentIndexAt(playlist, offsetSeconds);
  if (!index) return std::nullopt;
  const MediaSegment& segment = playlist.segments[*index];
  if (!segment.programDateTime) return std::nullopt;
  return *segment.programDateTime + (offsetSeconds - segment.startSeconds);
}

}  // namespace zent
