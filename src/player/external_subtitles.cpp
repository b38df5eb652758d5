// External SRT subtitle files and the subtitle poll.
#include "player/zent_player.h"
#include "subtitles/srt_subtitles.h"
#include "support/invariant.h"
#include "support/logger.h"
#include "support/numeric.h"

namespace zent {

bool ZentPlayer::openExternalSubtitles(const std::string& subsURL) {
  LibraryLock lock(mutex_);
  trace(" | Open External Subtitles");
  if (refuseUnlessInitialized("Open External Subtitles")) return false;
  // A second file is added to the cues of the first.
  if (!SRTsubs) SRTsubs = std::make_shared<SRTSubtitles>();
  externalSubtitles = true;
  return SRTsubs->parseStringbuffer(subsURL);
}

std::string ZentPlayer::updateSubtitle() {
  LibraryLock lock(mutex_);
  trace(" | Update Subtitles");
  if (refuseUnlessInitialized("Update Subtitles")) return "";
  if (externalSubtitles) {
    auto now = truncateToInt64(getCurrentTime());
    if (!now) {
      return brokenInvariant(playerLine(playerIndex_, " | Update Subtitles"),
                             "the current time is not a finite number", std::string());
    }
    return SRTsubs ? SRTsubs->updateSubtitle(*now) : std::string();
  }
  return subtitleTextBuffer.value_or("");
}

}  // namespace zent
