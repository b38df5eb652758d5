#include "player_events.h"

#include <utility>

#include "zentplayer.h"

namespace zentplay {

std::string oneLine(const std::string& text) {
  std::string line;
  for (char c : text) {
    if (c == '\r') continue;
    if (c == '\n') {
      if (!line.empty() && line.back() != ' ') line += " / ";
      continue;
    }
    line += c;
  }
  while (line.size() >= 3 && line.compare(line.size() - 3, 3, " / ") == 0)
    line.resize(line.size() - 3);
  return line;
}

namespace {

std::string eventWords(const PlayerEvent& event) {
  if (event.isError) {
    if (event.type == ZENTPLAYER_ERROR_NETWORK_FAILED) return "network lost";
    return "error " + std::to_string(event.type);
  }
  switch (event.type) {
    case ZENTPLAYER_EVENT_PLAYBACK_READY:
      return "ready";
    case ZENTPLAYER_EVENT_PLAYBACK_PLAY:
      return "play";
    case ZENTPLAYER_EVENT_PLAYBACK_PAUSE:
      return "pause";
    case ZENTPLAYER_EVENT_PLAYBACK_STOP:
      return "stop";
    case ZENTPLAYER_EVENT_PLAYBACK_SEEK:
      return "seek " + std::to_string(event.param1) + " -> " + std::to_string(event.param2) + " ms";
    case ZENTPLAYER_EVENT_CAPTION_TEXT:
      return event.text.empty() ? std::string("caption cleared")
                                : "caption: " + oneLine(event.text);
    case ZENTPLAYER_EVENT_NETWORK_CONNECTED:
      return "network connected";
    case ZENTPLAYER_EVENT_END_OF_CONTENT:
      return "end of content";
    default:
      break;
  }
  std::string words = "event " + std::to_string(event.type) + " (" + std::to_string(event.param1) +
                      ", " + std::to_string(event.param2) + ")";
  if (!event.text.empty()) words += ": " + oneLine(event.text);
  return words;
}

}  // namespace

std::string describeEvent(const PlayerEvent& event) {
  return "player " + std::to_string(event.player) + ": " + eventWords(event);
}

void EventQueue::push(PlayerEvent event) {
  std::lock_guard lock(mutex_);
  events_.push_back(std::move(event));
}

std::vector<PlayerEvent> EventQueue::drain() {
  std::lock_guard lock(mutex_);
  std::vector<PlayerEvent> drained(std::make_move_iterator(events_.begin()),
                                   std::make_move_iterator(events_.end()));
  events_.clear();
  return drained;
}

EventQueue& listenerQueue() {
  static EventQueue queue;
  return queue;
}

void queueingListener(bool isError, int32_t playerIndex, int32_t type, int32_t param1,
                      int32_t param2, int32_t param3, int32_t param4, const char* stringInfo) {
  listenerQueue().push(PlayerEvent{isError, playerIndex, type, param1, param2, param3, param4,
                                   stringInfo != nullptr ? stringInfo : ""});
}

}  // namespace zentplay
