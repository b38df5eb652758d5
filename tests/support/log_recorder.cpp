#include "support/log_recorder.h"

namespace zent::test {
namespace {

const char* levelName(int32_t level) {
  static const char* const kNames[] = {"DEBUG", "INFO", "WARNING", "ERROR"};
  return level >= 0 && level < 4 ? kNames[level] : "LEVEL?";
}

}  // namespace

std::string RecordedLogLine::describe() const {
  return "#" + std::to_string(sequence) + " " + levelName(level) + ": " + line;
}

void LogRecorder::record(int32_t level, const char* line) {
  RecordedLogLine entry;
  entry.level = level;
  entry.line = line ? line : "";
  entry.at = std::chrono::steady_clock::now();
  entry.thread = std::this_thread::get_id();
  {
    std::lock_guard<std::mutex> lock(mutex_);
    entry.sequence = lines_.size();
    lines_.push_back(std::move(entry));
  }
  arrived_.notify_all();
}

std::optional<RecordedLogLine> LogRecorder::waitFor(const std::string& fragment,
                                                    std::chrono::milliseconds timeout, size_t from,
                                                    int32_t minLevel) const {
  return waitFor(
      [&](const RecordedLogLine& entry) {
        return entry.level >= minLevel && entry.line.find(fragment) != std::string::npos;
      },
      timeout, from);
}

std::optional<RecordedLogLine> LogRecorder::waitFor(const LogPredicate& predicate,
                                                    std::chrono::milliseconds timeout,
                                                    size_t from) const {
  std::unique_lock<std::mutex> lock(mutex_);
  std::optional<RecordedLogLine> found;
  size_t next = from;
  arrived_.wait_for(lock, timeout, [&] {
    for (; next < lines_.size(); ++next) {
      if (predicate(lines_[next])) {
        found = lines_[next];
        return true;
      }
    }
    return false;
  });
  return found;
}

size_t LogRecorder::count(const std::string& fragment, int32_t minLevel, size_t from) const {
  std::lock_guard<std::mutex> lock(mutex_);
  size_t matched = 0;
  for (size_t i = from; i < lines_.size(); ++i) {
    if (lines_[i].level >= minLevel && lines_[i].line.find(fragment) != std::string::npos) {
      ++matched;
    }
  }
  return matched;
}

size_t LogRecorder::size() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return lines_.size();
}

std::vector<RecordedLogLine> LogRecorder::lines() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return lines_;
}

void LogRecorder::clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  lines_.clear();
  epoch_ = std::chrono::steady_clock::now();
}

std::string LogRecorder::describe(size_t limit) const {
  std::lock_guard<std::mutex> lock(mutex_);
  if (lines_.empty()) return "no log lines recorded";
  std::string text = std::to_string(lines_.size()) + " log line(s)";
  size_t first = lines_.size() > limit ? lines_.size() - limit : 0;
  if (first > 0) text += ", the last " + std::to_string(limit);
  text += ":\n";
  for (size_t i = first; i < lines_.size(); ++i) {
    auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(lines_[i].at - epoch_).count();
    text += "  " + lines_[i].describe() + "  (+" + std::to_string(ms) + "ms)\n";
  }
  return text;
}

LogRecorder& logRecorder() {
  static LogRecorder* recorder = new LogRecorder;  // never destroyed: late callbacks stay safe
  return *recorder;
}

}  // namespace zent::test

extern "C" void logRecorderCallback(int32_t level, const char* line) {
  zent::test::logRecorder().record(level, line);
}
