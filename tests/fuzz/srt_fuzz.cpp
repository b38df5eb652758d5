// The SubRip parser on any bytes, then lookups at the times it found and a few others:
// a crash, a sanitizer report or broken ordering is a finding.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string_view>

#include "subtitles/srt_subtitles.h"
#include "support/logger.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  zent::Logger::setCurrentLogLevel(zent::LogLevel::NONE);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string_view content(reinterpret_cast<const char*>(data), size);
  zent::SRTSubtitles subs;
  bool parsed = subs.parseText(content, "fuzz.srt");
  // Again: a copy of every cue merges in.
  if (parsed) subs.parseText(content, "fuzz.srt");

  const auto& starts = subs.timesIni();
  const auto& ends = subs.timesEnd();
  if (starts.size() != ends.size() || starts.size() != subs.subtitleBuffer().size()) std::abort();
  if (parsed == starts.empty()) std::abort();
  for (size_t i = 0; i < starts.size(); ++i) {
    if (ends[i] < starts[i] || (i > 0 && starts[i - 1] > starts[i])) std::abort();
  }

  for (size_t i = 0; i < starts.size() && i < 64; ++i) {
    // At a cue's start every cue with that start is on screen; the one read last is shown.
    size_t last = i;
    while (last + 1 < starts.size() && starts[last + 1] == starts[i]) ++last;
    if (subs.updateSubtitle(starts[i]) != subs.subtitleBuffer()[last]) std::abort();
    subs.updateSubtitle(ends[i]);
    if (ends[i] < std::numeric_limits<int64_t>::max()) subs.updateSubtitle(ends[i] + 1);
  }
  const int64_t edges[] = {std::numeric_limits<int64_t>::min(), -1, 0,
                           std::numeric_limits<int64_t>::max()};
  for (int64_t t : edges) subs.updateSubtitle(t);
  return 0;
}
