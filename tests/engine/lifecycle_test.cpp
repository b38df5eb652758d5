// Item release on the real engine: nothing blocks the caller, nothing is called after
// release, every pipeline is torn down; a stalled load is started again.
#include <gtest/gtest.h>

#include <functional>
#include <thread>

#include "player/scripted_engine.h"
#include "support/http_server.h"
#include "support/main_queue.h"
#include "support/media_fixtures.h"

namespace zent::enginetest {
namespace {

using namespace std::chrono_literals;

bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds timeout = 10s) {
  for (auto deadline = std::chrono::steady_clock::now() + timeout;
       std::chrono::steady_clock::now() < deadline; std::this_thread::sleep_for(10ms)) {
    if (condition()) return true;
  }
  return condition();
}

// Records an item's status changes, as Failed when one came off the main queue.
class RecordingDelegate : public PlayerItemDelegate {
 public:
  void itemStatusChanged(PlayerItem&, ItemStatus status) override {
    std::lock_guard lock(mutex_);
    statuses_.push_back(MainQueue::isCurrentThread() ? status : ItemStatus::Failed);
  }
  void itemDidPlayToEnd(PlayerItem&) override {}
  std::vector<ItemStatus> statuses() {
    std::lock_guard lock(mutex_);
    return statuses_;
  }
  std::mutex mutex_;
  std::vector<ItemStatus> statuses_;
};

// An item with its player and a recording delegate, attached as the player logic does.
struct Playback {
  Playback(MediaEngine& engine, const std::string& url) : item(engine.makeItem(url)) {
    item->setDelegate(delegate);
    player = engine.makePlayer(item);
  }
  std::shared_ptr<PlayerItem> item;
  std::shared_ptr<MediaPlayer> player;
  std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>();

  bool advances(std::chrono::milliseconds timeout = 10s) const {
    double start = player->currentTimeSeconds();
    return eventually([&] { return player->currentTimeSeconds() > start + 0.1; }, timeout);
  }
};

class LifecycleTest : public ::testing::Test {
 protected:
  void SetUp() override { MainQueue::start(); }
  std::shared_ptr<MediaEngine> engine_ = makeGstMediaEngine();
  test::HttpServer server_;
};

TEST_F(LifecycleTest, ALoadThatStallsBeforeItsFirstFrameIsStartedAgain) {
  server_.setPaused(true);  // the source reads nothing: loading makes no progress
  Playback p(*engine_, server_.url(test::mp4_720p()));
  EXPECT_TRUE(server_.waitForRequests(test::mp4_720p(), 2, 30s)) << "not asked for again";
  EXPECT_EQ(p.item->status(), ItemStatus::Unknown);
  server_.setPaused(false);
  EXPECT_EQ(p.item->waitUntilResolved(30.0, nullptr), ItemStatus::ReadyToPlay)
      << p.item->failureReason();
  ASSERT_TRUE(eventually([&] { return !p.delegate->statuses().empty(); }));
  EXPECT_EQ(p.delegate->statuses(), std::vector<ItemStatus>{ItemStatus::ReadyToPlay});
  p.player->play();  // the new pipeline is the item's
  EXPECT_TRUE(p.advances());
  EXPECT_NEAR(p.item->durationSeconds(), 10.0, 0.1);
}

}  // namespace
}  // namespace zent::enginetest
