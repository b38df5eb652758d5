#pragma once

// What the manifest reader learns from an HLS master playlist or a DASH MPD:
// the video variants a player can switch between and the audio, subtitle and
// caption renditions with their display names. Plain values, no engine types.
//
// Building the player's track list from it: walk `videoVariants` in order and
// make one track per element, id = its position ("0", "1", ...);
// resolution = (width, height) truncated toward zero, frame rate =
// `frameRate.value_or(0.0f)`, bit rate = `peakBitRate`. Audio-only variants,
// I-frame-only variants and anything that could not be read are already left
// out, so positions have no gaps.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zent {

// One video variant (an HLS EXT-X-STREAM-INF entry or a DASH video
// Representation), in the order the manifest declares it.
struct VariantInfo {
  // Peak bit rate in bits per second: HLS BANDWIDTH, DASH @bandwidth. Always
  // present (a variant without one is skipped) and >= 0.
  int64_t peakBitRate = 0;
  // HLS AVERAGE-BANDWIDTH when declared. Kept for diagnostics only: the track
  // list reports the peak bit rate.
  std::optional<int64_t> averageBitRate;
  // Picture size in pixels; 0 when the manifest does not declare it. HLS
  // RESOLUTION; DASH @width/@height of the Representation, else of its
  // AdaptationSet. Whole numbers held as double, like the engine's sizes.
  double width = 0.0;
  double height = 0.0;
  // Frames per second (HLS FRAME-RATE; DASH @frameRate such as "25" or
  // "30000/1001", from the Representation or its AdaptationSet). Absent when
  // not declared.
  std::optional<float> frameRate;
  // RFC 6381 codec list as declared ("avc1.64001f,mp4a.40.2"), "" when absent.
  std::string codecs;
  // HLS: the variant's media playlist, resolved to an absolute URL (or path,
  // when the manifest was a local path). DASH: the Representation's BaseURL
  // chain resolved the same way, or "" when the Representation names no
  // BaseURL of its own (segments described by templates).
  std::string uri;
  // HLS group ids from AUDIO, SUBTITLES and CLOSED-CAPTIONS ("" when absent,
  // and for CLOSED-CAPTIONS=NONE). Always "" for DASH.
  std::string audioGroup;
  std::string subtitlesGroup;
  std::string closedCaptionsGroup;
};

// One alternative audio, subtitle or caption rendition: an HLS EXT-X-MEDIA
// entry, or a DASH audio or text AdaptationSet. In declaration order.
struct RenditionInfo {
  enum class Type { Audio, Subtitles, ClosedCaptions };
  Type type = Type::Audio;
  // HLS GROUP-ID; DASH AdaptationSet@id ("" when absent).
  std::string groupId;
  // Display name: HLS NAME; DASH Label element text, else @label, else "".
  std::string name;
  // Language tag as declared (RFC 5646 / BCP-47, e.g. "en", "pt-BR"), "" when
  // absent. HLS LANGUAGE; DASH @lang of the AdaptationSet or its first
  // Representation.
  std::string language;
  // HLS URI resolved to an absolute URL; "" when absent (audio muxed into the
  // variant, captions carried in the video) and for DASH.
  std::string uri;
  // HLS INSTREAM-ID of closed captions ("CC1", "SERVICE2"), "" otherwise.
  std::string instreamId;
  // HLS DEFAULT=YES; DASH: a Role of value "main".
  bool isDefault = false;
  // HLS AUTOSELECT=YES (also implied by DEFAULT=YES); DASH: always true.
  bool autoselect = false;
  // HLS FORCED=YES (subtitles only).
  bool forced = false;
};

struct ManifestInfo {
  enum class Kind {
    Unknown,    // not a manifest, or one that could not be read
    HlsMaster,  // multi-variant HLS playlist
    HlsMedia,   // HLS media playlist (segments of a single variant)
    Dash        // DASH MPD
  };
  Kind kind = Kind::Unknown;
  // Empty for anything but a multi-variant manifest (media playlists,
  // progressive files, unreadable documents).
  std::vector<VariantInfo> videoVariants;
  std::vector<RenditionInfo> renditions;
  // The URL relative references were resolved against: the manifest's address
  // after redirects.
  std::string baseUrl;
};

}  // namespace zent
