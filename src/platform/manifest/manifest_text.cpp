#include "platform/manifest/manifest_text.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>

#include "support/logger.h"

namespace zent::manifest {

namespace {
bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v';
}
}  // namespace

std::string_view trim(std::string_view text) {
  // Loops rather than find_first_not_of, which calls memchr once per byte.
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

bool startsWith(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

bool equalsIgnoreCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    char x = a[i] >= 'A' && a[i] <= 'Z' ? static_cast<char>(a[i] - 'A' + 'a') : a[i];
    char y = b[i] >= 'A' && b[i] <= 'Z' ? static_cast<char>(b[i] - 'A' + 'a') : b[i];
    if (x != y) return false;
  }
  return true;
}

std::string_view withoutBom(std::string_view text) {
  return startsWith(text, "\xEF\xBB\xBF") ? text.substr(3) : text;
}

bool LineReader::next(std::string_view& line) {
  if (done_) return false;
  // A plain loop: find_first_of calls memchr on the delimiter set once per byte.
  std::size_t end = 0;
  while (end < rest_.size() && rest_[end] != '\n' && rest_[end] != '\r') ++end;
  ++lineNumber_;
  if (end == rest_.size()) {
    line = trim(rest_);
    rest_ = {};
    done_ = true;
    return true;
  }
  line = trim(rest_.substr(0, end));
  std::size_t skip =
      (rest_[end] == '\r' && end + 1 < rest_.size() && rest_[end + 1] == '\n') ? 2 : 1;
  rest_ = rest_.substr(end + skip);
  if (rest_.empty()) done_ = true;
  return true;
}

std::optional<int64_t> parseDecimalInteger(std::string_view text) {
  if (text.empty()) return std::nullopt;
  for (char c : text) {
    if (c < '0' || c > '9') return std::nullopt;
  }
  int64_t value = 0;
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (ec != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::optional<double> parseDecimalNumber(std::string_view text) {
  if (text.empty()) return std::nullopt;
  // from_chars also reads "inf", "nan" and hex-free forms like ".5"; only
  // plain decimal notation is wanted here.
  for (char c : text) {
    bool allowed =
        (c >= '0' && c <= '9') || c == '.' || c == '-' || c == 'e' || c == 'E' || c == '+';
    if (!allowed) return std::nullopt;
  }
  if (text.front() == '+') return std::nullopt;
  double value = 0.0;
  auto [end, ec] =
      std::from_chars(text.data(), text.data() + text.size(), value, std::chars_format::general);
  if (ec != std::errc() || end != text.data() + text.size()) return std::nullopt;
  if (!std::isfinite(value)) return std::nullopt;
  return value;
}

std::optional<double> parseFrameRate(std::string_view text) {
  text = trim(text);
  double value = 0.0;
  std::size_t slash = text.find('/');
  if (slash == std::string_view::npos) {
    auto number = parseDecimalNumber(text);
    if (!number) return std::nullopt;
    value = *number;
  } else {
    auto numerator = parseDecimalNumber(trim(text.substr(0, slash)));
    auto denominator = parseDecimalNumber(trim(text.substr(slash + 1)));
    if (!numerator || !denominator || *denominator <= 0.0) return std::nullopt;
    value = *numerator / *denominator;
  }
  // The value ends up in a 32-bit float; anything that does not fit is as bad as text.
  if (!std::isfinite(value) || value < 0.0 || value > std::numeric_limits<float>::max()) {
    return std::nullopt;
  }
  return value;
}

namespace {

// Days from 1970-01-01 to the given proleptic Gregorian date.
int64_t daysFromCivil(int64_t year, unsigned month, unsigned day) {
  year -= month <= 2 ? 1 : 0;
  const int64_t era = (year >= 0 ? year : year - 399) / 400;
  const auto yearOfEra = static_cast<unsigned>(year - era * 400);
  const unsigned dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
  const unsigned dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + static_cast<int64_t>(dayOfEra) - 719468;
}

unsigned daysInMonth(int64_t year, unsigned month) {
  static constexpr unsigned kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month == 2 && leap ? 29 : kDays[month - 1];
}

class Cursor {
 public:
  explicit Cursor(std::string_view text) : text_(text) {}
  bool atEnd() const { return pos_ >= text_.size(); }
  char peek() const { return atEnd() ? '\0' : text_[pos_]; }
  bool take(char c) {
    if (peek() != c) return false;
    ++pos_;
    return true;
  }
  // Exactly `count` digits.
  std::optional<unsigned> digits(std::size_t count) {
    if (pos_ + count > text_.size()) return std::nullopt;
    unsigned value = 0;
    for (std::size_t i = 0; i < count; ++i) {
      char c = text_[pos_ + i];
      if (c < '0' || c > '9') return std::nullopt;
      value = value * 10 + static_cast<unsigned>(c - '0');
    }
    pos_ += count;
    return value;
  }
  std::string_view rest() const { return text_.substr(pos_); }
  void skip(std::size_t count) { pos_ += count; }

 private:
  std::string_view text_;
  std::size_t pos_ = 0;
};

}  // namespace

std::optional<double> parseIso8601(std::string_view text) {
  Cursor in(trim(text));
  auto year = in.digits(4);
  if (!year || !in.take('-')) return std::nullopt;
  auto month = in.digits(2);
  if (!month || !in.take('-')) return std::nullopt;
  auto day = in.digits(2);
  if (!day) return std::nullopt;
  if (!in.take('T') && !in.take('t') && !in.take(' ')) return std::nullopt;
  auto hour = in.digits(2);
  if (!hour || !in.take(':')) return std::nullopt;
  auto minute = in.digits(2);
  if (!minute || !in.take(':')) return std::nullopt;
  auto second = in.digits(2);
  if (!second) return std::nullopt;
  if (*month < 1 || *month > 12 || *day < 1 || *day > daysInMonth(*year, *month) || *hour > 23 ||
      *minute > 59 || *second > 60) {
    return std::nullopt;
  }
  double fraction = 0.0;
  if (in.take('.') || in.take(',')) {
    double scale = 0.1;
    bool any = false;
    while (in.peek() >= '0' && in.peek() <= '9') {
      fraction += (in.peek() - '0') * scale;
      scale /= 10.0;
      in.skip(1);
      any = true;
    }
    if (!any) return std::nullopt;
  }
  int offsetSeconds = 0;
  if (in.take('Z') || in.take('z')) {
  } else if (in.peek() == '+' || in.peek() == '-') {
    int sign = in.peek() == '-' ? -1 : 1;
    in.skip(1);
    auto offsetHours = in.digits(2);
    if (!offsetHours || *offsetHours > 23) return std::nullopt;
    unsigned offsetMinutes = 0;
    if (!in.atEnd()) {
      in.take(':');
      auto minutes = in.digits(2);
      if (!minutes || *minutes > 59) return std::nullopt;
      offsetMinutes = *minutes;
    }
    offsetSeconds = sign * static_cast<int>(*offsetHours * 3600 + offsetMinutes * 60);
  }
  if (!in.atEnd()) return std::nullopt;
  int64_t days = daysFromCivil(*year, *month, *day);
  double seconds = static_cast<double>(days) * 86400.0 + *hour * 3600.0 + *minute * 60.0 + *second -
                   offsetSeconds;
  return seconds + fraction;
}

ProblemLog::~ProblemLog() {
  if (count_ > kMaxLines) {
    report(LogLevel::WARNING, std::to_string(count_ - kMaxLines) + " more problems not logged");
  }
}

void ProblemLog::warning(std::string_view problem) {
  if (++count_ <= kMaxLines) report(LogLevel::WARNING, problem);
}

void ProblemLog::error(std::string_view problem) {
  if (++count_ <= kMaxLines) report(LogLevel::ERROR, problem);
}

void ProblemLog::warningAtLine(std::size_t line, std::string_view problem) {
  if (++count_ > kMaxLines) return;
  std::string text = "line " + std::to_string(line) + ": ";
  text.append(problem);
  report(LogLevel::WARNING, text);
}

void ProblemLog::report(LogLevel level, std::string_view problem) {
  if (!Logger::passesFilter(level)) return;
  std::string line = what_;
  line.append(" ").append(where_).append(": ").append(problem);
  Logger::log(level, line);
}

std::string quoted(std::string_view value) {
  constexpr std::size_t kMax = 64;
  std::string out = "\"";
  for (char c : value.substr(0, kMax)) {
    // Control bytes of a garbage document would garble the host's log.
    out.push_back(static_cast<unsigned char>(c) < 0x20 ? '?' : c);
  }
  if (value.size() > kMax) out.append("...");
  out.push_back('"');
  return out;
}

}  // namespace zent::manifest
