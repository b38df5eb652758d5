#include "subtitles/srt_cue_parser.h"

#include "subtitles/srt_line_reader.h"
#include "subtitles/srt_timing.h"

namespace zent {
namespace {

constexpr std::string_view kUtf8Bom = "\xEF\xBB\xBF";

bool isBlankLine(std::string_view line) {
  return line.find_first_not_of(" \t") == std::string_view::npos;
}

bool isIndexLine(std::string_view line) {
  size_t first = line.find_first_not_of(" \t");
  if (first == std::string_view::npos) return false;
  size_t last = line.find_last_not_of(" \t");
  return line.substr(first, last - first + 1).find_first_not_of("0123456789") ==
         std::string_view::npos;
}

// A line that opens the next cue even without the blank line that should precede it:
// a timing line, or an index line directly followed by one.
bool opensCue(const SrtLineReader& reader) {
  if (looksLikeSrtTiming(reader.line())) return true;
  if (!isIndexLine(reader.line())) return false;
  std::optional<std::string_view> next = reader.peekNext();
  return next && looksLikeSrtTiming(*next);
}

}  // namespace

SrtParseOutput parseSrtCues(std::string_view content) {
  if (content.starts_with(kUtf8Bom)) content.remove_prefix(kUtf8Bom.size());
  SrtParseOutput output;
  SrtLineReader reader(content);
  while (!reader.atEnd()) {
    if (isBlankLine(reader.line())) {
      reader.advance();
      continue;
    }
    // The first line of a cue is its timing line, or an identifier (usually the cue
    // number) followed by the timing line.
    if (!looksLikeSrtTiming(reader.line())) {
      std::optional<std::string_view> next = reader.peekNext();
      if (!next || !looksLikeSrtTiming(*next)) {
        output.skipped.push_back({reader.lineNumber(), "no timing line"});
        do {
          reader.advance();
        } while (!reader.atEnd() && !isBlankLine(reader.line()) && !opensCue(reader));
        continue;
      }
      reader.advance();
    }
    size_t timingLine = reader.lineNumber();
    SrtTimingResult timing = parseSrtTiming(reader.line());
    reader.advance();
    std::string text;
    while (!reader.atEnd() && !isBlankLine(reader.line()) && !opensCue(reader)) {
      text.append(reader.line()).push_back('\n');
      reader.advance();
    }
    if (timing.ok) {
      output.cues.push_back({timing.timing.startMs, timing.timing.endMs, std::move(text)});
    } else {
      output.skipped.push_back({timingLine, timing.error});
    }
  }
  return output;
}

}  // namespace zent
