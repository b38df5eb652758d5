#include "registry/bridge_player.h"

#include <string>

#include "player/zent_player.h"
#include "support/invariant.h"
#include "support/logger.h"

namespace zent {

BridgePlayer::BridgePlayer(std::shared_ptr<MediaEngine> engine) : engine_(std::move(engine)) {}

BridgePlayer::~BridgePlayer() = default;

BridgePlayer::Slot BridgePlayer::slot(int64_t playerIndex) const {
  std::lock_guard<std::mutex> lock(mutex_);
  // The index is checked against the slots, not against totalStreams.
  if (playerIndex < 0 || static_cast<uint64_t>(playerIndex) >= player.size()) return {};
  return {true, player[static_cast<std::size_t>(playerIndex)]};
}

std::shared_ptr<ZentPlayer> BridgePlayer::playerAt(int64_t playerIndex) const {
  return slot(playerIndex).player;
}

std::shared_ptr<ZentPlayer> BridgePlayer::requirePlayer(int64_t playerIndex, const char* operation,
                                                        bool& badIndex) const {
  Slot found = slot(playerIndex);
  badIndex = !found.valid;
  if (found.valid && !found.player) {
    reportBrokenInvariant(operation, "slot " + std::to_string(playerIndex) + " holds no player");
  }
  return found.player;
}

template <typename R, typename F>
R BridgePlayer::forward(int64_t playerIndex, const char* operation, R failure, F&& call) const {
  bool badIndex = false;
  auto target = requirePlayer(playerIndex, operation, badIndex);
  if (!target) return failure;
  return call(*target);
}

template <typename R, typename F>
R BridgePlayer::forwardOrDefault(int64_t playerIndex, R badIndex, R emptySlot, F&& call) const {
  Slot found = slot(playerIndex);
  if (!found.valid) return badIndex;
  if (!found.player) return emptySlot;
  return call(*found.player);
}

// ---- Registry ---------------------------------------------------------------

int64_t BridgePlayer::AddStream(bool autoPlay) {
  auto created = std::make_shared<ZentPlayer>(engine_);
  int64_t index = 0;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    player.push_back(created);
    index = totalStreams++;
  }
  created->setAutoPlay(autoPlay);
  return created->Init(index, shared_from_this());
}

int64_t BridgePlayer::InitPlayer(int64_t playerIndex) {
  return forward(playerIndex, "InitPlayer", int64_t{-1},
                 [&](ZentPlayer& p) { return p.Init(playerIndex, shared_from_this()); });
}

int64_t BridgePlayer::GetTotalStreams() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return totalStreams;
}

void BridgePlayer::Release(int64_t playerIndex) {
  bool badIndex = false;
  auto target = requirePlayer(playerIndex, "Release", badIndex);
  if (!target) return;
  target->Release();
  std::lock_guard<std::mutex> lock(mutex_);
  if (static_cast<uint64_t>(playerIndex) < player.size() &&
      player[static_cast<std::size_t>(playerIndex)] == target) {
    player[static_cast<std::size_t>(playerIndex)].reset();
  }
}

void BridgePlayer::RemoveStream(int64_t playerIndex) {
  if (!slot(playerIndex).valid) return;
  Release(playerIndex);
  std::vector<std::shared_ptr<ZentPlayer>> renumber;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (static_cast<uint64_t>(playerIndex) >= player.size()) return;
    player.erase(player.begin() + playerIndex);
    --totalStreams;
    renumber = player;
  }
  // Every later player moves down by one and learns its new index.
  for (std::size_t i = 0; i < renumber.size(); ++i) {
    if (!renumber[i]) {
      reportBrokenInvariant("RemoveStream", "slot " + std::to_string(i) + " holds no player");
      continue;
    }
    renumber[i]->setPlayerIndex(static_cast<int64_t>(i));
  }
}

void BridgePlayer::SetPlayerStatusClose(int64_t playerIndex) {
  Slot found = slot(playerIndex);
  if (!found.player) return;
  found.player->Stop();
  found.player->setPlayerStatus(ZentPlayerStatus::CLOSE);
}

void BridgePlayer::RemoveVideoContent(int64_t playerIndex) {
  if (auto target = slot(playerIndex).player) target->Release();
}

// ---- Log settings -------------------------------------------------------------

void BridgePlayer::setLogSystemLevel(int64_t logLevel) {
  if (auto level = logLevelFromRaw(logLevel)) {
    Logger::setCurrentLogLevel(*level);
    Logger::log(LogLevel::INFO, std::string("Log level changed to ") + description(*level));
  } else {
    Logger::log(LogLevel::ERROR, "Invalid log level received: " + std::to_string(logLevel));
  }
}

void BridgePlayer::setLogSystemTimestamp(bool state) {
  Logger::setShowTimestamp(state);
  Logger::log(LogLevel::INFO, std::string("ShowTimestamp set to ") + (state ? "true" : "false"));
}

void BridgePlayer::setLogSystemPlatform(bool state) {
  Logger::setShowPlatform(state);
  Logger::log(LogLevel::INFO, std::string("ShowPlatform set to ") + (state ? "true" : "false"));
}

// ---- Opening -------------------------------------------------------------------

int64_t BridgePlayer::OpenLocalContent(const std::string& localUri, int64_t playerIndex) {
  return forward(playerIndex, "OpenLocalContent", int64_t{-1},
                 [&](ZentPlayer& p) { return p.OpenLocalContent(localUri); });
}

int64_t BridgePlayer::OpenURI(const std::string& uri, int64_t playerIndex, int64_t mimeType) {
  return forward(playerIndex, "OpenURI", int64_t{-1},
                 [&](ZentPlayer& p) { return p.OpenURI(uri, mimeType); });
}

// Accepted for compatibility; no header or latency setting reaches the engine.
int64_t BridgePlayer::setAdditionalHttpHeader(const std::string&, const std::string&,
                                              int64_t playerIndex) {
  return slot(playerIndex).valid ? 0 : -1;
}

int64_t BridgePlayer::setLowLatency(bool, int64_t, int64_t playerIndex) {
  return slot(playerIndex).valid ? 0 : -1;
}

// ---- Transport -----------------------------------------------------------------

int64_t BridgePlayer::StartPlayback(int64_t startTime, int64_t playerIndex) {
  return forward(playerIndex, "StartPlayback", int64_t{-1}, [&](ZentPlayer& p) {
    p.Seek(startTime);
    p.Play();
    return int64_t{0};
  });
}

int64_t BridgePlayer::Seek(int64_t ms, int64_t playerIndex) {
  return forward(playerIndex, "Seek", int64_t{-1}, [&](ZentPlayer& p) {
    p.Seek(ms);
    return int64_t{0};
  });
}

int64_t BridgePlayer::Pause(int64_t playerIndex) {
  return forwardOrDefault(playerIndex, int64_t{-1}, int64_t{0}, [](ZentPlayer& p) {
    p.Pause();
    return int64_t{0};
  });
}

int64_t BridgePlayer::Resume(int64_t playerIndex) {
  return forwardOrDefault(playerIndex, int64_t{-1}, int64_t{0}, [](ZentPlayer& p) {
    p.Resume();
    return int64_t{0};
  });
}

int64_t BridgePlayer::Stop(int64_t playerIndex) {
  return forwardOrDefault(playerIndex, int64_t{-1}, int64_t{0}, [](ZentPlayer& p) {
    p.Stop();
    return int64_t{0};
  });
}

int64_t BridgePlayer::setMute(bool muted, int64_t playerIndex) {
  return forwardOrDefault(playerIndex, int64_t{-1}, int64_t{0}, [&](ZentPlayer& p) {
    p.setMute(muted);
    return int64_t{0};
  });
}

int64_t BridgePlayer::setVolume(float fVolume, int64_t playerIndex) {
  return forwardOrDefault(playerIndex, int64_t{-1}, int64_t{0}, [&](ZentPlayer& p) {
    p.setVolume(fVolume);
    return int64_t{0};
  });
}

void BridgePlayer::setPlaybackRate(float speed, int64_t playerIndex) {
  forward(playerIndex, "setPlaybackRate", 0, [&](ZentPlayer& p) {
    p.setPlaybackRate(speed);
    return 0;
  });
}

float BridgePlayer::getPlaybackRate(int64_t playerIndex) {
  return forward(playerIndex, "getPlaybackRate", -1.0f,
                 [](ZentPlayer& p) { return p.getPlaybackRate(); });
}

// ---- State and time --------------------------------------------------------------

int64_t BridgePlayer::getPlayerState(int64_t playerIndex) {
  return forwardOrDefault(playerIndex, int64_t{-1}, int64_t{0},
                          [](ZentPlayer& p) { return static_cast<int64_t>(p.playerStatus()); });
}

double BridgePlayer::getTotalTime(int64_t playerIndex) {
  return forward(playerIndex, "getTotalTime", -1.0, [](ZentPlayer& p) { return p.getTotalTime(); });
}

double BridgePlayer::getCurrentTime(int64_t playerIndex) {
  return forward(playerIndex, "getCurrentTime", -1.0,
                 [](ZentPlayer& p) { return p.getCurrentTime(); });
}

double BridgePlayer::getProgramDateTimeEpoch(int64_t playerIndex) {
  return forward(playerIndex, "getProgramDateTimeEpoch", -1.0,
                 [](ZentPlayer& p) { return p.getProgramDateTimeEpoch(); });
}

int64_t BridgePlayer::getVideoHeight(int64_t playerIndex) {
  return forward(playerIndex, "getVideoHeight", int64_t{-1},
                 [](ZentPlayer& p) { return p.getVideoSize().height; });
}

int64_t BridgePlayer::getVideoWidth(int64_t playerIndex) {
  return forward(playerIndex, "getVideoWidth", int64_t{-1},
                 [](ZentPlayer& p) { return p.getVideoSize().width; });
}

// ---- Video variants ----------------------------------------------------------------

int64_t BridgePlayer::getTrackCount(int64_t playerIndex) {
  return forward(playerIndex, "getTrackCount", int64_t{-1},
                 [&](ZentPlayer& p) { return p.getVideoTrackCount(playerIndex); });
}

std::string BridgePlayer::getTrackID(int64_t playerIndex, int64_t trackIndex) {
  return forward(playerIndex, "getTrackID", std::string(),
                 [&](ZentPlayer& p) { return p.getTrackId(playerIndex, trackIndex); });
}

int64_t BridgePlayer::getTrackBitrate(int64_t playerIndex, int64_t trackIndex) {
  return forward(playerIndex, "getTrackBitrate", int64_t{-1},
                 [&](ZentPlayer& p) { return p.getTrackBitrate(playerIndex, trackIndex); });
}

int64_t BridgePlayer::getTrackWidth(int64_t playerIndex, int64_t trackIndex) {
  return forward(playerIndex, "getTrackWidth", int64_t{-1},
                 [&](ZentPlayer& p) { return p.getTrackWidth(playerIndex, trackIndex); });
}

int64_t BridgePlayer::getTrackHeight(int64_t playerIndex, int64_t trackIndex) {
  return forward(playerIndex, "getTrackHeight", int64_t{-1},
                 [&](ZentPlayer& p) { return p.getTrackHeight(playerIndex, trackIndex); });
}

float BridgePlayer::getTrackFrameRate(int64_t playerIndex, int64_t trackIndex) {
  return forward(playerIndex, "getTrackFrameRate", -1.0f,
                 [&](ZentPlayer& p) { return p.getTrackFrameRate(playerIndex, trackIndex); });
}

void BridgePlayer::SelectTrack(int64_t playerIndex, int64_t trackIndex) {
  forward(playerIndex, "SelectTrack", 0, [&](ZentPlayer& p) {
    p.selectTrack(trackIndex);
    return 0;
  });
}

float BridgePlayer::GetTrackRotation(int64_t playerIndex, int64_t trackWidth, int64_t trackHeight) {
  return forward(playerIndex, "GetTrackRotation", 0.0f,
                 [&](ZentPlayer& p) { return p.getTrackRotation(trackWidth, trackHeight); });
}

// The bit-rate limits are accepted and change nothing; hosts select variants instead.
void BridgePlayer::SetMaxBitrate(int64_t playerIndex, int64_t) {
  forward(playerIndex, "SetMaxBitrate", 0, [](ZentPlayer& p) {
    logPlayer(LogLevel::WARNING, p.playerIndex(), " | setMaxBitrate not implemented yet");
    return 0;
  });
}

void BridgePlayer::SetMinBitrate(int64_t playerIndex, int64_t) {
  forward(playerIndex, "SetMinBitrate", 0, [](ZentPlayer& p) {
    logPlayer(LogLevel::WARNING, p.playerIndex(), " | setMinBitrate not implemented yet");
    return 0;
  });
}

// ---- Audio and captions ---------------------------------------------------------

int64_t BridgePlayer::getAudioStreamStreamCount(int64_t playerIndex) {
  return forward(playerIndex, "getAudioStreamStreamCount", int64_t{-1},
                 [](ZentPlayer& p) { return p.audioStreamCount(); });
}

int64_t BridgePlayer::getCaptionStreamCount(int64_t playerIndex) {
  return forward(playerIndex, "getCaptionStreamCount", int64_t{-1},
                 [](ZentPlayer& p) { return p.captionStreamCount(); });
}

std::string BridgePlayer::getAudioStreamName(int64_t id, int64_t playerIndex) {
  return forward(playerIndex, "getAudioStreamName", std::string(),
                 [&](ZentPlayer& p) { return p.getAudioStreamName(id); });
}

std::string BridgePlayer::getAudioStreamLanguage(int64_t id, int64_t playerIndex) {
  return forward(playerIndex, "getAudioStreamLanguage", std::string(),
                 [&](ZentPlayer& p) { return p.getAudioStreamLanguage(id); });
}

std::string BridgePlayer::getCaptionStreamName(int64_t id, int64_t playerIndex) {
  return forward(playerIndex, "getCaptionStreamName", std::string(),
                 [&](ZentPlayer& p) { return p.getCaptionStreamName(id); });
}

std::string BridgePlayer::getCaptionStreamLanguage(int64_t id, int64_t playerIndex) {
  return forward(playerIndex, "getCaptionStreamLanguage", std::string(),
                 [&](ZentPlayer& p) { return p.getCaptionStreamLanguage(id); });
}

int64_t BridgePlayer::getCaptionStreamID(int64_t id, int64_t playerIndex) {
  return forward(playerIndex, "getCaptionStreamID", int64_t{-1},
                 [&](ZentPlayer& p) { return p.getCaptionStreamID(id); });
}

void BridgePlayer::setAudioStream(int64_t id, int64_t playerIndex) {
  forward(playerIndex, "setAudioStream", 0, [&](ZentPlayer& p) {
    p.setAudioStream(id);
    return 0;
  });
}

void BridgePlayer::setCaptionStream(int64_t id, int64_t playerIndex) {
  forward(playerIndex, "setCaptionStream", 0, [&](ZentPlayer& p) {
    p.setCaptionStream(id);
    return 0;
  });
}

void BridgePlayer::enableCaptions(bool enabled, int64_t playerIndex) {
  forward(playerIndex, "enableCaptions", 0, [&](ZentPlayer& p) {
    p.enableCaptions(enabled);
    return 0;
  });
}

int64_t BridgePlayer::getCaptionEncodingType(int64_t) {
  return 0;
}

// ---- Subtitles -----------------------------------------------------------------------

bool BridgePlayer::openExternalSubtitles(const std::string& subUrl, int64_t playerIndex) {
  if (playerIndex < 0) {
    return brokenInvariant("openExternalSubtitles",
                           "negative player index " + std::to_string(playerIndex), false);
  }
  return forward(playerIndex, "openExternalSubtitles", false,
                 [&](ZentPlayer& p) { return p.openExternalSubtitles(subUrl); });
}

std::string BridgePlayer::updateSubtitle(int64_t playerIndex) {
  return forward(playerIndex, "updateSubtitle", std::string(),
                 [](ZentPlayer& p) { return p.updateSubtitle(); });
}

// ---- Timed metadata: constant answers kept for hosts written against them --------------

int64_t BridgePlayer::getMilisecondsEndBuffered(int64_t) {
  return 0;
}
void* BridgePlayer::getTimedMetadata(int64_t, int64_t) {
  return nullptr;
}
void* BridgePlayer::getExtraMetadataInfo(int64_t, int64_t) {
  return nullptr;
}
int64_t BridgePlayer::setTimedMetadata_CustomTag(const std::string&, int64_t) {
  return 0;
}
int64_t BridgePlayer::getTimedMetadata_EndodingType(int64_t, const std::string&, int64_t) {
  return 0;
}
int64_t BridgePlayer::getTimedMetadata_DataByte(int64_t, const std::string&, uint8_t, int64_t) {
  return 0;
}

std::string BridgePlayer::getID3Field(int64_t playerIndex, int64_t field) {
  auto target = slot(playerIndex).player;
  return target ? target->id3Field(field) : std::string();
}

// ---- Video texture -----------------------------------------------------------------------

void* BridgePlayer::GetTexture(int64_t playerIndex) {
  uintptr_t texture = forward(playerIndex, "GetTexture", uintptr_t{0},
                              [](ZentPlayer& p) { return p.getTexture(); });
  return reinterpret_cast<void*>(texture);
}

void BridgePlayer::CleanVideoTexture(int64_t playerIndex) {
  forward(playerIndex, "CleanVideoTexture", 0, [](ZentPlayer& p) {
    p.cleanVideoTexture();
    return 0;
  });
}

}  // namespace zent
