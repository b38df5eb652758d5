#include "support/hls_text.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace zent::test {
namespace {

// Calls `line` for each line of `text` without its line end.
template <typename F>
void forEachLine(std::string_view text, F&& line) {
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string_view::npos) end = text.size();
    std::string_view one = text.substr(start, end - start);
    if (!one.empty() && one.back() == '\r') one.remove_suffix(1);
    line(one);
    start = end + 1;
  }
}

}  // namespace

std::vector<HlsSegment> parseMediaSegments(std::string_view playlist) {
  std::vector<HlsSegment> segments;
  double pendingDuration = -1;
  forEachLine(playlist, [&](std::string_view line) {
    constexpr std::string_view kExtinf = "#EXTINF:";
    if (line.substr(0, kExtinf.size()) == kExtinf) {
      std::string number(line.substr(kExtinf.size()));
      pendingDuration = std::strtod(number.c_str(), nullptr);
    } else if (!line.empty() && line[0] != '#' && pendingDuration >= 0) {
      segments.push_back({pendingDuration, std::string(line)});
      pendingDuration = -1;
    }
  });
  return segments;
}

std::string iso8601Utc(int64_t epochMs) {
  std::time_t seconds = static_cast<std::time_t>(epochMs / 1000);
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  char text[96];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", utc.tm_year + 1900,
                utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec,
                static_cast<int>(epochMs % 1000));
  return text;
}

}  // namespace zent::test
