#include "player_session.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "console.h"

namespace zentplay {
namespace {

// Playback that has not advanced for this long (while playing) counts as stalled.
constexpr auto kStallLimit = std::chrono::seconds(20);

std::string clockText(int64_t ms) {
  if (ms < 0) ms = 0;
  char text[32];
  std::snprintf(text, sizeof text, "%02lld:%02lld.%lld", static_cast<long long>(ms / 60000),
                static_cast<long long>(ms / 1000 % 60), static_cast<long long>(ms / 100 % 10));
  return text;
}

const char* stateName(int32_t state) {
  switch (state) {
    case ZENTPLAYER_STATE_NONE:
      return "NONE";
    case ZENTPLAYER_STATE_CLOSE:
      return "CLOSE";
    case ZENTPLAYER_STATE_STOP:
      return "STOP";
    case ZENTPLAYER_STATE_PLAY:
      return "PLAY";
    case ZENTPLAYER_STATE_PAUSE:
      return "PAUSE";
    default:
      return "?";
  }
}

std::string rendition(std::string name, const std::string& language) {
  if (name.empty()) name = "(unnamed)";
  if (!language.empty()) name += " [" + language + "]";
  return name;
}

}  // namespace

PlayerSession::PlayerSession(ZentLibrary& library, const Options& options)
    : lib_(library), options_(options) {}

PlayerSession::~PlayerSession() {
  shutdown();
}

bool PlayerSession::start() {
  lib_.NativeSetLogCallback(&printLibraryLog);
  lib_.NativeInit(&queueingListener);
  // Log settings live in the bridge that NativeInit makes.
  lib_.NativeSetLogSystemLevel(options_.logLevel);
  started_ = true;
  printLine("zentplay: library " + lib_.path() + ", version " + takeText(lib_.NativeGetVersion()));

  // The new player's index is the number of players before it is added.
  index_ = static_cast<int32_t>(lib_.NativeGetTotalStreams());
  const bool autoPlay = !options_.startMs.has_value();
  if (lib_.NativeAddStream(autoPlay ? 1 : 0) != 0) {
    failure_ = "the library could not create a player";
    return false;
  }

  openedAt_ = Clock::now();
  int64_t result = -1;
  if (looksLikeUrl(options_.target)) {
    const int mime = options_.mime >= 0 ? options_.mime : guessMime(options_.target);
    printLine("zentplay: opening URL " + options_.target);
    result = lib_.NativeOpenURI(index_, options_.target.c_str(), mime);
  } else {
    std::error_code ignored;
    const std::string path = std::filesystem::absolute(options_.target, ignored).string();
    printLine("zentplay: opening file " + path);
    result = lib_.NativeOpenLocalContent(index_, path.c_str());
  }
  if (result != 0) {
    failure_ = "the library refused to open " + options_.target;
    return false;
  }
  return true;
}

void PlayerSession::handleEvents() {
  for (const PlayerEvent& event : listenerQueue().drain()) {
    printLine(describeEvent(event));
    if (event.isError || event.player != index_) continue;
    if (event.type == ZENTPLAYER_EVENT_PLAYBACK_READY) {
      if (!ready_) onReady();
    } else if (event.type == ZENTPLAYER_EVENT_END_OF_CONTENT) {
      ended_ = true;
    } else if (event.type == ZENTPLAYER_EVENT_CAPTION_TEXT) {
      caption_ = event.text;
    }
  }
}

void PlayerSession::onReady() {
  ready_ = true;
  lastProgressAt_ = Clock::now();
  const auto waited =
      std::chrono::duration_cast<std::chrono::milliseconds>(lastProgressAt_ - openedAt_);
  printLine("zentplay: ready " + std::to_string(waited.count()) + " ms after the open call");
  printContentSummary();
  if (lib_.NativeGetTrackCount(index_) > 0) {
    const float rate = lib_.NativeGetTrackFrameRate(index_, 0);
    if (rate >= 1.0f && rate <= 240.0f) frameRate_ = rate;
  }
  if (!options_.subtitles.empty()) {
    std::error_code ignored;
    const std::string path = looksLikeUrl(options_.subtitles)
                                 ? options_.subtitles
                                 : std::filesystem::absolute(options_.subtitles, ignored).string();
    const bool opened = lib_.NativeOpenExternalSubtitles(index_, path.c_str()) == 1;
    printLine(std::string("zentplay: subtitles ") + (opened ? "opened: " : "not readable: ") +
              path);
  }
  if (options_.captions && !captionsOn_) toggleCaptions();
  if (options_.startMs) {
    printLine("zentplay: starting at " + std::to_string(*options_.startMs) + " ms");
    lib_.NativeStartPlayBack(index_, *options_.startMs);
  }
}

void PlayerSession::printContentSummary() {
  const int64_t total = lib_.NativeGetTotalTime(index_);
  printLine("zentplay: duration " + (total > 0 ? clockText(total) : std::string("unknown (live)")));
  const int64_t tracks = lib_.NativeGetTrackCount(index_);
  for (int32_t i = 0; i < tracks; ++i) {
    char line[160];
    std::snprintf(line, sizeof line, "zentplay: variant %d: %lldx%lld, %lld bit/s, %.3g fps", i,
                  static_cast<long long>(lib_.NativeGetTrackWidth(index_, i)),
                  static_cast<long long>(lib_.NativeGetTrackHeight(index_, i)),
                  static_cast<long long>(lib_.NativeGetTrackBitrate(index_, i)),
                  static_cast<double>(lib_.NativeGetTrackFrameRate(index_, i)));
    printLine(line);
  }
  const int64_t audio = lib_.NativeGetAudioStreamCount(index_);
  for (int32_t i = 0; i < audio; ++i) {
    printLine("zentplay: audio " + std::to_string(i) + ": " +
              rendition(takeText(lib_.NativeGetAudioStreamName(index_, i)),
                        takeText(lib_.NativeGetAudioStreamLanguage(index_, i))));
  }
  const int64_t captions = lib_.NativeGetCaptionStreamCount(index_);
  for (int32_t i = 0; i < captions; ++i) {
    printLine("zentplay: captions " + std::to_string(i) + ": " +
              rendition(takeText(lib_.NativeGetCaptionStreamName(index_, i)), ""));
  }
}

void PlayerSession::apply(Action action) {
  if (action == Action::Quit) {
    quitRequested_ = true;
    return;
  }
  if (!ready_) {
    printLine("zentplay: not ready yet");
    return;
  }
  switch (action) {
    case Action::TogglePause:
      togglePause();
      break;
    case Action::SeekForward:
      seekBy(10000);
      break;
    case Action::SeekBack:
      seekBy(-10000);
      break;
    case Action::NextAudio:
      nextAudio();
      break;
    case Action::ToggleCaptions:
      toggleCaptions();
      break;
    case Action::NextVariant:
      nextVariant();
      break;
    case Action::Quit:
      break;
  }
}

void PlayerSession::togglePause() {
  if (lib_.NativeGetPlayerState(index_) == ZENTPLAYER_STATE_PLAY) {
    lib_.NativePause(index_);
  } else {
    lib_.NativeResume(index_);
  }
}

void PlayerSession::seekBy(int64_t deltaMs) {
  int64_t target = std::max<int64_t>(0, lib_.NativeGetCurrentTime(index_) + deltaMs);
  const int64_t total = lib_.NativeGetTotalTime(index_);
  if (total > 0) target = std::min(target, total);
  ended_ = false;
  lib_.NativeSeek(index_, static_cast<int32_t>(target));
}

void PlayerSession::nextAudio() {
  const int64_t count = lib_.NativeGetAudioStreamCount(index_);
  if (count <= 0) {
    printLine("zentplay: this content has no audio renditions to choose from");
    return;
  }
  audioIndex_ = static_cast<int32_t>((audioIndex_ + 1) % count);
  lib_.NativeSetAudioStream(index_, audioIndex_);
  printLine("zentplay: audio " + std::to_string(audioIndex_) + ": " +
            rendition(takeText(lib_.NativeGetAudioStreamName(index_, audioIndex_)),
                      takeText(lib_.NativeGetAudioStreamLanguage(index_, audioIndex_))));
}

void PlayerSession::toggleCaptions() {
  if (lib_.NativeGetCaptionStreamCount(index_) <= 0) {
    printLine("zentplay: this content has no captions");
    return;
  }
  captionsOn_ = !captionsOn_;
  lib_.NativeEnableCaptions(index_, captionsOn_);
  printLine(std::string("zentplay: captions ") + (captionsOn_ ? "on" : "off"));
}

void PlayerSession::nextVariant() {
  const int64_t count = lib_.NativeGetTrackCount(index_);
  if (count <= 0) {
    printLine("zentplay: this content has no variants to choose from");
    return;
  }
  variantIndex_ = static_cast<int32_t>((variantIndex_ + 1) % count);
  lib_.NativeSelectTrack(index_, variantIndex_);
  printLine("zentplay: variant " + std::to_string(variantIndex_) +
            " selected: " + std::to_string(lib_.NativeGetTrackWidth(index_, variantIndex_)) + "x" +
            std::to_string(lib_.NativeGetTrackHeight(index_, variantIndex_)) + ", " +
            std::to_string(lib_.NativeGetTrackBitrate(index_, variantIndex_)) + " bit/s");
}

void PlayerSession::poll() {
  const auto now = Clock::now();
  if (!ready_) {
    if (failure_.empty() && now - openedAt_ > std::chrono::seconds(options_.readyTimeoutSeconds)) {
      failure_ = "the content did not become ready within " +
                 std::to_string(options_.readyTimeoutSeconds) + " s";
    }
    return;
  }
  if (!options_.subtitles.empty()) {
    std::string text = takeText(lib_.NativeUpdateSubtitle(index_));
    if (text != subtitle_) {
      subtitle_ = text;
      printLine(text.empty() ? std::string("subtitle cleared") : "subtitle: " + oneLine(text));
    }
  }
  // Watchdog: while playing, the current time must move.
  const int64_t current = lib_.NativeGetCurrentTime(index_);
  const bool playing = lib_.NativeGetPlayerState(index_) == ZENTPLAYER_STATE_PLAY;
  if (!playing || ended_ || current != lastProgressMs_) {
    lastProgressMs_ = current;
    lastProgressAt_ = now;
  } else if (failure_.empty() && now - lastProgressAt_ > kStallLimit) {
    failure_ = "playback stopped advancing at " + clockText(current);
  }
}

unsigned PlayerSession::texture() const {
  return static_cast<unsigned>(reinterpret_cast<uintptr_t>(lib_.NativeGetTexture(index_)));
}

int64_t PlayerSession::videoWidth() const {
  return lib_.NativeGetVideoWidth(index_);
}

int64_t PlayerSession::videoHeight() const {
  return lib_.NativeGetVideoHeight(index_);
}

std::string PlayerSession::statusText() const {
  const int64_t total = lib_.NativeGetTotalTime(index_);
  return std::string(stateName(lib_.NativeGetPlayerState(index_))) + " " +
         clockText(lib_.NativeGetCurrentTime(index_)) + " / " +
         (total > 0 ? clockText(total) : std::string("live"));
}

void PlayerSession::shutdown() {
  if (!started_ || shutDown_) return;
  shutDown_ = true;
  lib_.NativeShutdown();
  handleEvents();
  lib_.NativeSetLogCallback(nullptr);
}

}  // namespace zentplay
