// Transport on a player whose content the scripted engine has made ready.
#include <limits>

#include "player/player_test_fixture.h"

namespace zent::testing {
namespace {

constexpr const char* kNotLoaded =
    " function because the content has not been loaded yet. Please wait until EventPlaybackReady "
    "is launched";

class TransportTest : public PlayerTest {
 protected:
  void SetUp() override {
    PlayerTest::SetUp();
    bridge->AddStream(false);
  }
};

TEST_F(TransportTest, RefusesEveryGuardedOperationBeforeReadyWithItsOwnText) {
  bridge->playerAt(0)->Play();
  bridge->Seek(5000, 0);
  bridge->Pause(0);
  bridge->Resume(0);
  bridge->Stop(0);
  bridge->setPlaybackRate(2.0f, 0);
  EXPECT_EQ(bridge->getPlaybackRate(0), 0.0f);

  auto lines = HostRecord::instance().lines();
  for (const char* name :
       {"Play", "Seek", "Pause", "Resume", "Stop", "setPlaybackRate", "getPlaybackRate"}) {
    std::string expected =
        std::string("ZENTPLAYER - Linux - ERROR: PlayerIndex: 0 | Cannot perform ") + name +
        kNotLoaded;
    EXPECT_TRUE(HostRecord::instance().hasLineContaining(expected)) << expected;
  }
  EXPECT_TRUE(HostRecord::instance().hasLineContaining("DEBUG: PlayerIndex: 0 | Seek: 5000"));
  EXPECT_TRUE(HostRecord::instance().events().empty());
  EXPECT_EQ(bridge->getPlayerState(0), 0);
}

TEST_F(TransportTest, StopRaisesPauseThenStopAndRewinds) {
  auto item = openReady(0, "http://example.test/a.mp4", 0);
  HostRecord::instance().clear();
  EXPECT_EQ(bridge->Stop(0), 0);
  EXPECT_EQ(eventTypes(), (std::vector<int32_t>{4, 5}));
  EXPECT_EQ(bridge->getPlayerState(0), 2);
  auto calls = engine->player(0)->calls();
  ASSERT_GE(calls.size(), 2u);
  EXPECT_EQ(calls[calls.size() - 2], "seek:0");
  EXPECT_EQ(calls.back(), "pause");
  for (const Event& e : HostRecord::instance().events()) {
    EXPECT_FALSE(e.isError);
    EXPECT_EQ(e.p3, 0);
    EXPECT_EQ(e.p4, 1);
  }
}

TEST_F(TransportTest, SeekReportsOldAndNewPositionsAtOnce) {
  auto item = openReady(0, "http://example.test/a.mp4", 0);
  {
    std::lock_guard<std::mutex> lock(item->mutex);
    item->position = 4.0;
  }
  HostRecord::instance().clear();
  bridge->Seek(9000, 0);
  auto events = HostRecord::instance().events();
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].type, 6);
  EXPECT_EQ(events[0].p1, 4000);
  EXPECT_EQ(events[0].p2, 9000);
  EXPECT_EQ(events[0].text,
            "ZENTPLAYER_EVENT_PLAYBACK_SEEK - Parameter 1: OldPosition, Parameter 2: NewPosition");
  EXPECT_EQ(engine->player(0)->calls().back(), "seek:9000:exact");
}

TEST_F(TransportTest, StartPlaybackSeeksBeforeItPlays) {
  openReady(0, "http://example.test/a.mp4", 0);
  HostRecord::instance().clear();
  EXPECT_EQ(bridge->StartPlayback(5000, 0), 0);
  EXPECT_EQ(eventTypes(), (std::vector<int32_t>{6, 3}));
  auto calls = engine->player(0)->calls();
  EXPECT_EQ(calls[calls.size() - 2], "seek:5000:exact");
  EXPECT_EQ(calls.back(), "play");
}

TEST_F(TransportTest, RateIsStoredWhilePausedAndAppliedOnlyByResume) {
  openReady(0, "http://example.test/a.mp4", 0);
  EXPECT_EQ(bridge->getPlaybackRate(0), 1.0f);
  bridge->Pause(0);
  bridge->setPlaybackRate(2.0f, 0);
  auto player = engine->player(0);
  EXPECT_EQ(player->calls().back(), "pause");  // not applied while paused
  bridge->playerAt(0)->Play();
  EXPECT_EQ(player->rate(), 1.0f);  // Play plays at normal speed
  bridge->Resume(0);
  EXPECT_EQ(player->rate(), 2.0f);
  EXPECT_EQ(bridge->getPlaybackRate(0), 2.0f);
  bridge->setPlaybackRate(0.5f, 0);  // playing: applied at once
  EXPECT_EQ(player->rate(), 0.5f);
  EXPECT_TRUE(HostRecord::instance().hasLineContaining("| setPlaybackRate: 0.5"));
}

TEST_F(TransportTest, MuteAndVolumeAreUnguardedAndPassedOnUnchanged) {
  EXPECT_EQ(bridge->setMute(true, 0), 0);
  EXPECT_EQ(bridge->setVolume(1.5f, 0), 0);
  EXPECT_TRUE(HostRecord::instance().hasLineContaining("PlayerIndex: 0 | SetMute: true"));
  EXPECT_TRUE(HostRecord::instance().hasLineContaining("PlayerIndex: 0 | SetVolume: 1.5"));
  openReady(0, "http://example.test/a.mp4", 0);
  bridge->setVolume(0.25f, 0);
  bridge->setMute(false, 0);
  auto calls = engine->player(0)->calls();
  EXPECT_EQ(calls[calls.size() - 2], "volume:0.2");
  EXPECT_EQ(calls.back(), "muted:0");
  EXPECT_TRUE(HostRecord::instance().events().size() == 1);  // only the ready event
}

TEST_F(TransportTest, ReleaseClosesKeepsInitializedAndCanBeRepeated) {
  openReady(0, "http://example.test/a.mp4", 0);
  bridge->RemoveVideoContent(0);
  bridge->RemoveVideoContent(0);
  EXPECT_EQ(bridge->getPlayerState(0), 1);
  HostRecord::instance().clear();
  bridge->playerAt(0)->Play();  // still passes the guard, with no platform player behind it
  EXPECT_EQ(eventTypes(), (std::vector<int32_t>{3}));
  EXPECT_EQ(bridge->getPlayerState(0), 3);
}

TEST_F(TransportTest, AutoPlayPlaysOnReadyAndTheReadyEventComesFirst) {
  bridge->AddStream(true);
  openReady(1, "http://example.test/b.mp4", 0);
  ASSERT_TRUE(HostRecord::instance().waitForEvent(3));
  auto events = HostRecord::instance().events();
  ASSERT_EQ(events.size(), 2u);
  EXPECT_EQ(events[0].type, 0);
  EXPECT_EQ(events[0].p1, 2);
  EXPECT_EQ(events[0].index, 1);
  EXPECT_EQ(events[1].type, 3);
  EXPECT_EQ(bridge->getPlayerState(1), 3);
  EXPECT_EQ(bridge->getPlayerState(0), 0);  // no autoPlay: status unchanged by ready
}

TEST_F(TransportTest, EndOfContentOnlyForTheCurrentItem) {
  auto first = openReady(0, "http://example.test/a.mp4", 0);
  auto second = openReady(0, "http://example.test/b.mp4", 1);
  HostRecord::instance().clear();
  first->finishPlaying();
  EXPECT_TRUE(HostRecord::instance().events().empty());
  second->finishPlaying();
  EXPECT_EQ(eventTypes(), (std::vector<int32_t>{20}));
}

TEST_F(TransportTest, FailedItemLogsTheEngineReasonAndRaisesNothing) {
  bridge->OpenURI("http://example.test/missing.mp4", 0, 0);
  auto item = engine->item(0);
  engine->player(0);
  item->resolve(ItemStatus::Failed, "HTTP 404 Not Found");
  EXPECT_TRUE(HostRecord::instance().hasLineContaining(
      "ERROR: PlayerIndex: 0 | Cannot play http://example.test/missing.mp4: HTTP 404 Not Found"));
  EXPECT_TRUE(HostRecord::instance().events().empty());
  // The same player opens the next content normally.
  openReady(0, "http://example.test/good.mp4", 1);
}

TEST_F(TransportTest, OpenAfterReleaseReinitialisesThePlayer) {
  openReady(0, "http://example.test/a.mp4", 0);
  bridge->RemoveVideoContent(0);
  EXPECT_EQ(bridge->getPlayerState(0), 1);
  openReady(0, "http://example.test/a.mp4", 1);
  EXPECT_EQ(bridge->getPlayerState(0), 0);  // Init set NONE again
}

// Event 11 carries the caption's length and the total time as the host reads
// them: live content (no duration) gives 0, an overlong one saturates, and no
// ERROR line is logged for either.
TEST_F(TransportTest, CaptionEventCarriesTheTotalTimeConvertedAtTheBoundary) {
  auto item = openReady(0, "http://example.test/a.m3u8", 0);
  struct Row {
    double durationSeconds;
    int32_t totalMs;
  };
  int captions = 0;
  for (Row row : {Row{std::numeric_limits<double>::quiet_NaN(), 0}, Row{12.5, 12500},
                  Row{1e10, std::numeric_limits<int32_t>::max()}}) {
    {
      std::lock_guard<std::mutex> lock(item->mutex);
      item->duration = row.durationSeconds;
    }
    item->legible->sink({"n\u00e9 \u266a"});
    ASSERT_TRUE(HostRecord::instance().waitForEvent(11, false, ++captions));
    const Event event = HostRecord::instance().events().back();
    EXPECT_EQ(event.p1, 4);
    EXPECT_EQ(event.p2, row.totalMs);
    EXPECT_EQ(event.text, "n\u00e9 \u266a");
  }
  EXPECT_FALSE(HostRecord::instance().hasLineContaining("ERROR"));
}

}  // namespace
}  // namespace zent::testing
