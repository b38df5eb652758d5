// Each broken invariant is logged at ERROR (or, with ZENT_ABORT_ON_INVARIANT, aborts).
#include <limits>

#include "player/player_test_fixture.h"

namespace zent::testing {
namespace {

struct Case {
  const char* name;
  bool ready;  // the content is made ready first
  void (*act)(BridgePlayer& bridge, ScriptedItem* item);
  const char* fragment;
};

const Case kCases[] = {
    {"TrackIndexOutsideTheList", true,
     [](BridgePlayer& b, ScriptedItem*) { EXPECT_EQ(b.getTrackBitrate(0, 3), 0); },
     "getTrackBitrate: track index 3 is outside the track list of 0 tracks"},
    {"EmptySlot", false,
     [](BridgePlayer& b, ScriptedItem*) {
       b.Release(0);
       EXPECT_EQ(b.Seek(100, 0), -1);
     },
     "Seek: slot 0 holds no player"},
    {"ValueBeyond32Bits", true, [](BridgePlayer& b, ScriptedItem*) { b.Seek(int64_t{1} << 40, 0); },
     "event value 1099511627776 of event 6 does not fit 32 bits"},
    {"UnparsableUrl", false,
     [](BridgePlayer& b, ScriptedItem*) {
       b.OpenURI("no scheme here", 0, 0);
       LoadTask::cancelAndJoinAll();
     },
     "\"no scheme here\" does not parse as a URL"},
    {"NonFiniteTime", true,
     [](BridgePlayer& b, ScriptedItem* item) {
       item->at(std::numeric_limits<double>::quiet_NaN());
       b.Seek(100, 0);
     },
     "the current position is not a finite number"},
};

class InvariantTest : public PlayerTest, public ::testing::WithParamInterface<Case> {};

TEST_P(InvariantTest, IsDetected) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  bridge->AddStream(false);
  const Case& c = GetParam();
  std::shared_ptr<ScriptedItem> item;
  if (c.ready) item = openReady(0, "http://example.test/a.mp4");
  ASSERT_TRUE(item || !c.ready);
#ifdef ZENT_ABORT_ON_INVARIANT
  EXPECT_DEATH(c.act(*bridge, item.get()), c.fragment);
#else
  c.act(*bridge, item.get());
  EXPECT_TRUE(logRecorder().waitFor(c.fragment, 5s, 0, 3)) << logRecorder().describe();
#endif
}

INSTANTIATE_TEST_SUITE_P(Each, InvariantTest, ::testing::ValuesIn(kCases),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace zent::testing
