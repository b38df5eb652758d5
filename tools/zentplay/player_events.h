#pragma once

// Events from the library's listener, copied and queued for the render loop.
// The listener runs on library threads (and on the host's own thread during
// transport calls); the render loop drains the queue once per frame.

#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

namespace zentplay {

struct PlayerEvent {
  bool isError = false;
  int32_t player = 0;
  int32_t type = 0;
  int32_t param1 = 0;
  int32_t param2 = 0;
  int32_t param3 = 0;
  int32_t param4 = 0;
  std::string text;
};

// The event in words: "player 0: ready", "player 0: seek 4000 -> 9000 ms",
// "player 0: caption: Hello", "player 0: network lost", ...
std::string describeEvent(const PlayerEvent& event);

// Multi-line text (captions, subtitles) on one console line, lines joined by " / ".
std::string oneLine(const std::string& text);

class EventQueue {
 public:
  void push(PlayerEvent event);
  // Everything queued so far, oldest first; the queue is left empty.
  std::vector<PlayerEvent> drain();

 private:
  std::mutex mutex_;
  std::deque<PlayerEvent> events_;
};

// The process-wide queue the listener below feeds (the listener has no user
// pointer, so it needs one fixed place to put events).
EventQueue& listenerQueue();

// The listener handed to NativeInit: copies the event into listenerQueue()
// and returns at once. It never calls into the library.
void queueingListener(bool isError, int32_t playerIndex, int32_t type, int32_t param1,
                      int32_t param2, int32_t param3, int32_t param4, const char* stringInfo);

}  // namespace zentplay
