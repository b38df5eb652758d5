#include "support/event_recorder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <set>
#include <thread>
#include <vector>

#include "support/log_recorder.h"

namespace zent::test {
namespace {

using namespace std::chrono_literals;

class EventRecorderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    eventRecorder().clear();
    logRecorder().clear();
  }
};

TEST_F(EventRecorderTest, CopiesEverythingTheListenerIsGiven) {
  char text[] = "caption";
  eventRecorderListener(false, 2, ZENTPLAYER_EVENT_CAPTION_TEXT, 1, -2, 3, 4, text);
  std::strcpy(text, "changed");  // the library may reuse its buffer after the call
  eventRecorderListener(true, 0, ZENTPLAYER_ERROR_NETWORK_FAILED, 0, 0, 0, 0, nullptr);

  std::vector<RecordedEvent> events = eventRecorder().events();
  ASSERT_EQ(events.size(), 2u);
  EXPECT_FALSE(events[0].isError);
  EXPECT_EQ(events[0].playerIndex, 2);
  EXPECT_EQ(events[0].type, ZENTPLAYER_EVENT_CAPTION_TEXT);
  EXPECT_EQ(events[0].params[1], -2);
  EXPECT_EQ(events[0].params[3], 4);
  EXPECT_EQ(events[0].text, "caption");
  EXPECT_EQ(events[0].thread, std::this_thread::get_id());
  EXPECT_TRUE(events[1].isError);
  EXPECT_TRUE(events[1].textWasNull);
  EXPECT_EQ(events[1].sequence, 1u);

  std::string description = eventRecorder().describe();
  EXPECT_NE(description.find("CAPTION_TEXT(11) player 2"), std::string::npos) << description;
  EXPECT_NE(description.find("error NETWORK_FAILED(11)"), std::string::npos) << description;
}

TEST_F(EventRecorderTest, WaitForWakesWhenAMatchingEventArrivesOnAnotherThread) {
  std::thread library([] {
    eventRecorderListener(false, 0, ZENTPLAYER_EVENT_PLAYBACK_PLAY, 0, 0, 0, 0, "");
    eventRecorderListener(false, 1, ZENTPLAYER_EVENT_PLAYBACK_READY, 0, 0, 0, 0, "");
  });
  auto ready = eventRecorder().waitFor(isEvent(1, ZENTPLAYER_EVENT_PLAYBACK_READY), 30s);
  library.join();
  ASSERT_TRUE(ready) << eventRecorder().describe();
  EXPECT_EQ(ready->playerIndex, 1);
  EXPECT_NE(ready->thread, std::this_thread::get_id());
}

TEST_F(EventRecorderTest, WaitsRespectTheMarkAndTheTimeout) {
  eventRecorderListener(false, 0, ZENTPLAYER_EVENT_PLAYBACK_PAUSE, 0, 0, 0, 0, "");
  const size_t mark = eventRecorder().size();
  EXPECT_FALSE(eventRecorder().waitFor(isEvent(0, ZENTPLAYER_EVENT_PLAYBACK_PAUSE), 20ms, mark));
  EXPECT_TRUE(eventRecorder().waitFor(isEvent(kAnyPlayer, ZENTPLAYER_EVENT_PLAYBACK_PAUSE), 20ms));
  EXPECT_FALSE(eventRecorder().waitFor(isError(0, ZENTPLAYER_EVENT_PLAYBACK_PAUSE), 20ms));
}

TEST_F(EventRecorderTest, RecordsConcurrentListenersWithoutLoss) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < 250; ++i) {
        eventRecorderListener(false, t, ZENTPLAYER_EVENT_PLAYBACK_SEEK, i, 0, 0, 0, "seek");
      }
    });
  }
  EXPECT_TRUE(
      eventRecorder().waitForCount(isEvent(kAnyPlayer, ZENTPLAYER_EVENT_PLAYBACK_SEEK), 1000, 30s));
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(eventRecorder().count(isEvent(3, ZENTPLAYER_EVENT_PLAYBACK_SEEK)), 250u);
  std::vector<int32_t> types = eventRecorder().typesFor(2);
  EXPECT_EQ(types.size(), 250u);
  std::set<size_t> sequences;
  for (const RecordedEvent& event : eventRecorder().events()) sequences.insert(event.sequence);
  EXPECT_EQ(sequences.size(), 1000u);
  EXPECT_EQ(*sequences.rbegin(), 999u);
}

TEST_F(EventRecorderTest, OrderOfOnePlayersEventsIsKept) {
  eventRecorderListener(false, 0, ZENTPLAYER_EVENT_PLAYBACK_PAUSE, 0, 0, 0, 0, "");
  eventRecorderListener(false, 1, ZENTPLAYER_EVENT_PLAYBACK_PLAY, 0, 0, 0, 0, "");
  eventRecorderListener(false, 0, ZENTPLAYER_EVENT_PLAYBACK_STOP, 0, 0, 0, 0, "");
  EXPECT_EQ(eventRecorder().typesFor(0), (std::vector<int32_t>{ZENTPLAYER_EVENT_PLAYBACK_PAUSE,
                                                               ZENTPLAYER_EVENT_PLAYBACK_STOP}));
  EXPECT_TRUE(eventRecorder().waitUntil(
      [](const std::vector<RecordedEvent>& all) { return all.size() == 3; }, 1s));
  eventRecorder().clear();
  EXPECT_EQ(eventRecorder().size(), 0u);
  EXPECT_EQ(eventRecorder().describe(), "no events recorded");
}

TEST_F(EventRecorderTest, LogRecorderWaitsForAFragmentAtALevel) {
  std::thread library([] {
    logRecorderCallback(ZENTPLAYER_LOG_DEBUG, "ZENTPLAYER - DEBUG: PlayerIndex: 0 | Play");
    logRecorderCallback(ZENTPLAYER_LOG_ERROR,
                        "ZENTPLAYER - ERROR: PlayerIndex: 0 | Cannot perform Play function");
  });
  auto line = logRecorder().waitFor("Play", 30s, 0, ZENTPLAYER_LOG_ERROR);
  library.join();
  ASSERT_TRUE(line) << logRecorder().describe();
  EXPECT_EQ(line->level, ZENTPLAYER_LOG_ERROR);
  EXPECT_EQ(line->sequence, 1u);
  EXPECT_EQ(logRecorder().count("PlayerIndex: 0"), 2u);
  EXPECT_EQ(logRecorder().count("PlayerIndex: 0", ZENTPLAYER_LOG_WARNING), 1u);
  EXPECT_FALSE(logRecorder().contains("Cannot", 0, /*from=*/2));
  EXPECT_NE(logRecorder().describe().find("ERROR: ZENTPLAYER - ERROR"), std::string::npos);
  logRecorderCallback(ZENTPLAYER_LOG_INFO, nullptr);
  EXPECT_EQ(logRecorder().lines().back().line, "");
}

}  // namespace
}  // namespace zent::test
