// External SRT subtitle files and the subtitle poll.
#include "player/zent_player.h"
#include "subtitles/srt_subtitles.h"
#include "support/invariant.h"
#include "support/logger.h"
#include "support/numeric.h"

namespace zent {

bool ZentPlayer::openExternalSubtitles(const std::string& subsURL) {
  {
    LibraryLock lock(mutex_);
    trace(" | Open External Subtitles");
    if (refuseUnlessInitialized("Open External Subtitles")) return false;
    // Set before parsing: the poll uses the file even when it yields nothing.
    externalSubtitles = true;
  }
  // The file is read without the player's lock (a remote file can take a
  // while), then its cues are added to those of any earlier file.
  SRTSubtitles parsed;
  bool ok = parsed.parseStringbuffer(subsURL);
  LibraryLock lock(mutex_);
  if (!SRTsubs) SRTsubs = std::make_shared<SRTSubtitles>();
  SRTsubs->append(std::move(parsed));
  return ok;
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
