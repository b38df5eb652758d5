// Caption text reaches a legible output on the main queue, and clears.

#include <gtest/gtest.h>

#include <mutex>

#include "engine_test_support.h"
#include "player/media_player.h"

namespace zent::enginetest {
namespace {

class CaptionRecorder {
 public:
  LegibleOutput::Sink sink() {
    return [this](const std::vector<std::string>& lines) {
      std::lock_guard lock(mutex_);
      deliveries_.push_back(lines);
      if (!MainQueue::isCurrentThread()) offQueue_ = true;
    };
  }
  std::vector<std::vector<std::string>> deliveries() {
    std::lock_guard lock(mutex_);
    return deliveries_;
  }
  bool offQueue() {
    std::lock_guard lock(mutex_);
    return offQueue_;
  }

 private:
  std::mutex mutex_;
  std::vector<std::vector<std::string>> deliveries_;
  bool offQueue_ = false;
};

TEST(CaptionsTest, SubtitleCuesArriveAsTextAndClearAtTheirEnd) {
  auto engine = makeGstMediaEngine();
  CaptionRecorder recorder;
  auto legible = engine->makeLegibleOutput(recorder.sink());
  auto output = engine->makeVideoOutput();
  auto item = engine->makeItem(subtitledMkv());
  item->addOutput(output);
  item->addOutput(legible);
  auto player = engine->makePlayer(item);
  ASSERT_EQ(item->waitUntilResolved(20.0, nullptr), ItemStatus::ReadyToPlay);
  EXPECT_EQ(item->mediaStreams(MediaCharacteristic::Legible).size(), 1u);
  player->play();

  using Lines = std::vector<std::string>;
  // A two-line cue is one caption with its lines joined by "\n"; cues that
  // overlap in time are shown together, in the order they started.
  const std::vector<Lines> expected{
      {"Hello\nWorld"}, {}, {"Second cue"}, {"Second cue\nOverlapping"}, {"Overlapping"}, {}};
  ASSERT_TRUE(eventually([&] { return recorder.deliveries().size() >= expected.size(); }, 15s))
      << recorder.deliveries().size();
  EXPECT_EQ(recorder.deliveries(), expected);
  EXPECT_FALSE(recorder.offQueue());
  // The pictures carry no burnt-in text: captions go to the output only.
  EXPECT_DOUBLE_EQ(item->presentationSize().width, 320.0);
}

TEST(CaptionsTest, TurningCaptionsOffStopsTheText) {
  auto engine = makeGstMediaEngine();
  CaptionRecorder recorder;
  auto item = engine->makeItem(subtitledMkv());
  item->addOutput(engine->makeLegibleOutput(recorder.sink()));
  auto player = engine->makePlayer(item);
  ASSERT_EQ(item->waitUntilResolved(20.0, nullptr), ItemStatus::ReadyToPlay);
  ASSERT_TRUE(
      eventually([&] { return item->mediaStreams(MediaCharacteristic::Legible).size() == 1; }));
  item->select(MediaCharacteristic::Legible, std::nullopt);
  player->play();
  // Past the second cue, which was never sent (the first may already have been
  // queued in the text sink when the stream was switched off).
  ASSERT_TRUE(eventually([&] { return player->currentTimeSeconds() > 3.2; }, 15s));
  ASSERT_TRUE(drainMainQueue());
  for (const auto& lines : recorder.deliveries()) {
    EXPECT_TRUE(lines.empty() || lines.front() == "Hello\nWorld") << lines.front();
  }
}

}  // namespace
}  // namespace zent::enginetest
