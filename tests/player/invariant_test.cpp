// Each broken invariant of the host's use is detected: logged at ERROR with a
// neutral answer, or, in the build with ZENT_ABORT_ON_INVARIANT, a process abort.
#include <cmath>
#include <limits>

#include "player/player_test_fixture.h"

namespace zent::testing {
namespace {

#ifdef ZENT_ABORT_ON_INVARIANT
#define EXPECT_BROKEN_INVARIANT(statement, fragment) EXPECT_DEATH(statement, fragment)
#else
#define EXPECT_BROKEN_INVARIANT(statement, fragment)                                  \
  do {                                                                                \
    statement;                                                                        \
    EXPECT_TRUE(waitForLine(fragment)) << "no ERROR line containing: " << (fragment); \
  } while (0)
#endif

class InvariantTest : public PlayerTest {
 protected:
  void SetUp() override {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    PlayerTest::SetUp();
    bridge->AddStream(false);
  }
  bool waitForLine(const std::string& fragment) {
    for (int i = 0; i < 500; ++i) {
      if (HostRecord::instance().hasLineContaining(fragment)) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
  }
};

TEST_F(InvariantTest, TrackIndexOutsideTheList) {
  openReady(0, "http://example.test/a.mp4", 0);
  EXPECT_BROKEN_INVARIANT(EXPECT_EQ(bridge->getTrackBitrate(0, 3), 0),
                          "getTrackBitrate: track index 3 is outside the track list of 0 tracks");
  EXPECT_BROKEN_INVARIANT(bridge->SelectTrack(0, -1), "selectTrack: track index -1 is outside");
}

TEST_F(InvariantTest, EmptySlot) {
  bridge->Release(0);
  EXPECT_BROKEN_INVARIANT(EXPECT_EQ(bridge->Seek(100, 0), -1), "Seek: slot 0 holds no player");
  EXPECT_BROKEN_INVARIANT(EXPECT_EQ(bridge->updateSubtitle(0), ""),
                          "updateSubtitle: slot 0 holds no player");
}

TEST_F(InvariantTest, ValueBeyond32Bits) {
  openReady(0, "http://example.test/a.mp4", 0);
  EXPECT_BROKEN_INVARIANT(bridge->Seek(int64_t{1} << 40, 0),
                          "event value 1099511627776 of event 6 does not fit 32 bits");
}

TEST_F(InvariantTest, UnparsableUrl) {
  EXPECT_BROKEN_INVARIANT(
      {
        bridge->OpenURI("no scheme here", 0, 0);
        LoadTask::cancelAndJoinAll();
      },
      "\"no scheme here\" does not parse as a URL");
}

TEST_F(InvariantTest, NonFiniteTime) {
  auto item = openReady(0, "http://example.test/a.mp4", 0);
  {
    std::lock_guard<std::mutex> lock(item->mutex);
    item->position = std::numeric_limits<double>::quiet_NaN();
  }
  EXPECT_BROKEN_INVARIANT(bridge->Seek(100, 0), "the current position is not a finite number");
}

}  // namespace
}  // namespace zent::testing
