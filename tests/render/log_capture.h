#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "support/logger.h"

namespace zent::test {

// Collects the library's log lines for the lifetime of the object.
class LogCapture {
 public:
  LogCapture() {
    Logger::resetForTesting();
    Logger::setShowTimestamp(false);
    std::lock_guard<std::mutex> lock(mutex());
    lines().clear();
    Logger::setCallback(&LogCapture::record);
  }
  ~LogCapture() { Logger::resetForTesting(); }

  // Lines at `level` containing `text`.
  int count(LogLevel level, const std::string& text = "") const {
    std::lock_guard<std::mutex> lock(mutex());
    int n = 0;
    for (const auto& [lineLevel, line] : lines()) {
      if (lineLevel == static_cast<int32_t>(level) && line.find(text) != std::string::npos) ++n;
    }
    return n;
  }
  std::vector<std::string> all() const {
    std::lock_guard<std::mutex> lock(mutex());
    std::vector<std::string> out;
    for (const auto& entry : lines()) out.push_back(entry.second);
    return out;
  }

 private:
  static void record(int32_t level, const char* line) {
    std::lock_guard<std::mutex> lock(mutex());
    lines().emplace_back(level, line);
  }
  static std::mutex& mutex() {
    static std::mutex m;
    return m;
  }
  static std::vector<std::pair<int32_t, std::string>>& lines() {
    static std::vector<std::pair<int32_t, std::string>> l;
    return l;
  }
};

}  // namespace zent::test
