// Audio and caption renditions: the lists, their queries, selection and caption text.
#include <algorithm>
#include <cstdint>
#include <string>

#include "platform/manifest/manifest_info.h"
#include "player/language_names.h"
#include "player/zent_player.h"
#include "support/invariant.h"
#include "support/logger.h"
#include "support/numeric.h"
#include "support/utf8.h"

namespace zent {
namespace {

// The manifest's renditions of one kind, one per name and language (the same
// rendition is often declared once per variant group). Legible options are the
// subtitle renditions, then the closed captions carried in the video, as the
// engine lists them.
std::vector<const RenditionInfo*> distinctRenditions(const ManifestInfo& manifest,
                                                     MediaCharacteristic kind) {
  std::vector<const RenditionInfo*> result;
  auto collect = [&](RenditionInfo::Type type) {
    for (const RenditionInfo& rendition : manifest.renditions) {
      if (rendition.type != type) continue;
      // Only the line-21 channels are decoded; 708 services are not options.
      if (type == RenditionInfo::Type::ClosedCaptions && rendition.instreamId.rfind("CC", 0) != 0) {
        continue;
      }
      bool seen = false;
      for (const RenditionInfo* known : result) {
        seen = seen || (known->type == type && known->name == rendition.name &&
                        known->language == rendition.language);
      }
      if (!seen) result.push_back(&rendition);
    }
  };
  if (kind == MediaCharacteristic::Audible) {
    collect(RenditionInfo::Type::Audio);
  } else {
    collect(RenditionInfo::Type::Subtitles);
    collect(RenditionInfo::Type::ClosedCaptions);
  }
  return result;
}

// The display name shown to the host: the manifest's name where it has one,
// else the stream's title, else the language's name, else "Track N".
std::string displayName(const MediaStreamInfo& stream, const RenditionInfo* rendition,
                        std::size_t position) {
  if (rendition && !rendition->name.empty()) return rendition->name;
  if (!stream.title.empty()) return stream.title;
  std::string language = languageDisplayName(stream.language);
  if (!language.empty()) return language;
  return "Track " + std::to_string(position + 1);
}

}  // namespace

std::optional<MediaSelectionGroup> ZentPlayer::selectionGroup(MediaCharacteristic kind,
                                                              const ManifestInfo& manifest) const {
  if (!avPlayerItem) return std::nullopt;
  std::vector<MediaStreamInfo> streams = avPlayerItem->mediaStreams(kind);
  if (streams.empty()) return std::nullopt;
  // Each stream is paired with the manifest rendition it was made for: the one
  // the engine names, else the only one of its language. Never by place: the
  // engine may merge, drop or reorder renditions.
  std::vector<const RenditionInfo*> renditions = distinctRenditions(manifest, kind);
  MediaSelectionGroup group{kind, {}};
  for (std::size_t i = 0; i < streams.size(); ++i) {
    const RenditionInfo* match = nullptr;
    for (const RenditionInfo* rendition : renditions) {
      if (!streams[i].renditionName.empty() && rendition->name == streams[i].renditionName) {
        match = rendition;
        break;
      }
    }
    if (!match && streams[i].renditionName.empty() && !streams[i].language.empty()) {
      int sameLanguage = 0;
      for (const RenditionInfo* rendition : renditions) {
        if (rendition->language != streams[i].language) continue;
        ++sameLanguage;
        match = rendition;
      }
      if (sameLanguage != 1) match = nullptr;
    }
    MediaStreamInfo option;
    option.title = displayName(streams[i], match, i);
    option.language = !streams[i].language.empty() ? bcp47Tag(streams[i].language)
                      : match                      ? match->language
                                                   : "";
    group.options.push_back(std::move(option));
  }
  return group;
}

void ZentPlayer::initAudio(const ManifestInfo& manifest) {
  if (playerStatus_ == ZentPlayerStatus::CLOSE || !mediaCharacteristics) return;
  groupAudible = selectionGroup(MediaCharacteristic::Audible, manifest);
  audioCount = groupAudible ? static_cast<int64_t>(groupAudible->options.size()) : 0;
  // With no audio options the earlier content's names are kept, as hosts expect.
  if (audioCount < 1) return;
  audioName.emplace();
  audioLanguage.emplace();
  for (const MediaStreamInfo& option : groupAudible->options) {
    audioName->push_back(option.title);
    audioLanguage->push_back(option.language);
  }
}

void ZentPlayer::initSubtitles(const ManifestInfo& manifest) {
  if (externalSubtitles || !mediaCharacteristics) return;
  if (playerStatus_ == ZentPlayerStatus::CLOSE) return;
  groupLegible = selectionGroup(MediaCharacteristic::Legible, manifest);
  captionCount = groupLegible ? static_cast<int64_t>(groupLegible->options.size()) : 0;
  if (captionCount < 1) return;
  captionName.emplace();
  captionLanguage.emplace();
  for (const MediaStreamInfo& option : groupLegible->options) {
    captionName->push_back(option.title);
    captionLanguage->push_back(option.language);
  }
}

int64_t ZentPlayer::audioStreamCount() {
  LibraryLock lock(mutex_);
  return audioCount;
}

int64_t ZentPlayer::captionStreamCount() {
  LibraryLock lock(mutex_);
  return captionCount;
}

namespace {

// Element id of a name or language list, or a broken invariant answered with "".
std::string listEntry(const std::optional<std::vector<std::string>>& list, int64_t id,
                      const std::string& operation) {
  if (!list || id < 0 || static_cast<uint64_t>(id) >= list->size()) {
    return brokenInvariant(operation,
                           "rendition " + std::to_string(id) + " is outside the list of " +
                               std::to_string(list ? list->size() : 0) + " renditions",
                           std::string());
  }
  return (*list)[static_cast<std::size_t>(id)];
}

}  // namespace

std::string ZentPlayer::getAudioStreamName(int64_t id) {
  LibraryLock lock(mutex_);
  trace(" | getAudioStreamName");
  if (refuseUnlessInitialized("getAudioStreamName")) return "";
  return listEntry(audioName, id, playerLine(playerIndex_, " | getAudioStreamName"));
}

std::string ZentPlayer::getAudioStreamLanguage(int64_t id) {
  LibraryLock lock(mutex_);
  trace(" | getAudioStreamLanguage");
  if (refuseUnlessInitialized("getAudioStreamLanguage")) return "";
  return listEntry(audioLanguage, id, playerLine(playerIndex_, " | getAudioStreamLanguage"));
}

std::string ZentPlayer::getCaptionStreamName(int64_t id) {
  LibraryLock lock(mutex_);
  trace(" | getCaptionStreamName: " + std::to_string(id));
  if (refuseUnlessInitialized("getCaptionStreamName")) return "";
  return listEntry(captionName, id, playerLine(playerIndex_, " | getCaptionStreamName"));
}

std::string ZentPlayer::getCaptionStreamLanguage(int64_t id) {
  LibraryLock lock(mutex_);
  trace(" | getCaptionStreamLanguage: " + std::to_string(id));
  if (refuseUnlessInitialized("getCaptionStreamLanguage")) return "";
  return listEntry(captionLanguage, id, playerLine(playerIndex_, " | getCaptionStreamLanguage"));
}

int64_t ZentPlayer::getCaptionStreamID(int64_t id) {
  LibraryLock lock(mutex_);
  trace(" | getCaptionStreamID: " + std::to_string(id));
  if (refuseUnlessInitialized("getCaptionStreamID")) return 0;
  return id;  // a rendition's id is its position
}

void ZentPlayer::setAudioStream(int64_t id) {
  LibraryLock lock(mutex_);
  trace(" | setAudioStream: " + std::to_string(id));
  if (refuseUnlessInitialized("setAudioStream")) return;
  if (!avPlayerItem) return;
  if (!groupAudible || id < 0 || static_cast<uint64_t>(id) >= groupAudible->options.size()) {
    reportBrokenInvariant(playerLine(playerIndex_, " | setAudioStream"),
                          "audio rendition " + std::to_string(id) + " does not exist");
    return;
  }
  avPlayerItem->select(MediaCharacteristic::Audible, static_cast<std::size_t>(id));
}

void ZentPlayer::setCaptionStream(int64_t id) {
  LibraryLock lock(mutex_);
  trace(" | setCaptionStream: " + std::to_string(id));
  if (refuseUnlessInitialized("setCaptionStream")) return;
  if (!avPlayerItem) return;
  if (!groupLegible || id < 0 || static_cast<uint64_t>(id) >= groupLegible->options.size()) {
    reportBrokenInvariant(playerLine(playerIndex_, " | setCaptionStream"),
                          "caption rendition " + std::to_string(id) + " does not exist");
    return;
  }
  avPlayerItem->select(MediaCharacteristic::Legible, static_cast<std::size_t>(id));
}

void ZentPlayer::enableCaptions(bool enabled) {
  LibraryLock lock(mutex_);
  trace(std::string(" | enableCaptions: ") + (enabled ? "true" : "false"));
  if (refuseUnlessInitialized("enableCaptions")) return;
  if (!groupLegible) {
    logPlayer(LogLevel::ERROR, playerIndex_, " | enableCaptions internal error");
    return;
  }
  if (!avPlayerItem) return;
  if (!enabled) {
    avPlayerItem->select(MediaCharacteristic::Legible, std::nullopt);
    return;
  }
  if (groupLegible->options.empty()) {
    reportBrokenInvariant(playerLine(playerIndex_, " | enableCaptions"),
                          "the caption group has no rendition");
    return;
  }
  // Enabling always returns to the first rendition.
  avPlayerItem->select(MediaCharacteristic::Legible, std::size_t{0});
}

// Content without a manifest whose video turns out to carry captions on
// another channel: the caption list is read again.
void ZentPlayer::itemLegibleOptionsChanged(PlayerItem& item) {
  LibraryLock lock(mutex_);
  if (!avPlayerItem || avPlayerItem.get() != &item || tablesReadFor_.lock() != avPlayerItem) return;
  initSubtitles(ManifestInfo{});
}

void ZentPlayer::legibleOutput(const std::vector<std::string>& strings) {
  LibraryLock lock(mutex_);
  if (strings.empty()) {
    subtitleTextBuffer.reset();
  } else {
    subtitleTextBuffer = strings.front();
  }
  int64_t length = subtitleTextBuffer ? utf8CharacterCount(*subtitleTextBuffer) : 0;
  // Live content has no total time (NaN): the event carries 0, as every float
  // reaching the host is converted; a total beyond 32 bits saturates.
  int32_t totalMs = saturatingToInt32(getTotalTime());
  raiseEvent(11, std::min<int64_t>(length, INT32_MAX), totalMs, subtitleTextBuffer.value_or(""));
}

}  // namespace zent
