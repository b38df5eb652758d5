#include "platform/manifest/dash_mpd.h"

#include <pugixml.hpp>

#include <initializer_list>
#include <optional>

#include "platform/manifest/codec_kind.h"
#include "support/text_fetcher.h"

namespace zent::manifest {
namespace {

enum class Media { Video, Audio, Text, Other, Unknown };

// Element names may carry a namespace prefix ("mpd:Representation").
std::string_view localName(const pugi::xml_node& node) {
  std::string_view name = node.name();
  std::size_t colon = name.rfind(':');
  return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

pugi::xml_node firstChild(const pugi::xml_node& parent, std::string_view name) {
  for (pugi::xml_node child : parent.children()) {
    if (child.type() == pugi::node_element && localName(child) == name) return child;
  }
  return {};
}

template <typename Visit>
void forEachChild(const pugi::xml_node& parent, std::string_view name, Visit visit) {
  for (pugi::xml_node child : parent.children()) {
    if (child.type() == pugi::node_element && localName(child) == name) visit(child);
  }
}

std::string_view attribute(const pugi::xml_node& node, const char* name) {
  return trim(node.attribute(name).as_string());
}

// The first of the nodes that has the attribute.
pugi::xml_attribute firstAttribute(std::initializer_list<pugi::xml_node> nodes, const char* name) {
  for (const pugi::xml_node& node : nodes) {
    if (pugi::xml_attribute found = node.attribute(name)) return found;
  }
  return {};
}

Media fromMimeType(std::string_view mime) {
  if (startsWith(mime, "video/")) return Media::Video;
  if (startsWith(mime, "audio/")) return Media::Audio;
  if (startsWith(mime, "text/") || mime == "application/ttml+xml") return Media::Text;
  if (startsWith(mime, "image/")) return Media::Other;  // thumbnail tiles
  return Media::Unknown;  // "application/mp4" and the like: ask the codecs
}

Media fromContentType(std::string_view type) {
  if (type == "video") return Media::Video;
  if (type == "audio") return Media::Audio;
  if (type == "text") return Media::Text;
  if (type.empty()) return Media::Unknown;
  return Media::Other;
}

Media fromCodecs(std::string_view codecs) {
  CodecSummary summary = summarizeCodecs(codecs);
  if (summary.anyVideo) return Media::Video;
  if (summary.anyAudio) return Media::Audio;
  if (summary.anyText) return Media::Text;
  return Media::Unknown;
}

Media firstKnown(std::initializer_list<Media> guesses) {
  for (Media media : guesses) {
    if (media != Media::Unknown) return media;
  }
  return Media::Unknown;
}

// What a set or a Representation carries: the declared content type, then the
// codecs, then a picture size. The MIME type names a container ("video/mp2t"
// carries an audio-only stream just as well), so it decides only when nothing
// else does; image tiles (thumbnails) have a picture size but are no video.
Media classify(Media declared, Media byCodecs, bool hasPictureSize, Media byMimeType,
               Media fallback) {
  Media media = firstKnown({declared, byCodecs});
  if (media != Media::Unknown) return media;
  if (byMimeType == Media::Other) return byMimeType;
  if (hasPictureSize) return Media::Video;
  return firstKnown({byMimeType, fallback});
}

bool hasPictureSize(std::initializer_list<pugi::xml_node> nodes) {
  return firstAttribute(nodes, "width") || firstAttribute(nodes, "height");
}

Media adaptationSetMedia(const pugi::xml_node& set) {
  pugi::xml_node firstRepresentation = firstChild(set, "Representation");
  pugi::xml_node component = firstChild(set, "ContentComponent");
  return classify(firstKnown({fromContentType(attribute(set, "contentType")),
                              fromContentType(attribute(component, "contentType"))}),
                  firstKnown({fromCodecs(attribute(set, "codecs")),
                              fromCodecs(attribute(firstRepresentation, "codecs"))}),
                  hasPictureSize({set, firstRepresentation}),
                  firstKnown({fromMimeType(attribute(set, "mimeType")),
                              fromMimeType(attribute(firstRepresentation, "mimeType"))}),
                  Media::Unknown);
}

Media representationMedia(const pugi::xml_node& representation, const pugi::xml_node& set,
                          Media setMedia) {
  pugi::xml_node component = firstChild(set, "ContentComponent");
  return classify(firstKnown({fromContentType(attribute(set, "contentType")),
                              fromContentType(attribute(component, "contentType"))}),
                  firstKnown({fromCodecs(attribute(representation, "codecs")),
                              fromCodecs(attribute(set, "codecs"))}),
                  hasPictureSize({representation, set}),
                  firstKnown({fromMimeType(attribute(representation, "mimeType")),
                              fromMimeType(attribute(set, "mimeType"))}),
                  setMedia);
}

// Trick-play sets (I-frame only) are not tracks a viewer chooses.
bool isTrickMode(const pugi::xml_node& set) {
  bool trick = false;
  forEachChild(set, "EssentialProperty", [&](const pugi::xml_node& property) {
    if (attribute(property, "schemeIdUri") == "http://dashif.org/guidelines/trickmode")
      trick = true;
  });
  return trick;
}

// A BaseURL child resolves against the parent's base; no child keeps it.
std::string baseUrlOf(const pugi::xml_node& node, const std::string& parentBase) {
  pugi::xml_node base = firstChild(node, "BaseURL");
  if (!base) return parentBase;
  return resolveUrl(parentBase, std::string(trim(base.child_value())));
}

std::string describe(const pugi::xml_node& representation, int position) {
  std::string_view id = attribute(representation, "id");
  return id.empty() ? "Representation #" + std::to_string(position)
                    : "Representation " + quoted(id);
}

std::optional<VariantInfo> makeVariant(const pugi::xml_node& representation,
                                       const pugi::xml_node& set, const std::string& setBase,
                                       int position, ProblemLog& log) {
  auto skip = [&](const std::string& why) {
    log.warning(describe(representation, position) + " skipped: " + why);
    return std::nullopt;
  };
  VariantInfo variant;
  pugi::xml_attribute bandwidth = representation.attribute("bandwidth");
  if (!bandwidth) return skip("no bandwidth");
  auto peak = parseDecimalInteger(trim(bandwidth.value()));
  if (!peak) return skip("bandwidth " + quoted(bandwidth.value()) + " is not a whole number");
  variant.peakBitRate = *peak;

  for (const char* name : {"width", "height"}) {
    pugi::xml_attribute found = firstAttribute({representation, set}, name);
    if (!found) continue;
    auto pixels = parseDecimalInteger(trim(found.value()));
    if (!pixels) return skip(std::string(name) + " " + quoted(found.value()) + " is not a number");
    (name[0] == 'w' ? variant.width : variant.height) = static_cast<double>(*pixels);
  }
  if (pugi::xml_attribute frameRate = firstAttribute({representation, set}, "frameRate")) {
    auto rate = parseFrameRate(frameRate.value());
    if (!rate) return skip("frameRate " + quoted(frameRate.value()) + " is not a frame rate");
    variant.frameRate = static_cast<float>(*rate);
  }
  variant.codecs = firstAttribute({representation, set}, "codecs").value();
  if (firstChild(representation, "BaseURL")) variant.uri = baseUrlOf(representation, setBase);
  return variant;
}

RenditionInfo makeRendition(const pugi::xml_node& set, Media media) {
  RenditionInfo rendition;
  rendition.type =
      media == Media::Audio ? RenditionInfo::Type::Audio : RenditionInfo::Type::Subtitles;
  rendition.groupId = attribute(set, "id");
  pugi::xml_node label = firstChild(set, "Label");
  rendition.name =
      label ? std::string(trim(label.child_value())) : std::string(attribute(set, "label"));
  rendition.language = attribute(set, "lang");
  if (rendition.language.empty()) {
    rendition.language = attribute(firstChild(set, "Representation"), "lang");
  }
  forEachChild(set, "Role", [&](const pugi::xml_node& role) {
    if (attribute(role, "value") == "main") rendition.isDefault = true;
  });
  rendition.autoselect = true;
  return rendition;
}

}  // namespace

ManifestInfo parseDashMpd(std::string_view text, const std::string& baseUrl, ProblemLog& log,
                          bool quietUnlessMpd) {
  ManifestInfo info;
  info.baseUrl = baseUrl;
  pugi::xml_document document;
  pugi::xml_parse_result parsed =
      document.load_buffer(text.data(), text.size(), pugi::parse_default, pugi::encoding_auto);
  pugi::xml_node root = document.document_element();
  bool isMpd = root && localName(root) == "MPD";
  if (!isMpd && quietUnlessMpd) return info;
  if (!parsed) {
    log.error(std::string("not well-formed XML: ") + parsed.description() + " at offset " +
              std::to_string(parsed.offset));
    return info;
  }
  if (!isMpd) {
    log.error(root ? "root element is " + quoted(root.name()) + ", not MPD"
                   : std::string("no root element"));
    return info;
  }
  info.kind = ManifestInfo::Kind::Dash;

  pugi::xml_node period = firstChild(root, "Period");
  if (!period) {
    log.error("no Period");
    return info;
  }
  std::string periodBase = baseUrlOf(period, baseUrlOf(root, baseUrl));
  int position = 0;
  forEachChild(period, "AdaptationSet", [&](const pugi::xml_node& set) {
    if (isTrickMode(set)) return;
    Media setMedia = adaptationSetMedia(set);
    if (setMedia == Media::Audio || setMedia == Media::Text) {
      info.renditions.push_back(makeRendition(set, setMedia));
    }
    std::string setBase = baseUrlOf(set, periodBase);
    forEachChild(set, "Representation", [&](const pugi::xml_node& representation) {
      ++position;
      if (representationMedia(representation, set, setMedia) != Media::Video) return;
      if (auto variant = makeVariant(representation, set, setBase, position, log)) {
        info.videoVariants.push_back(std::move(*variant));
      }
    });
  });
  return info;
}

}  // namespace zent::manifest
