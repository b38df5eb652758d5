#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "subtitles/cue_end_index.h"

namespace zent {

struct SrtCue;

// The cues of the external SubRip files attached to one player, and the lookup of the
// text on screen at a playback time.
//
// Cues are kept in three parallel arrays ordered by start time (cues with equal starts
// stay in the order they were read). Each file read appends its cues to those already
// held. A lookup binary-searches the starts, so any time, forward or backward, is
// answered at once. Start and end are both inclusive. When cues overlap, the one shown
// is the cue that started most recently among those still on screen; with equal
// starts, the one read last.
//
// Not thread-safe: the owning player calls every method under its own per-player lock.
class SRTSubtitles {
 public:
  // Reads a whole SRT file (local path, file:// or http(s) URL) and appends its cues.
  // Returns false, with one ERROR line, when the content cannot be read or holds no
  // valid cue; the cues already held are then unchanged. Blocks for the transfer: a
  // caller that must not block can parse into a fresh object elsewhere and append().
  bool parseStringbuffer(const std::string& subsPath);

  // The same for text already in memory; sourceName names it in log lines.
  // Each malformed cue is skipped with a WARNING line giving the source and line.
  bool parseText(std::string_view content, std::string_view sourceName);

  // Moves all cues of other into this object, as if its files had been read here.
  void append(SRTSubtitles&& other);

  // The text of the cue on screen at that time, each of its lines followed by "\n";
  // "" before the first cue, between cues and after the last.
  std::string updateSubtitle(int64_t currentTimeMs) const;

  size_t cueCount() const { return timesIni_.size(); }
  const std::vector<int64_t>& timesIni() const { return timesIni_; }
  const std::vector<int64_t>& timesEnd() const { return timesEnd_; }
  const std::vector<std::string>& subtitleBuffer() const { return subtitleBuffer_; }

 private:
  void addCues(std::vector<SrtCue>&& cues);

  std::vector<int64_t> timesIni_;            // cue starts, ms, ascending
  std::vector<int64_t> timesEnd_;            // cue ends, ms, same positions
  std::vector<std::string> subtitleBuffer_;  // cue texts, same positions
  CueEndIndex endIndex_;                     // over timesEnd_, for overlapping cues
};

}  // namespace zent
