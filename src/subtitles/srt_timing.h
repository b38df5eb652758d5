#pragma once

#include <cstdint>
#include <string_view>

namespace zent {

// The start and end of one cue, in milliseconds, both inclusive.
struct SrtTiming {
  int64_t startMs = 0;
  int64_t endMs = 0;
};

// The outcome of reading one timing line: the timing, or why the line is not one.
struct SrtTimingResult {
  bool ok = false;
  SrtTiming timing;
  std::string_view error;  // a static text, set when ok is false
};

// True for a line that is meant as a timing line: it starts (after blanks) with a digit
// and holds the "-->" arrow. Such a line begins a cue even when its numbers are bad.
bool looksLikeSrtTiming(std::string_view line);

// Reads "H:MM:SS,mmm --> H:MM:SS,mmm", with "," or "." before the milliseconds, any
// number of hour digits, and optional text after the end time (e.g. "X1:40 X2:600").
// Numbers are decimal; minutes and seconds above 59 and an end before the start are
// errors.
SrtTimingResult parseSrtTiming(std::string_view line);

}  // namespace zent
