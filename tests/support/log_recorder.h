// Records every line the library hands to its log callback, so tests can wait
// for a message and check its level and text.
#ifndef ZENT_TESTS_SUPPORT_LOG_RECORDER_H
#define ZENT_TESTS_SUPPORT_LOG_RECORDER_H

#include <cstdint>

#include "support/recorder.h"

namespace zent::test {

struct RecordedLogLine {
  int32_t level = 0;  // 0 DEBUG .. 3 ERROR
  std::string line;   // copied during the call
  size_t sequence = 0;

  std::string describe() const {
    return "#" + std::to_string(sequence) + " level " + std::to_string(level) + ": " + line;
  }
};

class LogRecorder : public Recorder<RecordedLogLine> {
 public:
  using Recorder::count;
  using Recorder::waitFor;
  // Lines containing `fragment` at `minLevel` or above, from position `from`.
  std::optional<RecordedLogLine> waitFor(const std::string& fragment,
                                         std::chrono::milliseconds timeout, size_t from = 0,
                                         int32_t minLevel = 0) const {
    return waitFor(matching(fragment, minLevel), timeout, from);
  }
  size_t count(const std::string& fragment, int32_t minLevel = 0, size_t from = 0) const {
    return count(matching(fragment, minLevel), from);
  }
  bool contains(const std::string& fragment, int32_t minLevel = 0, size_t from = 0) const {
    return count(fragment, minLevel, from) > 0;
  }
  std::vector<RecordedLogLine> lines() const { return entries(); }

 private:
  static Predicate matching(const std::string& fragment, int32_t minLevel) {
    return [=](const RecordedLogLine& entry) {
      return entry.level >= minLevel && entry.line.find(fragment) != std::string::npos;
    };
  }
};

// The process-wide recorder behind logRecorderCallback (never destroyed: late
// callbacks stay safe).
inline LogRecorder& logRecorder() {
  static LogRecorder* recorder = new LogRecorder;
  return *recorder;
}

}  // namespace zent::test

// The ZentPlayerLogCallback to install with NativeSetLogCallback.
extern "C" inline void logRecorderCallback(int32_t level, const char* line) {
  zent::test::logRecorder().record({level, line ? line : ""});
}

#endif
