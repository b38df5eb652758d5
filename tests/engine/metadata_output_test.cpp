// Timed ID3 tags in the stream reach a metadata output whole, in order, on the
// main queue.

#include <gtest/gtest.h>

#include <mutex>

#include "engine_test_support.h"
#include "metadata/timed_id3_hls.h"
#include "player/media_player.h"
#include "support/http_server.h"
#include "support/scoped_temp_dir.h"

namespace zent::enginetest {
namespace {

TEST(MetadataOutputTest, TimedId3TagsArriveInStreamOrderOnTheMainQueue) {
  test::ScopedTempDir dir;
  testing::Id3HlsStream stream = testing::makeTimedId3Hls(dir.path());
  test::HttpServer server(dir.path());

  std::mutex mutex;
  std::vector<std::vector<uint8_t>> tags;
  bool offQueue = false;
  auto engine = makeGstMediaEngine();
  auto metadata = engine->makeMetadataOutput([&](const std::vector<uint8_t>& tag) {
    std::lock_guard lock(mutex);
    tags.push_back(tag);
    if (!MainQueue::isCurrentThread()) offQueue = true;
  });
  auto item = engine->makeItem(server.url(stream.playlist.filename().string()));
  item->addOutput(metadata);
  auto player = engine->makePlayer(item);
  ASSERT_EQ(item->waitUntilResolved(30.0, nullptr), ItemStatus::ReadyToPlay)
      << item->failureReason();
  player->play();

  ASSERT_TRUE(eventually(
      [&] {
        std::lock_guard lock(mutex);
        return tags.size() >= stream.tags.size();
      },
      20s));
  std::lock_guard lock(mutex);
  ASSERT_EQ(tags.size(), stream.tags.size());
  for (std::size_t i = 0; i < tags.size(); ++i) EXPECT_EQ(tags[i], stream.tags[i].tag) << i;
  EXPECT_FALSE(offQueue);
}

}  // namespace
}  // namespace zent::enginetest
