#pragma once

// Small text tools shared by the playlist and MPD readers: line splitting,
// strict number parsing, ISO 8601 dates and a bounded problem log.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "support/log_level.h"

namespace zent::manifest {

std::string_view trim(std::string_view text);
bool startsWith(std::string_view text, std::string_view prefix);
bool equalsIgnoreCase(std::string_view a, std::string_view b);

// The text without a leading UTF-8 byte-order mark.
std::string_view withoutBom(std::string_view text);

// Walks a text line by line; LF or CRLF (a lone CR also ends a line), each line
// trimmed of surrounding blanks. Line numbers start at 1.
class LineReader {
 public:
  explicit LineReader(std::string_view text) : rest_(text) {}
  bool next(std::string_view& line);
  std::size_t lineNumber() const { return lineNumber_; }

 private:
  std::string_view rest_;
  std::size_t lineNumber_ = 0;
  bool done_ = false;
};

// Digits only (no sign, no blanks), fitting int64.
std::optional<int64_t> parseDecimalInteger(std::string_view text);
// A finite decimal number, optional leading '-', optional fraction and exponent.
std::optional<double> parseDecimalNumber(std::string_view text);
// A positive frame rate: "25", "29.97" or a fraction "30000/1001".
std::optional<double> parseFrameRate(std::string_view text);

// "2024-03-01T12:00:00.250+01:00" and the like, as seconds since 1970 UTC.
// 'T', 't' or a blank between date and time; the fraction is optional; the
// offset is "Z", "+hh:mm", "+hhmm" or "+hh" (no offset is read as UTC).
std::optional<double> parseIso8601(std::string_view text);

// Collects the problems found in one document and logs them, one line each, as
// "<what> <where>: <problem>". After a few lines the rest are counted, not
// logged, so a garbage document cannot flood the host's log.
class ProblemLog {
 public:
  ProblemLog(std::string what, std::string where)
      : what_(std::move(what)), where_(std::move(where)) {}
  ~ProblemLog();
  ProblemLog(const ProblemLog&) = delete;
  ProblemLog& operator=(const ProblemLog&) = delete;

  void warning(std::string_view problem);
  void error(std::string_view problem);
  void warningAtLine(std::size_t line, std::string_view problem);

  std::size_t count() const { return count_; }

  static constexpr std::size_t kMaxLines = 20;

 private:
  void report(LogLevel level, std::string_view problem);

  std::string what_;
  std::string where_;
  std::size_t count_ = 0;
};

// Quotes a value for a log line, shortened when long.
std::string quoted(std::string_view value);

}  // namespace zent::manifest
