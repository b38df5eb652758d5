#pragma once

// End-to-end fixture: the built library loaded with dlopen, real media made by
// the fixtures, served from a loopback server, and the host's view of events.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "support/event_recorder.h"
#include "support/http_server.h"
#include "support/log_recorder.h"
#include "support/media_fixtures.h"
#include "support/zent_api.h"

namespace zent::test {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr int32_t kPlayEvent = 3;
constexpr int32_t kCaptionEvent = 11;
constexpr int32_t kEndEvent = 20;

class PlaybackTest : public ZentApiTest {
 protected:
  void SetUp() override {
    ZentApiTest::SetUp();
    api().NativeShutdown();
    eventRecorder().clear();
    logRecorder().clear();
    api().NativeSetLogCallback(&logRecorderCallback);
    api().NativeInit(&eventRecorderListener);
  }
  void TearDown() override {
    api().NativeShutdown();
    api().NativeSetLogCallback(nullptr);
  }

  // Waits for an event of that type from that player, after `from` events.
  bool waitForEvent(int32_t player, int32_t type, milliseconds timeout, size_t from = 0,
                    bool isError = false) {
    return eventRecorder()
        .waitFor(
            [&](const RecordedEvent& e) {
              return e.playerIndex == player && e.type == type && e.isError == isError;
            },
            timeout, from)
        .has_value();
  }
  size_t countEvents(int32_t player, int32_t type, bool isError = false) {
    size_t n = 0;
    for (const RecordedEvent& e : eventRecorder().events()) {
      n += (e.playerIndex == player && e.type == type && e.isError == isError);
    }
    return n;
  }
  // Opens a URL (or with `local` a file) on a new auto-playing player 0 and
  // waits until it plays.
  void openPlaying(const std::string& url, int32_t mime = 1, bool local = false) {
    ASSERT_EQ(api().NativeAddStream(1), 0);
    ASSERT_EQ(local ? api().NativeOpenLocalContent(0, url.c_str())
                    : api().NativeOpenURI(0, url.c_str(), mime),
              0);
    ASSERT_TRUE(waitForEvent(0, kPlayEvent, seconds(30))) << describe();
  }
  // Player 0's caption events from position `from`, clears included.
  std::vector<RecordedEvent> captionEvents(size_t from = 0) {
    std::vector<RecordedEvent> found;
    for (const RecordedEvent& e : eventRecorder().events()) {
      if (e.sequence >= from && !e.isError && e.playerIndex == 0 && e.type == kCaptionEvent) {
        found.push_back(e);
      }
    }
    return found;
  }
  // Polls a condition of the library's state (the host's way: it asks every frame).
  static bool pollUntil(const std::function<bool()>& condition, milliseconds timeout) {
    auto deadline = std::chrono::steady_clock::now() + timeout;
    while (std::chrono::steady_clock::now() < deadline) {
      if (condition()) return true;
      std::this_thread::sleep_for(milliseconds(20));
    }
    return condition();
  }
  // A text result of the library, freed.
  static std::string text(char* heapText) {
    std::string value = heapText != nullptr ? heapText : "";
    std::free(heapText);
    return value;
  }
  std::string describe() { return eventRecorder().describe() + "\n" + logRecorder().describe(60); }
};

}  // namespace zent::test
