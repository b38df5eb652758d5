#include "platform/manifest/hls_master_playlist.h"

#include <optional>

#include "platform/manifest/codec_kind.h"
#include "platform/manifest/hls_attribute_list.h"
#include "support/text_fetcher.h"

namespace zent::manifest {
namespace {

// "#EXT-X-STREAM-INF" matches "#EXT-X-STREAM-INF:..." and the bare tag, not
// longer tag names that share the prefix.
bool isTag(std::string_view line, std::string_view tag) {
  return startsWith(line, tag) && (line.size() == tag.size() || line[tag.size()] == ':');
}

struct Resolution {
  int64_t width = 0;
  int64_t height = 0;
};

std::optional<Resolution> parseResolution(std::string_view text) {
  std::size_t x = text.find_first_of("xX");
  if (x == std::string_view::npos) return std::nullopt;
  auto width = parseDecimalInteger(text.substr(0, x));
  auto height = parseDecimalInteger(text.substr(x + 1));
  if (!width || !height) return std::nullopt;
  return Resolution{*width, *height};
}

// An EXT-X-STREAM-INF whose URI line has not been seen yet.
struct PendingVariant {
  HlsAttributeList attributes;
  std::size_t line = 0;
  bool active = false;
};

// Audio-only variants carry only audio codecs (text codecs may ride along).
// Unknown codecs with a RESOLUTION are taken as video; without CODECS the
// variant is kept as video, since legacy playlists often omit both.
bool isAudioOnly(const HlsAttributeList& attributes) {
  CodecSummary codecs = summarizeCodecs(attributes.value("CODECS"));
  if (codecs.count == 0 || codecs.anyVideo) return false;
  if (codecs.anyUnknown && attributes.has("RESOLUTION")) return false;
  return true;
}

std::optional<VariantInfo> makeVariant(const PendingVariant& pending, std::string_view uri,
                                       const std::string& baseUrl, ProblemLog& log) {
  const HlsAttributeList& attributes = pending.attributes;
  if (isAudioOnly(attributes)) return std::nullopt;  // not a video track: no warning
  auto skip = [&](const std::string& why) {
    log.warningAtLine(pending.line, "EXT-X-STREAM-INF skipped: " + why);
    return std::nullopt;
  };

  VariantInfo variant;
  const HlsAttribute* bandwidth = attributes.find("BANDWIDTH");
  if (!bandwidth) return skip("no BANDWIDTH");
  auto peak = parseDecimalInteger(bandwidth->value);
  if (!peak) return skip("BANDWIDTH " + quoted(bandwidth->value) + " is not a whole number");
  variant.peakBitRate = *peak;

  if (const HlsAttribute* resolution = attributes.find("RESOLUTION")) {
    auto size = parseResolution(resolution->value);
    if (!size) return skip("RESOLUTION " + quoted(resolution->value) + " is not WIDTHxHEIGHT");
    variant.width = static_cast<double>(size->width);
    variant.height = static_cast<double>(size->height);
  }
  if (const HlsAttribute* frameRate = attributes.find("FRAME-RATE")) {
    auto rate = parseFrameRate(frameRate->value);
    if (!rate) return skip("FRAME-RATE " + quoted(frameRate->value) + " is not a number");
    variant.frameRate = static_cast<float>(*rate);
  }
  if (const HlsAttribute* average = attributes.find("AVERAGE-BANDWIDTH")) {
    // Unused by the track list, so a bad value costs only itself.
    variant.averageBitRate = parseDecimalInteger(average->value);
    if (!variant.averageBitRate) {
      log.warningAtLine(pending.line,
                        "AVERAGE-BANDWIDTH " + quoted(average->value) + " ignored: not a number");
    }
  }
  variant.codecs = std::string(attributes.value("CODECS"));
  variant.audioGroup = std::string(attributes.value("AUDIO"));
  variant.subtitlesGroup = std::string(attributes.value("SUBTITLES"));
  const HlsAttribute* captions = attributes.find("CLOSED-CAPTIONS");
  if (captions && captions->quoted) variant.closedCaptionsGroup = captions->value;  // NONE: none
  variant.uri = resolveUrl(baseUrl, std::string(uri));
  return variant;
}

std::optional<RenditionInfo> makeRendition(const HlsAttributeList& attributes, std::size_t line,
                                           const std::string& baseUrl, ProblemLog& log) {
  auto skip = [&](const std::string& why) {
    log.warningAtLine(line, "EXT-X-MEDIA skipped: " + why);
    return std::nullopt;
  };
  RenditionInfo rendition;
  std::string_view type = attributes.value("TYPE");
  if (type == "AUDIO") {
    rendition.type = RenditionInfo::Type::Audio;
  } else if (type == "SUBTITLES") {
    rendition.type = RenditionInfo::Type::Subtitles;
  } else if (type == "CLOSED-CAPTIONS") {
    rendition.type = RenditionInfo::Type::ClosedCaptions;
  } else if (type == "VIDEO") {
    return std::nullopt;  // alternative camera angles are not audio or captions
  } else if (type.empty()) {
    return skip("no TYPE");
  } else {
    return skip("unknown TYPE " + quoted(type));
  }
  if (!attributes.has("GROUP-ID")) return skip("no GROUP-ID");
  if (!attributes.has("NAME")) return skip("no NAME");
  rendition.groupId = std::string(attributes.value("GROUP-ID"));
  rendition.name = std::string(attributes.value("NAME"));
  rendition.language = std::string(attributes.value("LANGUAGE"));
  rendition.instreamId = std::string(attributes.value("INSTREAM-ID"));
  rendition.isDefault = attributes.isYes("DEFAULT");
  rendition.autoselect = attributes.isYes("AUTOSELECT") || rendition.isDefault;
  rendition.forced = attributes.isYes("FORCED");
  if (attributes.has("URI") && rendition.type != RenditionInfo::Type::ClosedCaptions) {
    rendition.uri = resolveUrl(baseUrl, std::string(attributes.value("URI")));
  }
  return rendition;
}

}  // namespace

bool isHlsMasterPlaylist(std::string_view text) {
  LineReader lines(text);
  std::string_view line;
  while (lines.next(line)) {
    if (isTag(line, "#EXT-X-STREAM-INF") || isTag(line, "#EXT-X-MEDIA") ||
        isTag(line, "#EXT-X-I-FRAME-STREAM-INF")) {
      return true;
    }
  }
  return false;
}

ManifestInfo parseHlsPlaylist(std::string_view text, const std::string& baseUrl, ProblemLog& log) {
  ManifestInfo info;
  info.baseUrl = baseUrl;
  info.kind = ManifestInfo::Kind::HlsMedia;
  PendingVariant pending;
  auto dropPending = [&] {
    if (pending.active && !isAudioOnly(pending.attributes)) {
      log.warningAtLine(pending.line, "EXT-X-STREAM-INF skipped: no URI line follows it");
    }
    pending = PendingVariant{};
  };

  LineReader lines(withoutBom(text));
  std::string_view line;
  while (lines.next(line)) {
    if (line.empty()) continue;
    if (isTag(line, "#EXT-X-STREAM-INF")) {
      info.kind = ManifestInfo::Kind::HlsMaster;
      dropPending();
      std::string error;
      auto attributes = HlsAttributeList::parse(tagValue(line), error);
      if (!attributes) {
        log.warningAtLine(lines.lineNumber(), "EXT-X-STREAM-INF skipped: " + error);
        continue;
      }
      pending = PendingVariant{std::move(*attributes), lines.lineNumber(), true};
    } else if (isTag(line, "#EXT-X-MEDIA")) {
      info.kind = ManifestInfo::Kind::HlsMaster;
      std::string error;
      auto attributes = HlsAttributeList::parse(tagValue(line), error);
      if (!attributes) {
        log.warningAtLine(lines.lineNumber(), "EXT-X-MEDIA skipped: " + error);
        continue;
      }
      if (auto rendition = makeRendition(*attributes, lines.lineNumber(), baseUrl, log)) {
        info.renditions.push_back(std::move(*rendition));
      }
    } else if (isTag(line, "#EXT-X-I-FRAME-STREAM-INF")) {
      info.kind = ManifestInfo::Kind::HlsMaster;  // trick-play lists are not tracks
    } else if (line.front() == '#') {
      continue;  // comments and tags that do not describe variants
    } else if (pending.active) {
      if (auto variant = makeVariant(pending, line, baseUrl, log)) {
        info.videoVariants.push_back(std::move(*variant));
      }
      pending = PendingVariant{};
    }
  }
  dropPending();
  return info;
}

}  // namespace zent::manifest
