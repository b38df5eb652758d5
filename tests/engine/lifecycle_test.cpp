// Items side by side and their release: nothing blocks the caller, nothing is
// called after release, every pipeline is torn down.

#include <gtest/gtest.h>

#include <future>

#include "engine_test_support.h"
#include "platform/gst/teardown_worker.h"
#include "player/media_player.h"
#include "support/http_server.h"
#include "support/media_fixtures.h"

namespace zent::enginetest {
namespace {

// Waits until every pipeline released so far has reached NULL and been freed.
bool teardownDrains(std::chrono::milliseconds timeout = 20s) {
  auto worker = TeardownWorker::acquire();
  auto done = std::async(std::launch::async, [worker] { worker->drain(); });
  return done.wait_for(timeout) == std::future_status::ready;
}

class LifecycleTest : public ::testing::Test {
 protected:
  std::shared_ptr<MediaEngine> engine_ = makeGstMediaEngine();
  test::HttpServer server_;
};

TEST_F(LifecycleTest, FourItemsPlaySideBySideAndAreReleasedWithoutWaiting) {
  std::vector<std::string> urls{test::mp4_rotated(), test::mp4_rotated(),
                                server_.url(test::hls_single_variant() + "/index.m3u8"),
                                server_.url(test::hls_single_variant() + "/index.m3u8")};
  std::vector<Playback> playbacks;
  std::vector<std::shared_ptr<VideoOutput>> outputs;
  for (const auto& url : urls) {
    playbacks.push_back(open(*engine_, url));
    outputs.push_back(engine_->makeVideoOutput());
    playbacks.back().item->addOutput(outputs.back());
  }
  for (auto& p : playbacks) {
    ASSERT_EQ(p.item->waitUntilResolved(30.0, nullptr), ItemStatus::ReadyToPlay)
        << p.item->failureReason();
    p.player->play();
  }
  for (std::size_t i = 0; i < playbacks.size(); ++i) {
    EXPECT_TRUE(waitUntilAdvancing(playbacks[i], 15s)) << urls[i];
    EXPECT_TRUE(eventually([&] { return outputs[i]->copyPixelBuffer(0.0) != nullptr; }));
  }

  auto started = std::chrono::steady_clock::now();
  playbacks.clear();  // players and items go, pipelines still PLAYING
  auto took = std::chrono::steady_clock::now() - started;
  EXPECT_LT(took, 200ms) << "releasing must not wait for the pipelines";
  EXPECT_TRUE(teardownDrains());
  // The outputs outlive their items and stay usable.
  for (auto& output : outputs) EXPECT_EQ(output->copyPixelBuffer(0.0), nullptr);
}

TEST_F(LifecycleTest, ItemReleasedWhileLoadingIsNeverReported) {
  server_.setPaused(true);  // the first request hangs
  Playback p = open(*engine_, server_.url(test::mp4_720p()));
  ASSERT_TRUE(server_.waitForStalled(1, 10s));
  std::weak_ptr<RecordingDelegate> delegate = p.delegate;
  auto recorder = p.delegate;
  auto started = std::chrono::steady_clock::now();
  p.player.reset();
  p.item.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - started, 200ms);
  EXPECT_TRUE(teardownDrains());  // the NULL transition interrupts the hanging read
  server_.setPaused(false);
  ASSERT_TRUE(drainMainQueue());
  EXPECT_TRUE(recorder->statuses().empty());
}

TEST_F(LifecycleTest, ALoadThatStallsBeforeItsFirstFrameIsStartedAgain) {
  server_.setPaused(true);  // the source reads nothing: loading makes no progress
  Playback p = open(*engine_, server_.url(test::mp4_720p()));
  ASSERT_TRUE(server_.waitForRequests(test::mp4_720p(), 1, 10s));
  // The stalled load is started afresh: the file is asked for again.
  EXPECT_TRUE(server_.waitForRequests(test::mp4_720p(), 2, 20s));
  EXPECT_EQ(p.item->status(), ItemStatus::Unknown);
  server_.setPaused(false);
  EXPECT_EQ(p.item->waitUntilResolved(30.0, nullptr), ItemStatus::ReadyToPlay)
      << p.item->failureReason();
  ASSERT_TRUE(p.delegate->waitForStatus(ItemStatus::ReadyToPlay, 5s));
  EXPECT_EQ(p.delegate->statuses(), std::vector<ItemStatus>{ItemStatus::ReadyToPlay});
  // The new pipeline is the item's: it plays and answers for it.
  p.player->play();
  EXPECT_TRUE(waitUntilAdvancing(p));
  EXPECT_NEAR(p.item->durationSeconds(), 10.0, 0.1);
}

TEST_F(LifecycleTest, WaitingForTheStatusHonoursTimeoutAndCancellation) {
  server_.setPaused(true);
  Playback p = open(*engine_, server_.url(test::mp4_720p()));
  auto started = std::chrono::steady_clock::now();
  EXPECT_EQ(p.item->waitUntilResolved(0.2, nullptr), ItemStatus::Unknown);
  EXPECT_GE(std::chrono::steady_clock::now() - started, 190ms);

  std::atomic<bool> cancel{false};
  auto waiting =
      std::async(std::launch::async, [&] { return p.item->waitUntilResolved(60.0, &cancel); });
  cancel.store(true);
  ASSERT_EQ(waiting.wait_for(5s), std::future_status::ready);
  EXPECT_EQ(waiting.get(), ItemStatus::Unknown);
  server_.setPaused(false);
  EXPECT_EQ(p.item->waitUntilResolved(30.0, nullptr), ItemStatus::ReadyToPlay);
}

// A delegate that lets the item go from inside the ready call, on the main queue.
class DroppingDelegate : public PlayerItemDelegate {
 public:
  std::shared_ptr<PlayerItem> item;
  std::shared_ptr<MediaPlayer> player;
  std::atomic<bool> dropped{false};
  void itemStatusChanged(PlayerItem&, ItemStatus) override {
    player.reset();
    item.reset();
    dropped = true;
  }
  void itemDidPlayToEnd(PlayerItem&) override {}
};

TEST_F(LifecycleTest, TheLastReferenceMayBeDroppedOnTheMainQueue) {
  auto delegate = std::make_shared<DroppingDelegate>();
  delegate->item = engine_->makeItem(test::mp4_rotated());
  delegate->item->setDelegate(delegate);
  delegate->player = engine_->makePlayer(delegate->item);
  ASSERT_TRUE(eventually([&] { return delegate->dropped.load(); }, 20s));
  ASSERT_TRUE(drainMainQueue());
  EXPECT_TRUE(teardownDrains());
}

TEST_F(LifecycleTest, AGoneDelegateIsNotCalled) {
  auto item = engine_->makeItem(test::mp4_rotated());
  {
    auto delegate = std::make_shared<RecordingDelegate>();
    item->setDelegate(delegate);
  }
  auto player = engine_->makePlayer(item);
  EXPECT_EQ(item->waitUntilResolved(20.0, nullptr), ItemStatus::ReadyToPlay);
  player->seek(3900, true);
  player->play();
  EXPECT_TRUE(eventually([&] { return player->currentTimeSeconds() >= 3.9; }));
  ASSERT_TRUE(drainMainQueue());
}

TEST_F(LifecycleTest, ItemsOutliveTheEngineThatMadeThem) {
  Playback p = open(*engine_, test::mp4_rotated());
  engine_.reset();
  ASSERT_EQ(p.item->waitUntilResolved(20.0, nullptr), ItemStatus::ReadyToPlay);
  p.player->play();
  EXPECT_TRUE(waitUntilAdvancing(p));
  auto worker = TeardownWorker::acquire();  // the item's worker, still alive
  p.player.reset();
  p.item.reset();
  EXPECT_TRUE(teardownDrains());
}

}  // namespace
}  // namespace zent::enginetest
