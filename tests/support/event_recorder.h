// Records every event the library raises through its listener, so tests can
// wait for one (with a timeout, never a sleep) and check order and contents.
#ifndef ZENT_TESTS_SUPPORT_EVENT_RECORDER_H
#define ZENT_TESTS_SUPPORT_EVENT_RECORDER_H

#include <cstdint>

#include "support/log_recorder.h"
#include "support/recorder.h"
#include "zentplayer.h"

namespace zent::test {

struct RecordedEvent {
  bool isError = false;
  int32_t playerIndex = 0;
  int32_t type = 0;
  int32_t params[4] = {0, 0, 0, 0};
  std::string text;  // stringInfo copied during the call ("" for NULL)
  size_t sequence = 0;

  std::string describe() const {
    return "#" + std::to_string(sequence) + (isError ? " error " : " event ") +
           std::to_string(type) + " player " + std::to_string(playerIndex) + " params [" +
           std::to_string(params[0]) + "," + std::to_string(params[1]) + "," +
           std::to_string(params[2]) + "," + std::to_string(params[3]) + "] text \"" + text + "\"";
  }
};

using EventPredicate = Recorder<RecordedEvent>::Predicate;

// A (non-error) event, or an error, of `type` from `player`.
inline EventPredicate isEvent(int32_t player, int32_t type) {
  return [=](const RecordedEvent& e) {
    return !e.isError && e.type == type && e.playerIndex == player;
  };
}
inline EventPredicate isError(int32_t player, int32_t type) {
  return [=](const RecordedEvent& e) {
    return e.isError && e.type == type && e.playerIndex == player;
  };
}

class EventRecorder : public Recorder<RecordedEvent> {
 public:
  std::vector<RecordedEvent> events() const { return entries(); }
  // Type codes of `player`'s events (errors included) from `from`, in order.
  std::vector<int32_t> typesFor(int32_t player, size_t from = 0) const {
    std::vector<int32_t> types;
    for (const RecordedEvent& e : entries()) {
      if (e.sequence >= from && e.playerIndex == player) types.push_back(e.type);
    }
    return types;
  }
};

// The process-wide recorder behind eventRecorderListener (never destroyed:
// late callbacks stay safe).
inline EventRecorder& eventRecorder() {
  static EventRecorder* recorder = new EventRecorder;
  return *recorder;
}

}  // namespace zent::test

// The ZentPlayerListener to install with NativeInit.
extern "C" inline void eventRecorderListener(bool isError, int32_t playerIndex, int32_t type,
                                             int32_t param1, int32_t param2, int32_t param3,
                                             int32_t param4, const char* stringInfo) {
  zent::test::eventRecorder().record(
      {isError, playerIndex, type, {param1, param2, param3, param4}, stringInfo ? stringInfo : ""});
}

#endif
