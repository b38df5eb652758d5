// Records every line the library hands to its log callback, so tests can wait
// for a message and check its level and text.
#ifndef ZENT_TESTS_SUPPORT_LOG_RECORDER_H
#define ZENT_TESTS_SUPPORT_LOG_RECORDER_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace zent::test {

struct RecordedLogLine {
  int32_t level = 0;  // 0 DEBUG .. 3 ERROR
  std::string line;   // copied during the call
  std::chrono::steady_clock::time_point at;
  std::thread::id thread;
  size_t sequence = 0;  // position since the last clear()

  std::string describe() const;  // `#2 ERROR +5ms: <line>`
};

using LogPredicate = std::function<bool(const RecordedLogLine&)>;

class LogRecorder {
 public:
  void record(int32_t level, const char* line);  // called by the callback

  // The first line at position >= `from` containing `fragment` (at `minLevel`
  // or above), waiting up to `timeout` for it.
  std::optional<RecordedLogLine> waitFor(const std::string& fragment,
                                         std::chrono::milliseconds timeout, size_t from = 0,
                                         int32_t minLevel = 0) const;
  std::optional<RecordedLogLine> waitFor(const LogPredicate& predicate,
                                         std::chrono::milliseconds timeout, size_t from = 0) const;

  // Lines containing `fragment` at `minLevel` or above, from position `from`.
  size_t count(const std::string& fragment, int32_t minLevel = 0, size_t from = 0) const;
  bool contains(const std::string& fragment, int32_t minLevel = 0, size_t from = 0) const {
    return count(fragment, minLevel, from) > 0;
  }
  size_t size() const;
  std::vector<RecordedLogLine> lines() const;
  void clear();
  // Every line (the last `limit` of them), for failure messages.
  std::string describe(size_t limit = 200) const;

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable arrived_;
  std::vector<RecordedLogLine> lines_;
  std::chrono::steady_clock::time_point epoch_ = std::chrono::steady_clock::now();
};

// The process-wide recorder behind logRecorderCallback.
LogRecorder& logRecorder();

}  // namespace zent::test

// The ZentPlayerLogCallback to install with NativeSetLogCallback: records into
// zent::test::logRecorder().
extern "C" void logRecorderCallback(int32_t level, const char* line);

#endif
