#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "support/logger.h"

namespace zent::testing {

// Records the library's log lines for the lifetime of the object (one at a time).
class LogCapture {
 public:
  LogCapture() {
    lines().clear();
    Logger::resetForTesting();
    Logger::setShowTimestamp(false);
    Logger::setCallback(&record);
  }
  ~LogCapture() { Logger::resetForTesting(); }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  // The lines logged at that level, in order.
  std::vector<std::string> at(LogLevel level) const {
    std::vector<std::string> found;
    for (const auto& [lineLevel, line] : lines()) {
      if (lineLevel == static_cast<int32_t>(level)) found.push_back(line);
    }
    return found;
  }

 private:
  static std::vector<std::pair<int32_t, std::string>>& lines() {
    static std::vector<std::pair<int32_t, std::string>> recorded;
    return recorded;
  }
  static void record(int32_t level, const char* line) { lines().emplace_back(level, line); }
};

}  // namespace zent::testing
