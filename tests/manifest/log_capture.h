#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "support/logger.h"

namespace zent::testing {

// Collects the lines the library logs while it is alive (through the host
// log callback, as a host would see them).
class LogCapture {
 public:
  struct Line {
    LogLevel level;
    std::string text;
  };

  LogCapture() {
    Logger::resetForTesting();
    Logger::setShowTimestamp(false);
    clear();
    Logger::setCallback(&LogCapture::record);
  }
  ~LogCapture() { Logger::resetForTesting(); }

  static void clear() {
    std::lock_guard<std::mutex> lock(mutex());
    lines().clear();
  }
  static std::vector<Line> all() {
    std::lock_guard<std::mutex> lock(mutex());
    return lines();
  }
  static std::vector<Line> atLeast(LogLevel level) {
    std::vector<Line> found;
    for (Line& line : all()) {
      if (static_cast<int>(line.level) >= static_cast<int>(level)) found.push_back(line);
    }
    return found;
  }
  static std::size_t count(LogLevel level) {
    std::size_t n = 0;
    for (const Line& line : all()) n += line.level == level ? 1 : 0;
    return n;
  }
  // Every WARNING and ERROR line, joined, for failure messages.
  static std::string problems() {
    std::string text;
    for (const Line& line : atLeast(LogLevel::WARNING)) text += line.text + "\n";
    return text;
  }

 private:
  static void record(int32_t level, const char* line) {
    std::lock_guard<std::mutex> lock(mutex());
    lines().push_back({static_cast<LogLevel>(level), line});
  }
  static std::mutex& mutex() {
    static std::mutex m;
    return m;
  }
  static std::vector<Line>& lines() {
    static std::vector<Line> l;
    return l;
  }
};

}  // namespace zent::testing
