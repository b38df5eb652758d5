// Records every event the library raises through its listener, so tests can
// wait for one (with a timeout, never a sleep) and check order and contents.
#ifndef ZENT_TESTS_SUPPORT_EVENT_RECORDER_H
#define ZENT_TESTS_SUPPORT_EVENT_RECORDER_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "support/log_recorder.h"
#include "zentplayer.h"

namespace zent::test {

struct RecordedEvent {
  bool isError = false;
  int32_t playerIndex = 0;
  int32_t type = 0;
  int32_t params[4] = {0, 0, 0, 0};
  std::string text;  // stringInfo copied during the call ("" for NULL)
  bool textWasNull = false;
  std::chrono::steady_clock::time_point at;
  std::thread::id thread;
  size_t sequence = 0;  // position since the last clear()

  // e.g. `#3 event PLAYBACK_READY(0) player 0 params [0,0,0,0] text "" thread 1407..`
  std::string describe() const;
};

using EventPredicate = std::function<bool(const RecordedEvent&)>;

constexpr int32_t kAnyPlayer = std::numeric_limits<int32_t>::min();

// A (non-error) event of `type` from `player` (kAnyPlayer for any).
EventPredicate isEvent(int32_t player, int32_t type);
// An error (isError true) of `type` from `player` (kAnyPlayer for any).
EventPredicate isError(int32_t player, int32_t type);

// "PLAYBACK_READY", "NETWORK_FAILED", ... or the number for unknown codes.
std::string eventName(bool isError, int32_t type);

class EventRecorder {
 public:
  // Called by the listener.
  void record(bool isError, int32_t playerIndex, int32_t type, int32_t param1, int32_t param2,
              int32_t param3, int32_t param4, const char* stringInfo);

  // The first event at position >= `from` matching `predicate`, waiting up to
  // `timeout` for it to arrive.
  std::optional<RecordedEvent> waitFor(const EventPredicate& predicate,
                                       std::chrono::milliseconds timeout, size_t from = 0) const;
  // Waits until at least `count` events match.
  bool waitForCount(const EventPredicate& predicate, size_t count,
                    std::chrono::milliseconds timeout, size_t from = 0) const;

  size_t count(const EventPredicate& predicate, size_t from = 0) const;
  size_t size() const;  // use as a mark: later waits pass it as `from`
  std::vector<RecordedEvent> events() const;
  // Type codes of `player`'s events (errors included) from `from`, in order.
  std::vector<int32_t> typesFor(int32_t player, size_t from = 0) const;
  // Forgets every event and restarts the clock used by describe().
  void clear();
  // Every event, one per line, for failure messages.
  std::string describe() const;

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable arrived_;
  std::vector<RecordedEvent> events_;
  std::chrono::steady_clock::time_point epoch_ = std::chrono::steady_clock::now();
};

// The process-wide recorder behind eventRecorderListener.
EventRecorder& eventRecorder();

}  // namespace zent::test

// The ZentPlayerListener to install with NativeInit: records into
// zent::test::eventRecorder().
extern "C" void eventRecorderListener(bool isError, int32_t playerIndex, int32_t type,
                                      int32_t param1, int32_t param2, int32_t param3,
                                      int32_t param4, const char* stringInfo);

#endif
