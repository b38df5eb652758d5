#pragma once

// HLS media playlists: the segment list of one variant or rendition, with
// durations, resolved URIs and program date-times. Used to tell the wall-clock
// date of a playback position (EXT-X-PROGRAM-DATE-TIME) and to read the
// WebVTT segments of a subtitle rendition.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/text_fetcher.h"

namespace zent {

struct MediaSegment {
  double durationSeconds = 0.0;  // EXTINF
  std::string title;             // EXTINF title, "" when none
  std::string uri;               // resolved against the playlist's address
  int64_t sequenceNumber = 0;    // EXT-X-MEDIA-SEQUENCE + position
  // Seconds from the start of the playlist's first listed segment to the
  // start of this one (sum of the earlier durations).
  double startSeconds = 0.0;
  bool discontinuity = false;  // EXT-X-DISCONTINUITY before this segment
  // Wall-clock date of the segment's first sample, seconds since 1970 UTC:
  // its own EXT-X-PROGRAM-DATE-TIME, else carried from the nearest dated
  // segment by adding (or, before the first tag, subtracting) durations.
  // Absent when the playlist has no program date-time tag at all.
  std::optional<double> programDateTime;
  bool hasOwnProgramDateTime = false;  // the date came from a tag on this segment
};

struct MediaPlaylist {
  std::string url;                     // the address relative URIs resolved against
  double targetDurationSeconds = 0.0;  // EXT-X-TARGETDURATION, 0 when absent
  int64_t mediaSequence = 0;           // EXT-X-MEDIA-SEQUENCE of the first segment
  bool endList = false;                // EXT-X-ENDLIST: the list is complete (VOD)
  std::string playlistType;            // EXT-X-PLAYLIST-TYPE: "VOD", "EVENT" or ""
  std::vector<MediaSegment> segments;

  // Live: segments may still be added and old ones removed.
  bool isLive() const { return !endList && playlistType != "VOD"; }
  double totalDurationSeconds() const;
  bool hasProgramDateTime() const;
};

// Parses a media playlist. Nothing when the text is not an HLS playlist at all
// (one ERROR line) or is a master playlist (nothing logged: the caller
// should read one of its variants). Bad segments are skipped with a WARNING.
std::optional<MediaPlaylist> parseMediaPlaylist(std::string_view text, const std::string& baseUrl);

// Fetches and parses a media playlist. When `url` is a master playlist, the
// media playlist of its first video variant is read instead (all variants of
// a stream share one program date-time timeline). A fetch failure, or a
// master without a video variant, gives nothing and one ERROR line.
std::optional<MediaPlaylist> readMediaPlaylist(const std::string& url,
                                               const FetchOptions& options = {});

// Index of the segment that plays at `offsetSeconds` (seconds from the start
// of the first listed segment): the last segment whose start is <= offset.
// Offsets past the end give the last segment. Nothing for an empty list, a
// negative or a non-finite offset.
std::optional<std::size_t> segmentIndexAt(const MediaPlaylist& playlist, double offsetSeconds);

// Wall-clock date (seconds since 1970 UTC) of the position `offsetSeconds`
// from the start of the first listed segment: the containing segment's
// program date-time plus the time into it. Positions past the last segment
// continue from its date. Nothing when the playlist has no program date-time
// or the offset is negative or not finite.
//
// For an engine position in media time, pass (mediaTime - the media time at
// which the first listed segment starts); for VOD and EVENT playlists read
// from the beginning that start is 0.
std::optional<double> programDateAt(const MediaPlaylist& playlist, double offsetSeconds);

}  // namespace zent
