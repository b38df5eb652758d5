// The video variant list, its queries, variant selection and track rotation.
#include <cmath>
#include <string>

#include "platform/manifest/manifest_info.h"
#include "player/zent_player.h"
#include "support/invariant.h"
#include "support/logger.h"
#include "support/numeric.h"

namespace zent {
namespace {

// One unit in the last place below the float nearest to pi; kept so rotations
// match the reference results to the last bit (a quarter turn is 90.00000762939453).
constexpr float kHalfTurnDivisor = 3.1415925f;

}  // namespace

void ZentPlayer::initTracks(const ManifestInfo& manifest) {
  if (playerStatus_ == ZentPlayerStatus::CLOSE) return;
  tracksList.clear();
  for (const VariantInfo& variant : manifest.videoVariants) {
    auto width = truncateToInt64(variant.width);
    auto height = truncateToInt64(variant.height);
    if (!width || !height) {
      reportBrokenInvariant(playerLine(playerIndex_, " | initTracks"),
                            "a variant size is not a finite number");
      continue;
    }
    TrackInfo track;
    track.resolution = {*width, *height};
    track.frameRate = variant.frameRate.value_or(0.0f);
    track.bitRate = variant.peakBitRate;
    track.id = std::to_string(tracksList.size());
    tracksList.push_back(std::move(track));
  }
}

// The track queries share one shape: trace, guard, then element trackIndex.
#define ZENT_TRACK_QUERY(NAME, RESULT, REFUSED, EXPR)                               \
  RESULT ZentPlayer::NAME(int64_t /*playerIndex*/, int64_t trackIndex) {            \
    LibraryLock lock(mutex_);                                                       \
    trace(" | " #NAME);                                                             \
    if (refuseUnlessInitialized(#NAME)) return REFUSED;                             \
    if (trackIndex < 0 || static_cast<uint64_t>(trackIndex) >= tracksList.size()) { \
      return brokenInvariant(playerLine(playerIndex_, " | " #NAME),                 \
                             "track index " + std::to_string(trackIndex) +          \
                                 " is outside the track list of " +                 \
                                 std::to_string(tracksList.size()) + " tracks",     \
                             REFUSED);                                              \
    }                                                                               \
    const TrackInfo& track = tracksList[static_cast<std::size_t>(trackIndex)];      \
    return EXPR;                                                                    \
  }

ZENT_TRACK_QUERY(getTrackId, std::string, std::string(), track.id.value_or(""))
ZENT_TRACK_QUERY(getTrackBitrate, int64_t, int64_t{0}, track.bitRate)
ZENT_TRACK_QUERY(getTrackWidth, int64_t, int64_t{0}, track.resolution.width)
ZENT_TRACK_QUERY(getTrackHeight, int64_t, int64_t{0}, track.resolution.height)
ZENT_TRACK_QUERY(getTrackFrameRate, float, 0.0f, track.frameRate)

#undef ZENT_TRACK_QUERY

int64_t ZentPlayer::getVideoTrackCount(int64_t /*playerIndex*/) {
  LibraryLock lock(mutex_);
  trace(" | getVideoTrackCount");
  if (refuseUnlessInitialized("getVideoTrackCount")) return 0;
  return static_cast<int64_t>(tracksList.size());
}

void ZentPlayer::selectTrack(int64_t trackIndex) {
  LibraryLock lock(mutex_);
  trace(" | selectTrack");
  if (refuseUnlessInitialized("selectTrack")) return;
  if (!avPlayerItem) {
    reportBrokenInvariant(playerLine(playerIndex_, " | selectTrack"), "there is no player item");
    return;
  }
  if (trackIndex < 0 || static_cast<uint64_t>(trackIndex) >= tracksList.size()) {
    reportBrokenInvariant(playerLine(playerIndex_, " | selectTrack"),
                          "track index " + std::to_string(trackIndex) +
                              " is outside the track list of " + std::to_string(tracksList.size()) +
                              " tracks");
    return;
  }
  const TrackInfo& track = tracksList[static_cast<std::size_t>(trackIndex)];
  avPlayerItem->setPreferredMaximumResolution(
      {static_cast<double>(track.resolution.width), static_cast<double>(track.resolution.height)});
  avPlayerItem->setPreferredPeakBitRate(static_cast<double>(track.bitRate));
  // Drop what is buffered so the caps take effect at once; costs a rebuffer.
  if (avPlayer) avPlayerItem->applyPreferences();
}

float ZentPlayer::getTrackRotation(int64_t trackWidth, int64_t trackHeight) {
  LibraryLock lock(mutex_);
  std::shared_ptr<PlayerItem> item = avPlayer ? avPlayer->currentItem() : nullptr;
  if (!item) {
    logPlayer(LogLevel::ERROR, playerIndex_, " | getTrackRotation internal error");
    return 0.0f;
  }
  for (const VideoTrackGeometry& track : item->videoTracks()) {
    const AffineTransform& t = track.preferredTransform;
    // The displayed size: the natural size through the transform.
    double shownWidth = std::fabs(t.a * track.naturalSize.width + t.c * track.naturalSize.height);
    double shownHeight = std::fabs(t.b * track.naturalSize.width + t.d * track.naturalSize.height);
    auto width = truncateToInt64(shownWidth);
    auto height = truncateToInt64(shownHeight);
    if (!width || !height) {
      return brokenInvariant(playerLine(playerIndex_, " | getTrackRotation"),
                             "a track size is not a finite number", 0.0f);
    }
    if (*width != trackWidth || *height != trackHeight) continue;
    float angle = static_cast<float>(std::atan2(t.b, t.a));
    return angle * 180.0f / kHalfTurnDivisor;
  }
  return 0.0f;
}

}  // namespace zent
