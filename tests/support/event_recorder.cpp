#include "support/event_recorder.h"

#include <map>
#include <sstream>

namespace zent::test {
namespace {

std::string threadText(std::thread::id id) {
  std::ostringstream text;
  text << id;
  return text.str();
}

bool playerMatches(int32_t wanted, int32_t actual) {
  return wanted == kAnyPlayer || wanted == actual;
}

}  // namespace

std::string eventName(bool isError, int32_t type) {
  if (isError) {
    if (type == ZENTPLAYER_ERROR_NETWORK_FAILED) return "NETWORK_FAILED";
    return "ERROR_" + std::to_string(type);
  }
  static const std::map<int32_t, const char*> kNames = {
      {ZENTPLAYER_EVENT_PLAYBACK_READY, "PLAYBACK_READY"},
      {ZENTPLAYER_EVENT_PLAYBACK_PLAY, "PLAYBACK_PLAY"},
      {ZENTPLAYER_EVENT_PLAYBACK_PAUSE, "PLAYBACK_PAUSE"},
      {ZENTPLAYER_EVENT_PLAYBACK_STOP, "PLAYBACK_STOP"},
      {ZENTPLAYER_EVENT_PLAYBACK_SEEK, "PLAYBACK_SEEK"},
      {ZENTPLAYER_EVENT_CAPTION_TEXT, "CAPTION_TEXT"},
      {ZENTPLAYER_EVENT_NETWORK_CONNECTED, "NETWORK_CONNECTED"},
      {ZENTPLAYER_EVENT_END_OF_CONTENT, "END_OF_CONTENT"}};
  auto it = kNames.find(type);
  return it != kNames.end() ? it->second : "EVENT_" + std::to_string(type);
}

EventPredicate isEvent(int32_t player, int32_t type) {
  return [=](const RecordedEvent& e) {
    return !e.isError && e.type == type && playerMatches(player, e.playerIndex);
  };
}

EventPredicate isError(int32_t player, int32_t type) {
  return [=](const RecordedEvent& e) {
    return e.isError && e.type == type && playerMatches(player, e.playerIndex);
  };
}

std::string RecordedEvent::describe() const {
  std::ostringstream text;
  text << "#" << sequence << " " << (isError ? "error " : "event ") << eventName(isError, type)
       << "(" << type << ") player " << playerIndex << " params [" << params[0] << "," << params[1]
       << "," << params[2] << "," << params[3] << "] text "
       << (textWasNull ? std::string("NULL") : "\"" + this->text + "\"") << " thread "
       << threadText(thread);
  return text.str();
}

void EventRecorder::record(bool isError, int32_t playerIndex, int32_t type, int32_t param1,
                           int32_t param2, int32_t param3, int32_t param4, const char* stringInfo) {
  RecordedEvent event;
  event.isError = isError;
  event.playerIndex = playerIndex;
  event.type = type;
  event.params[0] = param1;
  event.params[1] = param2;
  event.params[2] = param3;
  event.params[3] = param4;
  event.textWasNull = stringInfo == nullptr;
  event.text = stringInfo ? stringInfo : "";
  event.at = std::chrono::steady_clock::now();
  event.thread = std::this_thread::get_id();
  {
    std::lock_guard<std::mutex> lock(mutex_);
    event.sequence = events_.size();
    events_.push_back(std::move(event));
  }
  arrived_.notify_all();
}

std::optional<RecordedEvent> EventRecorder::waitFor(const EventPredicate& predicate,
                                                    std::chrono::milliseconds timeout,
                                                    size_t from) const {
  std::unique_lock<std::mutex> lock(mutex_);
  std::optional<RecordedEvent> found;
  size_t next = from;
  arrived_.wait_for(lock, timeout, [&] {
    for (; next < events_.size(); ++next) {
      if (predicate(events_[next])) {
        found = events_[next];
        return true;
      }
    }
    return false;
  });
  return found;
}

bool EventRecorder::waitForCount(const EventPredicate& predicate, size_t count,
                                 std::chrono::milliseconds timeout, size_t from) const {
  std::unique_lock<std::mutex> lock(mutex_);
  size_t next = from;
  size_t matched = 0;
  return arrived_.wait_for(lock, timeout, [&] {
    for (; next < events_.size(); ++next) matched += predicate(events_[next]) ? 1 : 0;
    return matched >= count;
  });
}

size_t EventRecorder::count(const EventPredicate& predicate, size_t from) const {
  std::lock_guard<std::mutex> lock(mutex_);
  size_t matched = 0;
  for (size_t i = from; i < events_.size(); ++i) matched += predicate(events_[i]) ? 1 : 0;
  return matched;
}

size_t EventRecorder::size() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return events_.size();
}

std::vector<RecordedEvent> EventRecorder::events() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return events_;
}

std::vector<int32_t> EventRecorder::typesFor(int32_t player, size_t from) const {
  std::lock_guard<std::mutex> lock(mutex_);
  std::vector<int32_t> types;
  for (size_t i = from; i < events_.size(); ++i) {
    if (playerMatches(player, events_[i].playerIndex)) types.push_back(events_[i].type);
  }
  return types;
}

void EventRecorder::clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  events_.clear();
  epoch_ = std::chrono::steady_clock::now();
}

std::string EventRecorder::describe() const {
  std::lock_guard<std::mutex> lock(mutex_);
  if (events_.empty()) return "no events recorded";
  std::string text = std::to_string(events_.size()) + " event(s):\n";
  for (const RecordedEvent& event : events_) {
    auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(event.at - epoch_).count();
    text += "  " + event.describe() + " at +" + std::to_string(ms) + "ms\n";
  }
  return text;
}

EventRecorder& eventRecorder() {
  static EventRecorder* recorder = new EventRecorder;  // never destroyed: late callbacks stay safe
  return *recorder;
}

}  // namespace zent::test

extern "C" void eventRecorderListener(bool isError, int32_t playerIndex, int32_t type,
                                      int32_t param1, int32_t param2, int32_t param3,
                                      int32_t param4, const char* stringInfo) {
  zent::test::eventRecorder().record(isError, playerIndex, type, param1, param2, param3, param4,
                                     stringInfo);
}
