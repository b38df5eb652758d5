#include "support/log_level.h"

namespace zent {

std::optional<LogLevel> logLevelFromRaw(int64_t raw) {
  if (raw < 0 || raw > 4) return std::nullopt;
  return static_cast<LogLevel>(raw);
}

const char* description(LogLevel level) {
  switch (level) {
    case LogLevel::DEBUG:
      return "DEBUG";
    case LogLevel::INFO:
      return "INFO";
    case LogLevel::WARNING:
      return "WARNING";
    case LogLevel::ERROR:
      return "ERROR";
    case LogLevel::NONE:
      return "NONE";
  }
  return "NONE";
}

}  // namespace zent
