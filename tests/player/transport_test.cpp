#include <limits>

#include "player/player_test_fixture.h"

namespace zent::testing {
namespace {

const std::string kUrl = "http://example.test/a.mp4";

class TransportTest : public PlayerTest {
 protected:
  void SetUp() override {
    PlayerTest::SetUp();
    bridge->AddStream(false);
  }
  std::vector<std::string> calls(const std::string& prefix = "") {
    return engine->player(engine->itemCount() - 1)->calls(prefix);
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
  for (const char* name :
       {"Play", "Seek", "Pause", "Resume", "Stop", "setPlaybackRate", "getPlaybackRate"}) {
    EXPECT_TRUE(logRecorder().contains(
        std::string("ZENTPLAYER - Linux - ERROR: PlayerIndex: 0 | Cannot perform ") + name +
        " function because the content has not been loaded yet. Please wait until "
        "EventPlaybackReady is launched"))
        << name << "\n"
        << logRecorder().describe();
  }
  EXPECT_EQ(eventRecorder().size(), 0u);
  EXPECT_EQ(bridge->getPlayerState(0), 0);
}

TEST_F(TransportTest, CloseRaisesPauseThenStop) {
  openReady(0, kUrl);
  std::size_t mark = eventRecorder().size();
  bridge->SetPlayerStatusClose(0);
  EXPECT_EQ(types(mark), (std::vector<int32_t>{4, 5}));
  EXPECT_EQ(bridge->getPlayerState(0), 1);
}

TEST_F(TransportTest, SeekReportsOldAndNewPositionsAndStartPlaybackSeeksBeforePlaying) {
  openReady(0, kUrl)->at(4.0);
  std::size_t mark = eventRecorder().size();
  bridge->Seek(9000, 0);
  auto events = eventRecorder().events();
  ASSERT_EQ(events.size(), mark + 1);
  EXPECT_EQ(
      (std::vector<int32_t>{events.back().type, events.back().params[0], events.back().params[1]}),
      (std::vector<int32_t>{6, 4000, 9000}));
  EXPECT_EQ(events.back().text,
            "ZENTPLAYER_EVENT_PLAYBACK_SEEK - Parameter 1: OldPosition, Parameter 2: NewPosition");
  mark = eventRecorder().size();
  EXPECT_EQ(bridge->StartPlayback(5000, 0), 0);
  EXPECT_EQ(types(mark), (std::vector<int32_t>{6, 3}));
  EXPECT_EQ(calls("seek"), (std::vector<std::string>{"seek:9000:exact", "seek:5000:exact"}));
  EXPECT_EQ(calls().back(), "play");
}

TEST_F(TransportTest, RateIsStoredWhilePausedAndAppliedOnlyByResume) {
  openReady(0, kUrl);
  auto player = engine->player(0);
  EXPECT_EQ(bridge->getPlaybackRate(0), 1.0f);
  bridge->Pause(0);
  bridge->setPlaybackRate(2.0f, 0);
  EXPECT_EQ(calls().back(), "pause");  // not applied while paused
  bridge->playerAt(0)->Play();
  EXPECT_EQ(player->rate(), 1.0f);
  bridge->Resume(0);
  EXPECT_EQ(player->rate(), 2.0f);
  bridge->setPlaybackRate(0.5f, 0);
  EXPECT_EQ(player->rate(), 0.5f);
}

TEST_F(TransportTest, MuteAndVolumeAreUnguardedAndPassedOnUnchanged) {
  EXPECT_EQ(bridge->setMute(true, 0), 0);  // before any content: logged, nothing to pass on
  EXPECT_TRUE(logRecorder().contains("PlayerIndex: 0 | SetMute: true"));
  openReady(0, kUrl);
  std::size_t mark = eventRecorder().size();
  EXPECT_EQ(bridge->setVolume(0.25f, 0), 0);
  bridge->setVolume(1.5f, 0);
  bridge->setMute(true, 0);
  bridge->setMute(false, 0);
  EXPECT_EQ(calls("volume"),  // the load sets full volume first
            (std::vector<std::string>{"volume:1.000000", "volume:0.250000", "volume:1.500000"}));
  EXPECT_EQ(calls("muted"), (std::vector<std::string>{"muted:1", "muted:0"}));
  EXPECT_EQ(eventRecorder().size(), mark);
}

TEST_F(TransportTest, ReleaseKeepsInitializedAndOpeningAgainReinitialises) {
  openReady(0, kUrl);
  bridge->RemoveVideoContent(0);
  bridge->RemoveVideoContent(0);
  EXPECT_EQ(bridge->getPlayerState(0), 1);
  std::size_t mark = eventRecorder().size();
  bridge->playerAt(0)->Play();  // still passes the guard, with no platform player behind it
  EXPECT_EQ(types(mark), (std::vector<int32_t>{3}));
  openReady(0, kUrl);
  EXPECT_EQ(bridge->getPlayerState(0), 0);
}

TEST_F(TransportTest, EndOfContentOnlyForTheCurrentItem) {
  auto first = openReady(0, kUrl);
  auto second = openReady(0, "http://example.test/b.mp4");
  std::size_t mark = eventRecorder().size();
  first->finishPlaying();
  second->finishPlaying();
  EXPECT_EQ(types(mark), (std::vector<int32_t>{20}));
}

// Event 11: the caption's length and the total time, saturated without an ERROR line.
TEST_F(TransportTest, CaptionEventCarriesTheTotalTimeConvertedAtTheBoundary) {
  auto item = openReady(0, "http://example.test/a.m3u8");
  using Limits = std::numeric_limits<int32_t>;
  using Row = std::pair<double, int32_t>;
  for (auto [seconds, totalMs] :
       {Row{std::numeric_limits<double>::quiet_NaN(), 0}, Row{12.5, 12500},
        Row{1e10, Limits::max()}, Row{-1e10, Limits::min()}}) {
    std::size_t mark = eventRecorder().size();
    item->set(item->duration, seconds);
    engine->get(engine->captions)({"n\u00e9 \u266a"});
    auto event = eventRecorder().waitFor(isEvent(0, 11), 10s, mark);
    ASSERT_TRUE(event);
    EXPECT_EQ(event->params[0], 4);
    EXPECT_EQ(event->params[1], totalMs) << seconds;
    EXPECT_EQ(event->text, "n\u00e9 \u266a");
  }
  EXPECT_FALSE(logRecorder().contains("ERROR"));
}

}  // namespace
}  // namespace zent::testing
