// Bad indices and empty slots; the selected variant reaching the engine as its caps.
#include <tuple>

#include "player/player_test_fixture.h"
#include "support/http_server.h"
#include "support/media_fixtures.h"

namespace zent::testing {
namespace {

using RegistryTest = PlayerTest;

TEST_F(RegistryTest, BadIndicesGetTheirFixedValuesAndReleasedSlotsTheirs) {
  bridge->AddStream(false);
  for (int64_t bad : {int64_t{-1}, int64_t{1}, int64_t{1} << 40}) {
    SCOPED_TRACE(bad);
    EXPECT_EQ(bridge->Seek(10, bad), -1);
    EXPECT_EQ(bridge->getPlayerState(bad), -1);
    EXPECT_EQ(bridge->getTrackID(bad, 0), "");
  }
  bridge->Release(0);
  logRecorder().clear();
  EXPECT_EQ(bridge->Pause(0), 0);  // empty slot: quietly 0
  EXPECT_EQ(bridge->getPlayerState(0), 0);
  EXPECT_EQ(logRecorder().size(), 0u);
  EXPECT_EQ(bridge->Seek(10, 0), -1);
  auto lines = logRecorder().lines();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].line, "ZENTPLAYER - Linux - ERROR: Seek: slot 0 holds no player");
}

TEST_F(RegistryTest, SelectedVariantIsTheEnginesCap) {
  test::HttpServer server;
  bridge->AddStream(false);
  auto item = openReady(0, server.url(test::hls_multivariant() + "/master.m3u8"));
  ASSERT_TRUE(item);
  ASSERT_GE(bridge->getTrackCount(0), 2);
  const int64_t last = bridge->getTrackCount(0) - 1;
  const double width = static_cast<double>(bridge->getTrackWidth(0, last));
  const double height = static_cast<double>(bridge->getTrackHeight(0, last));
  ASSERT_NE(width, height);
  bridge->SelectTrack(0, last);
  std::lock_guard<std::mutex> lock(item->mutex);
  EXPECT_EQ(std::make_tuple(item->maximumResolution.width, item->maximumResolution.height,
                            item->peakBitRate),
            std::make_tuple(width, height, static_cast<double>(bridge->getTrackBitrate(0, last))));
}

}  // namespace
}  // namespace zent::testing
