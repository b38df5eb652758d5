// The registry: slots, indices, renumbering, log settings.
#include "player/player_test_fixture.h"

namespace zent::testing {
namespace {

using RegistryTest = PlayerTest;

TEST_F(RegistryTest, AddStreamInitialisesPlayersWithConsecutiveIndices) {
  EXPECT_EQ(bridge->AddStream(false), 0);
  EXPECT_EQ(bridge->AddStream(true), 0);
  EXPECT_EQ(bridge->GetTotalStreams(), 2);
  EXPECT_EQ(bridge->playerAt(0)->playerIndex(), 0);
  EXPECT_EQ(bridge->playerAt(1)->playerIndex(), 1);
  // A second Init finds the renderer and reports 1.
  EXPECT_EQ(bridge->InitPlayer(1), 1);
  EXPECT_EQ(bridge->InitPlayer(2), -1);
}

TEST_F(RegistryTest, RemoveStreamRenumbersTheLaterPlayers) {
  for (int i = 0; i < 3; ++i) bridge->AddStream(false);
  auto third = bridge->playerAt(2);
  bridge->RemoveStream(1);
  EXPECT_EQ(bridge->GetTotalStreams(), 2);
  EXPECT_EQ(bridge->playerAt(0)->playerIndex(), 0);
  EXPECT_EQ(bridge->playerAt(1), third);
  EXPECT_EQ(third->playerIndex(), 1);
  bridge->RemoveStream(7);  // bad index: nothing
  EXPECT_EQ(bridge->GetTotalStreams(), 2);
}

TEST_F(RegistryTest, BadIndicesGetTheirFixedValuesAndReleasedSlotsTheirs) {
  bridge->AddStream(false);
  for (int64_t bad : {int64_t{-1}, int64_t{1}, int64_t{1} << 40}) {
    EXPECT_EQ(bridge->Pause(bad), -1);
    EXPECT_EQ(bridge->Seek(10, bad), -1);
    EXPECT_EQ(bridge->OpenURI("http://x/y.m3u8", bad, 1), -1);
    EXPECT_EQ(bridge->getPlayerState(bad), -1);
    EXPECT_EQ(bridge->getTrackID(bad, 0), "");
    EXPECT_EQ(bridge->getTrackFrameRate(bad, 0), -1.0f);
    EXPECT_EQ(bridge->GetTrackRotation(bad, 1, 1), 0.0f);
    EXPECT_EQ(bridge->updateSubtitle(bad), "");
    EXPECT_EQ(bridge->GetTexture(bad), nullptr);
  }
  EXPECT_FALSE(bridge->openExternalSubtitles("a.srt", 1));
  // Constant answers ignore the index entirely.
  EXPECT_EQ(bridge->getMilisecondsEndBuffered(-5), 0);
  EXPECT_EQ(bridge->getCaptionEncodingType(99), 0);

  bridge->Release(0);
  HostRecord::instance().clear();
  EXPECT_EQ(bridge->Pause(0), 0);  // empty slot: quietly 0
  EXPECT_EQ(bridge->getPlayerState(0), 0);
  EXPECT_TRUE(HostRecord::instance().lines().empty());
  // An operation that needs the player reports the empty slot once and answers neutrally.
  EXPECT_EQ(bridge->Seek(10, 0), -1);
  EXPECT_EQ(bridge->getTrackCount(0), -1);
  auto lines = HostRecord::instance().lines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], "ZENTPLAYER - Linux - ERROR: Seek: slot 0 holds no player");
}

TEST_F(RegistryTest, CloseStopsThenMarksClosedAndKeepsTheSlot) {
  bridge->AddStream(false);
  openReady(0, "http://example.test/a.mp4", 0);
  HostRecord::instance().clear();
  bridge->SetPlayerStatusClose(0);
  EXPECT_EQ(eventTypes(), (std::vector<int32_t>{4, 5}));
  EXPECT_EQ(bridge->getPlayerState(0), 1);
  EXPECT_EQ(bridge->GetTotalStreams(), 1);
  EXPECT_NE(bridge->playerAt(0), nullptr);
}

TEST_F(RegistryTest, LogSettingsAreAppliedAndAnnounced) {
  bridge->setLogSystemLevel(2);
  EXPECT_EQ(Logger::currentLogLevel(), LogLevel::WARNING);
  bridge->setLogSystemLevel(9);
  EXPECT_EQ(Logger::currentLogLevel(), LogLevel::WARNING);
  bridge->setLogSystemLevel(-1);
  bridge->setLogSystemLevel(0);
  auto lines = HostRecord::instance().lines();
  ASSERT_EQ(lines.size(), 3u);  // the INFO line of level 2 is itself filtered out
  EXPECT_EQ(lines[0], "ZENTPLAYER - Linux - ERROR: Invalid log level received: 9");
  EXPECT_EQ(lines[1], "ZENTPLAYER - Linux - ERROR: Invalid log level received: -1");
  EXPECT_EQ(lines[2], "ZENTPLAYER - Linux - INFO: Log level changed to DEBUG");
  bridge->setLogSystemPlatform(false);
  bridge->setLogSystemTimestamp(false);
  lines = HostRecord::instance().lines();
  EXPECT_EQ(lines[3], "ZENTPLAYER - INFO: ShowPlatform set to false");
  EXPECT_EQ(lines[4], "ZENTPLAYER - INFO: ShowTimestamp set to false");
}

TEST_F(RegistryTest, BitrateLimitsWarnAndChangeNothing) {
  bridge->AddStream(false);
  bridge->SetMaxBitrate(0, 500000);
  bridge->SetMinBitrate(0, 100);
  bridge->SetMaxBitrate(3, 1);
  auto lines = HostRecord::instance().lines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0],
            "ZENTPLAYER - Linux - WARNING: PlayerIndex: 0 | setMaxBitrate not implemented yet");
  EXPECT_EQ(lines[1],
            "ZENTPLAYER - Linux - WARNING: PlayerIndex: 0 | setMinBitrate not implemented yet");
}

}  // namespace
}  // namespace zent::testing
