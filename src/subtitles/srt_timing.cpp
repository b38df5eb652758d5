#include "subtitles/srt_timing.h"

namespace zent {
namespace {

// Far beyond any real file, and small enough that the milliseconds fit int64 with room.
constexpr int64_t kMaxHours = 1'000'000;

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}
bool isBlank(char c) {
  return c == ' ' || c == '\t';
}

void skipBlanks(std::string_view& text) {
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
}

// Reads 1 to maxDigits decimal digits (0 = no limit, the value capped at limit + 1).
bool readNumber(std::string_view& text, size_t maxDigits, int64_t limit, int64_t& value) {
  size_t count = 0;
  value = 0;
  while (count < text.size() && isDigit(text[count])) {
    if (maxDigits != 0 && count == maxDigits) return false;
    if (value <= limit) value = value * 10 + (text[count] - '0');
    ++count;
  }
  if (count == 0) return false;
  text.remove_prefix(count);
  return true;
}

bool consume(std::string_view& text, char c) {
  if (text.empty() || text.front() != c) return false;
  text.remove_prefix(1);
  return true;
}

constexpr std::string_view kBadLayout = "timing line is not HH:MM:SS,mmm --> HH:MM:SS,mmm";

// One "H:MM:SS,mmm" timestamp; on failure returns the reason.
std::string_view readTimestamp(std::string_view& text, int64_t& ms) {
  int64_t hours = 0;
  int64_t minutes = 0;
  int64_t seconds = 0;
  int64_t fraction = 0;
  if (!readNumber(text, 0, kMaxHours, hours) || !consume(text, ':') ||
      !readNumber(text, 2, 99, minutes) || !consume(text, ':') ||
      !readNumber(text, 2, 99, seconds)) {
    return kBadLayout;
  }
  if (!consume(text, ',') && !consume(text, '.')) return kBadLayout;
  size_t before = text.size();
  if (!readNumber(text, 3, 999, fraction)) return kBadLayout;
  // The digits are a decimal fraction of a second: ",5" is 500 ms, ",05" 50 ms.
  for (size_t digits = before - text.size(); digits < 3; ++digits) fraction *= 10;
  if (hours > kMaxHours) return "hours out of range";
  if (minutes > 59) return "minutes out of range";
  if (seconds > 59) return "seconds out of range";
  ms = ((hours * 60 + minutes) * 60 + seconds) * 1000 + fraction;
  return {};
}

}  // namespace

bool looksLikeSrtTiming(std::string_view line) {
  skipBlanks(line);
  return !line.empty() && isDigit(line.front()) && line.find("-->") != std::string_view::npos;
}

SrtTimingResult parseSrtTiming(std::string_view line) {
  SrtTimingResult result;
  skipBlanks(line);
  if (std::string_view error = readTimestamp(line, result.timing.startMs); !error.empty()) {
    result.error = error;
    return result;
  }
  skipBlanks(line);
  if (!line.starts_with("-->")) {
    result.error = kBadLayout;
    return result;
  }
  line.remove_prefix(3);
  skipBlanks(line);
  if (std::string_view error = readTimestamp(line, result.timing.endMs); !error.empty()) {
    result.error = error;
    return result;
  }
  // Anything after the end time (display coordinates) must be set apart by a blank.
  if (!line.empty() && !isBlank(line.front())) {
    result.error = kBadLayout;
    return result;
  }
  if (result.timing.endMs < result.timing.startMs) {
    result.error = "end before start";
    return result;
  }
  result.ok = true;
  return result;
}

}  // namespace zent
