#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "support/log_level.h"

namespace zent {

// Host-supplied sink for log lines (the line without its trailing newline).
using LogCallback = void (*)(int32_t level, const char* line);

// The library's single logging facility. Every line goes to the host's log
// callback when one is installed, and to standard error otherwise. A line logged while the
// thread holds a library lock is delivered when the outermost lock is released,
// so the host's callback never runs under a library lock.
class Logger {
 public:
  static void log(LogLevel level, std::string_view message);

  // Layout of one line: "[yyyy-MM-dd HH:mm:ss] ZENTPLAYER - Linux - LEVEL: message",
  // the timestamp and platform pieces depending on the switches.
  static std::string formatLine(LogLevel level, std::string_view message, bool showTimestamp,
                                bool showPlatform);
  static bool passesFilter(LogLevel level);

  static void setCurrentLogLevel(LogLevel level);
  static LogLevel currentLogLevel();
  static void setShowTimestamp(bool show);
  static bool showTimestamp();
  static void setShowPlatform(bool show);
  static bool showPlatform();
  static void setCallback(LogCallback callback);

  // Restores the defaults: DEBUG, timestamp on, platform on, no callback.
  static void resetForTesting();
};

// "PlayerIndex: <index><text>": the prefix every player line carries; text starts with " | ".
std::string playerLine(int64_t playerIndex, std::string_view text);
void logPlayer(LogLevel level, int64_t playerIndex, std::string_view text);

}  // namespace zent
