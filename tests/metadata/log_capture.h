#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "support/logger.h"

namespace zent::testing {

// Collects the log lines of one level while it lives (through the host log
// callback), so tests can check what was reported.
class LogCapture {
 public:
  explicit LogCapture(LogLevel level) {
    Logger::resetForTesting();
    std::lock_guard<std::mutex> lock(mutex());
    lines().clear();
    wanted() = static_cast<int32_t>(level);
    Logger::setCallback(&LogCapture::record);
  }
  ~LogCapture() { Logger::resetForTesting(); }

  std::vector<std::string> taken() const {
    std::lock_guard<std::mutex> lock(mutex());
    return lines();
  }

 private:
  static void record(int32_t level, const char* line) {
    std::lock_guard<std::mutex> lock(mutex());
    if (level == wanted()) lines().emplace_back(line);
  }
  static std::mutex& mutex() {
    static std::mutex m;
    return m;
  }
  static std::vector<std::string>& lines() {
    static std::vector<std::string> l;
    return l;
  }
  static int32_t& wanted() {
    static int32_t w = 0;
    return w;
  }
};

}  // namespace zent::testing
