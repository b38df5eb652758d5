#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zent {

struct SrtCue {
  int64_t startMs = 0;
  int64_t endMs = 0;
  std::string text;  // each text line followed by "\n"
};

// A cue left out of the result: the line where it begins and why.
struct SrtSkippedCue {
  size_t lineNumber = 0;
  std::string_view reason;  // a static text
};

struct SrtParseOutput {
  std::vector<SrtCue> cues;  // in file order
  std::vector<SrtSkippedCue> skipped;
};

// Reads SubRip text: an optional UTF-8 byte order mark, then cues made of an optional
// index line, a timing line and text lines, ended by a blank line. Extra blank lines
// between cues are ignored; a missing blank line before the next index and timing
// line is tolerated. A cue whose timing line is bad, or a block of text with no timing
// line, is skipped and reported. Runs in time linear in the size of the text.
SrtParseOutput parseSrtCues(std::string_view content);

}  // namespace zent
