#include "support/logger.h"

#include <atomic>
#include <cstdio>
#include <ctime>

#include "support/deferred_delivery.h"

namespace zent {
namespace {

std::atomic<LogLevel> gLevel{LogLevel::DEBUG};
std::atomic<bool> gShowTimestamp{true};
std::atomic<bool> gShowPlatform{true};
std::atomic<LogCallback> gCallback{nullptr};

std::string timestamp() {
  std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
  return text;
}

// A host that installed a callback gets its lines there; otherwise they go to
// standard error.
void emit(LogLevel level, const std::string& line) {
  if (LogCallback callback = gCallback.load()) {
    callback(static_cast<int32_t>(level), line.c_str());
    return;
  }
  // One write per line keeps lines from different threads whole.
  std::string withNewline = line + "\n";
  std::fwrite(withNewline.data(), 1, withNewline.size(), stderr);
}

}  // namespace

bool Logger::passesFilter(LogLevel level) {
  LogLevel current = gLevel.load();
  if (current == LogLevel::NONE) return false;
  return static_cast<int32_t>(current) <= static_cast<int32_t>(level);
}

std::string Logger::formatLine(LogLevel level, std::string_view message, bool showTimestamp,
                               bool showPlatform) {
  std::string line;
  line.reserve(message.size() + 64);
  if (showTimestamp) line.append("[").append(timestamp()).append("] ");
  line.append("ZENTPLAYER");
  if (showPlatform) line.append(" - Linux");
  line.append(" - ").append(description(level)).append(": ").append(message);
  return line;
}

void Logger::log(LogLevel level, std::string_view message) {
  if (!passesFilter(level)) return;
  std::string line = formatLine(level, message, gShowTimestamp.load(), gShowPlatform.load());
  DeferredDelivery::run([level, line = std::move(line)] { emit(level, line); });
}

void Logger::setCurrentLogLevel(LogLevel level) {
  gLevel.store(level);
}
LogLevel Logger::currentLogLevel() {
  return gLevel.load();
}
void Logger::setShowTimestamp(bool show) {
  gShowTimestamp.store(show);
}
bool Logger::showTimestamp() {
  return gShowTimestamp.load();
}
void Logger::setShowPlatform(bool show) {
  gShowPlatform.store(show);
}
bool Logger::showPlatform() {
  return gShowPlatform.load();
}
void Logger::setCallback(LogCallback callback) {
  gCallback.store(callback);
}

void Logger::resetForTesting() {
  gLevel.store(LogLevel::DEBUG);
  gShowTimestamp.store(true);
  gShowPlatform.store(true);
  gCallback.store(nullptr);
}

std::string playerLine(int64_t playerIndex, std::string_view text) {
  std::string line = "PlayerIndex: " + std::to_string(playerIndex);
  line.append(text);
  return line;
}

void logPlayer(LogLevel level, int64_t playerIndex, std::string_view text) {
  if (!Logger::passesFilter(level)) return;
  Logger::log(level, playerLine(playerIndex, text));
}

}  // namespace zent
