#pragma once

#include <cstdint>
#include <optional>

namespace zent {

// Severity of a log line; the raw values are the ones hosts pass to NativeSetLogSystemLevel.
enum class LogLevel : int32_t { DEBUG = 0, INFO = 1, WARNING = 2, ERROR = 3, NONE = 4 };

// The level for a raw value 0..4, or nothing for any other number (negative ones included).
std::optional<LogLevel> logLevelFromRaw(int64_t raw);

// "DEBUG", "INFO", "WARNING", "ERROR" or "NONE".
const char* description(LogLevel level);

}  // namespace zent
