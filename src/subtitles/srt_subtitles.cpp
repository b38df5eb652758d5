#include "subtitles/srt_subtitles.h"

#include <algorithm>
#include <iterator>

#include "subtitles/srt_cue_parser.h"
#include "support/logger.h"

namespace zent {
namespace {

// A broken file can hold thousands of bad cues; past this many, one summary line
// stands for the rest so the host's log is not flooded.
constexpr size_t kMaxCueWarnings = 20;

bool isUtf16(std::string_view content) {
  return content.starts_with("\xFF\xFE") || content.starts_with("\xFE\xFF");
}

void reportSkippedCues(const std::vector<SrtSkippedCue>& skipped, std::string_view sourceName) {
  size_t shown = std::min(skipped.size(), kMaxCueWarnings);
  for (size_t i = 0; i < shown; ++i) {
    std::string line = "SRT file ";
    line.append(sourceName)
        .append(" line ")
        .append(std::to_string(skipped[i].lineNumber))
        .append(": ")
        .append(skipped[i].reason)
        .append("; cue skipped");
    Logger::log(LogLevel::WARNING, line);
  }
  if (skipped.size() > shown) {
    std::string line = "SRT file ";
    line.append(sourceName)
        .append(": ")
        .append(std::to_string(skipped.size() - shown))
        .append(" more malformed cues skipped");
    Logger::log(LogLevel::WARNING, line);
  }
}

}  // namespace

bool SRTSubtitles::parseText(std::string_view content, std::string_view sourceName) {
  if (isUtf16(content)) {
    Logger::log(LogLevel::ERROR, "SRT file " + std::string(sourceName) +
                                     " is UTF-16 text; only UTF-8 subtitles are read");
    return false;
  }
  SrtParseOutput parsed = parseSrtCues(content);
  reportSkippedCues(parsed.skipped, sourceName);
  if (parsed.cues.empty()) {
    Logger::log(LogLevel::ERROR, "SRT file " + std::string(sourceName) + " holds no valid cue");
    return false;
  }
  addCues(std::move(parsed.cues));
  return true;
}

void SRTSubtitles::append(SRTSubtitles&& other) {
  if (&other == this) return;
  std::vector<SrtCue> cues;
  cues.reserve(other.cueCount());
  for (size_t i = 0; i < other.cueCount(); ++i) {
    cues.push_back({other.timesIni_[i], other.timesEnd_[i], std::move(other.subtitleBuffer_[i])});
  }
  other = SRTSubtitles();
  addCues(std::move(cues));
}

void SRTSubtitles::addCues(std::vector<SrtCue>&& cues) {
  if (cues.empty()) return;
  auto byStart = [](const SrtCue& a, const SrtCue& b) { return a.startMs < b.startMs; };
  // Files are nearly always in time order already; sorting is then skipped.
  if (!std::is_sorted(cues.begin(), cues.end(), byStart)) {
    std::stable_sort(cues.begin(), cues.end(), byStart);
  }
  bool inOrder = timesIni_.empty() || timesIni_.back() <= cues.front().startMs;
  if (!inOrder) {
    // The new cues interleave with those held: merge, the held ones first on equal starts.
    std::vector<SrtCue> held;
    held.reserve(cueCount());
    for (size_t i = 0; i < cueCount(); ++i) {
      held.push_back({timesIni_[i], timesEnd_[i], std::move(subtitleBuffer_[i])});
    }
    std::vector<SrtCue> merged;
    merged.reserve(held.size() + cues.size());
    std::merge(std::make_move_iterator(held.begin()), std::make_move_iterator(held.end()),
               std::make_move_iterator(cues.begin()), std::make_move_iterator(cues.end()),
               std::back_inserter(merged), byStart);
    timesIni_.clear();
    timesEnd_.clear();
    subtitleBuffer_.clear();
    cues = std::move(merged);
  }
  timesIni_.reserve(timesIni_.size() + cues.size());
  timesEnd_.reserve(timesEnd_.size() + cues.size());
  subtitleBuffer_.reserve(subtitleBuffer_.size() + cues.size());
  for (SrtCue& cue : cues) {
    timesIni_.push_back(cue.startMs);
    timesEnd_.push_back(cue.endMs);
    subtitleBuffer_.push_back(std::move(cue.text));
  }
  endIndex_.rebuild(timesEnd_);
}

std::string SRTSubtitles::updateSubtitle(int64_t currentTimeMs) const {
  auto afterCandidate = std::upper_bound(timesIni_.begin(), timesIni_.end(), currentTimeMs);
  if (afterCandidate == timesIni_.begin()) return "";
  size_t candidate = static_cast<size_t>(afterCandidate - timesIni_.begin()) - 1;
  std::optional<size_t> shown = endIndex_.lastReaching(candidate, currentTimeMs);
  return shown ? subtitleBuffer_[*shown] : std::string();
}

}  // namespace zent
