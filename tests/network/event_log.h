#pragma once

// Records what the library sends to the host's listener, for the tests of one
// process. The listener is a plain function pointer, so the record is global.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace zent::testing {

struct HostEvent {
  bool isError = false;
  int32_t playerIndex = 0;
  int32_t type = 0;
  int32_t param1 = 0;
  int32_t param2 = 0;
  int32_t param3 = 0;
  int32_t param4 = 0;
  std::string text;
};

class EventLog {
 public:
  static EventLog& instance() {
    static EventLog* log = new EventLog();
    return *log;
  }
  // The function to install as the player listener.
  static void listener(bool isError, int32_t playerIndex, int32_t type, int32_t param1,
                       int32_t param2, int32_t param3, int32_t param4, const char* text) {
    instance().add(
        {isError, playerIndex, type, param1, param2, param3, param4, text != nullptr ? text : ""});
  }

  void clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    events_.clear();
  }
  std::vector<HostEvent> events() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return events_;
  }
  // Events of one type (and error flag), in arrival order.
  std::vector<HostEvent> ofType(int32_t type, bool isError = false) const {
    std::vector<HostEvent> found;
    for (const HostEvent& event : events()) {
      if (event.type == type && event.isError == isError) found.push_back(event);
    }
    return found;
  }
  // Waits until `count` events match, or the timeout passes.
  bool waitFor(const std::function<bool(const HostEvent&)>& matches, std::size_t count,
               std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] {
      std::size_t seen = 0;
      for (const HostEvent& event : events_) seen += matches(event) ? 1 : 0;
      return seen >= count;
    });
  }
  bool waitForType(int32_t type, bool isError, std::size_t count,
                   std::chrono::milliseconds timeout) {
    return waitFor([&](const HostEvent& e) { return e.type == type && e.isError == isError; },
                   count, timeout);
  }

 private:
  void add(HostEvent event) {
    std::lock_guard<std::mutex> lock(mutex_);
    events_.push_back(std::move(event));
    changed_.notify_all();
  }

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<HostEvent> events_;
};

}  // namespace zent::testing
