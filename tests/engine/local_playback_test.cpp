// The engine on real local media: loading, real-time playback, seeks, rates,
// the end of content and the frames it hands out.

#include <gtest/gtest.h>

#include <cmath>

#include "engine_test_support.h"
#include "player/media_player.h"
#include "support/media_fixtures.h"

namespace zent::enginetest {
namespace {

constexpr double kFrame = 1.0 / 30.0;

class LocalPlaybackTest : public ::testing::Test {
 protected:
  std::shared_ptr<MediaEngine> engine_ = makeGstMediaEngine();
};

TEST_F(LocalPlaybackTest, LocalMp4BecomesReadyOnTheMainQueueWithItsDuration) {
  Playback p = open(*engine_, test::mp4_720p());
  EXPECT_EQ(p.item->waitUntilResolved(20.0, nullptr), ItemStatus::ReadyToPlay);
  ASSERT_TRUE(p.delegate->waitForStatus(ItemStatus::ReadyToPlay));
  EXPECT_FALSE(p.delegate->calledOffTheMainQueue());
  EXPECT_NEAR(p.item->durationSeconds(), 10.0, kFrame);
  EXPECT_EQ(p.player->rate(), 0.0f);  // loaded paused
  EXPECT_EQ(p.item->failureReason(), "");
  EXPECT_DOUBLE_EQ(p.item->presentationSize().width, 1280.0);
  EXPECT_DOUBLE_EQ(p.item->presentationSize().height, 720.0);
  // A local file is all loaded.
  auto ranges = p.item->loadedTimeRanges();
  ASSERT_FALSE(ranges.empty());
  EXPECT_NEAR(ranges.front().startSeconds + ranges.front().durationSeconds, 10.0, kFrame);
}

TEST_F(LocalPlaybackTest, PlaysInRealTimeAndPauseHoldsThePosition) {
  Playback p = open(*engine_, test::mp4_720p());
  ASSERT_EQ(p.item->waitUntilResolved(20.0, nullptr), ItemStatus::ReadyToPlay);
  p.player->play();
  EXPECT_FLOAT_EQ(p.player->rate(), 1.0f);
  ASSERT_TRUE(waitUntilAdvancing(p));
  EXPECT_NEAR(measuredRate(p, 2000ms), 1.0, 0.1);

  p.player->pause();
  EXPECT_EQ(p.player->rate(), 0.0f);
  double held = 0;
  // Once paused, the position stays where it stopped.
  ASSERT_TRUE(eventually([&] {
    double a = p.player->currentTimeSeconds();
    std::this_thread::sleep_for(100ms);
    held = p.player->currentTimeSeconds();
    return a == held;
  }));
  EXPECT_GT(held, 0.5);
}

TEST_F(LocalPlaybackTest, ExactSeekLandsOnTheAskedPosition) {
  Playback p = open(*engine_, test::mp4_720p());
  ASSERT_EQ(p.item->waitUntilResolved(20.0, nullptr), ItemStatus::ReadyToPlay);
  p.player->seek(5000, true);
  EXPECT_NEAR(p.player->currentTimeSeconds(), 5.0, kFrame);  // reported at once
  ASSERT_TRUE(drainMainQueue());
  ASSERT_TRUE(eventually([&] { return std::fabs(p.player->currentTimeSeconds() - 5.0) < kFrame; }));

  // A seek settling is not a new status change.
  ASSERT_TRUE(drainMainQueue());
  EXPECT_EQ(p.delegate->statuses(), std::vector<ItemStatus>{ItemStatus::ReadyToPlay});

  // Playing on from there continues from 5 s.
  p.player->play();
  ASSERT_TRUE(waitUntilAdvancing(p));
  EXPECT_GT(p.player->currentTimeSeconds(), 5.0);
  EXPECT_LT(p.player->currentTimeSeconds(), 7.0);
}

TEST_F(LocalPlaybackTest, SeekBeforeLoadingFinishedIsAppliedWhenReady) {
  Playback p = open(*engine_, test::mp4_720p());
  p.player->seek(3000, true);
  ASSERT_EQ(p.item->waitUntilResolved(20.0, nullptr), ItemStatus::ReadyToPlay);
  ASSERT_TRUE(eventually([&] { return std::fabs(p.player->currentTimeSeconds() - 3.0) < kFrame; }));
}

TEST_F(LocalPlaybackTest, TheEndIsReportedOnce) {
  Playback p = open(*engine_, test::mp4_720p());
  ASSERT_EQ(p.item->waitUntilResolved(20.0, nullptr), ItemStatus::ReadyToPlay);
  p.player->seek(9000, true);
  p.player->play();
  ASSERT_TRUE(p.delegate->waitForEnds(1, 10s));
  EXPECT_FALSE(p.delegate->calledOffTheMainQueue());
  // Nothing more follows while the pipeline sits at the end.
  EXPECT_FALSE(p.delegate->waitForEnds(2, 500ms));
  EXPECT_EQ(p.delegate->ends(), 1);
  EXPECT_NEAR(p.player->currentTimeSeconds(), 10.0, 2 * kFrame);
}

TEST_F(LocalPlaybackTest, RateTwoDoublesTheAdvanceAndKeepsThePosition) {
  Playback p = open(*engine_, test::mp4_720p());
  ASSERT_EQ(p.item->waitUntilResolved(20.0, nullptr), ItemStatus::ReadyToPlay);
  p.player->play();
  ASSERT_TRUE(waitUntilAdvancing(p));
  double before = p.player->currentTimeSeconds();
  p.player->setRate(2.0f);
  EXPECT_FLOAT_EQ(p.player->rate(), 2.0f);
  // The rate change keeps the position (within the time the call took).
  EXPECT_NEAR(p.player->currentTimeSeconds(), before, 0.2);
  ASSERT_TRUE(waitUntilAdvancing(p));
  EXPECT_NEAR(measuredRate(p, 1500ms), 2.0, 0.2);

  // Pausing returns to the normal rate for the next play(), like the platform's.
  p.player->pause();
  p.player->play();
  ASSERT_TRUE(waitUntilAdvancing(p));
  EXPECT_FLOAT_EQ(p.player->rate(), 1.0f);
  EXPECT_NEAR(measuredRate(p, 1000ms), 1.0, 0.15);
}

TEST_F(LocalPlaybackTest, RateSetWhilePausedIsUsedByTheNextPlay) {
  Playback p = open(*engine_, test::mp4_720p());
  ASSERT_EQ(p.item->waitUntilResolved(20.0, nullptr), ItemStatus::ReadyToPlay);
  p.player->setRate(2.0f);
  EXPECT_EQ(p.player->rate(), 0.0f);  // still paused
  p.player->play();
  ASSERT_TRUE(waitUntilAdvancing(p));
  EXPECT_NEAR(measuredRate(p, 1500ms), 2.0, 0.2);
}

// The bars' stored code values, read back from a decoded frame.
TEST_F(LocalPlaybackTest, FramesCarryTheDecodedPixelsAndColorimetry) {
  auto output = engine_->makeVideoOutput();
  auto item = engine_->makeItem(test::mp4_pattern());
  item->addOutput(output);
  auto player = engine_->makePlayer(item);
  ASSERT_EQ(item->waitUntilResolved(20.0, nullptr), ItemStatus::ReadyToPlay);
  ASSERT_TRUE(eventually([&] { return output->hasNewPixelBuffer(0.0); }));
  auto frame = output->copyPixelBuffer(0.0);
  ASSERT_NE(frame, nullptr);
  ASSERT_EQ(frame->format(), PixelFormat::I420);
  EXPECT_EQ(frame->matrix(), ColorMatrix::BT709);
  EXPECT_EQ(frame->range(), ColorRange::Limited);
  PlaneView y = frame->plane(0), u = frame->plane(1), v = frame->plane(2);
  for (const auto& band : test::patternBands()) {
    int x = (band.x0 + band.x1) / 2;
    int row = test::kPatternHeight / 2;
    SCOPED_TRACE(band.name);
    EXPECT_EQ(y.data[row * y.stride + x], band.y);
    EXPECT_EQ(u.data[(row / 2) * u.stride + x / 2], band.u);
    EXPECT_EQ(v.data[(row / 2) * v.stride + x / 2], band.v);
  }
}

TEST_F(LocalPlaybackTest, VideoOutputGetsFramesOfTheRightSizeAndFormat) {
  auto output = engine_->makeVideoOutput();
  auto item = engine_->makeItem(test::mp4_720p());
  item->addOutput(output);
  EXPECT_FALSE(output->hasNewPixelBuffer(0.0));
  EXPECT_EQ(output->copyPixelBuffer(0.0), nullptr);
  auto player = engine_->makePlayer(item);
  ASSERT_EQ(item->waitUntilResolved(20.0, nullptr), ItemStatus::ReadyToPlay);
  // The prerolled frame is there before playback starts.
  ASSERT_TRUE(eventually([&] { return output->hasNewPixelBuffer(0.0); }));
  auto frame = output->copyPixelBuffer(0.0);
  ASSERT_NE(frame, nullptr);
  EXPECT_FALSE(output->hasNewPixelBuffer(0.0));  // handed out
  EXPECT_EQ(frame->width(), 1280);
  EXPECT_EQ(frame->height(), 720);
  ASSERT_EQ(frame->format(), PixelFormat::I420);  // the decoder's own format
  ASSERT_EQ(frame->planeCount(), 3);
  PlaneView luma = frame->plane(0);
  PlaneView chroma = frame->plane(1);
  EXPECT_EQ(luma.width, 1280);
  EXPECT_EQ(luma.height, 720);
  EXPECT_GE(luma.stride, 1280);
  EXPECT_EQ(chroma.width, 640);
  EXPECT_EQ(chroma.height, 360);
  ASSERT_NE(luma.data, nullptr);

  // Playing brings new frames.
  player->play();
  ASSERT_TRUE(eventually([&] { return output->hasNewPixelBuffer(0.0); }));
  int fresh = 0;
  ASSERT_TRUE(eventually([&] {
    if (output->hasNewPixelBuffer(0.0) && output->copyPixelBuffer(0.0)) ++fresh;
    return fresh >= 10;
  }));

  // A removed output gets nothing more.
  item->removeOutput(output);
  EXPECT_EQ(output->copyPixelBuffer(0.0), nullptr);
  std::this_thread::sleep_for(100ms);
  EXPECT_FALSE(output->hasNewPixelBuffer(0.0));
}

TEST_F(LocalPlaybackTest, AnOutputAddedToAPausedItemStartsWithTheFrameOnScreen) {
  Playback p = open(*engine_, test::mp4_720p());
  ASSERT_EQ(p.item->waitUntilResolved(20.0, nullptr), ItemStatus::ReadyToPlay);
  auto output = engine_->makeVideoOutput();
  p.item->addOutput(output);
  ASSERT_TRUE(eventually([&] { return output->hasNewPixelBuffer(0.0); }));
}

TEST_F(LocalPlaybackTest, RotatedMp4HasAQuarterTurnTransform) {
  Playback p = open(*engine_, test::mp4_rotated());
  ASSERT_EQ(p.item->waitUntilResolved(20.0, nullptr), ItemStatus::ReadyToPlay);
  std::vector<VideoTrackGeometry> tracks;
  ASSERT_TRUE(eventually([&] {
    tracks = p.item->videoTracks();
    return !tracks.empty() && tracks[0].preferredTransform.b != 0.0;
  }));
  ASSERT_EQ(tracks.size(), 1u);
  EXPECT_DOUBLE_EQ(tracks[0].naturalSize.width, 640.0);
  EXPECT_DOUBLE_EQ(tracks[0].naturalSize.height, 360.0);
  const AffineTransform& t = tracks[0].preferredTransform;
  EXPECT_EQ(t.a, 0.0);
  EXPECT_EQ(t.b, 1.0);
  EXPECT_EQ(t.c, -1.0);
  EXPECT_EQ(t.d, 0.0);
  EXPECT_EQ(t.tx, 360.0);
  EXPECT_EQ(t.ty, 0.0);
}

TEST_F(LocalPlaybackTest, UnrotatedMp4HasTheIdentity) {
  Playback p = open(*engine_, test::mp4_720p());
  ASSERT_EQ(p.item->waitUntilResolved(20.0, nullptr), ItemStatus::ReadyToPlay);
  auto tracks = p.item->videoTracks();
  ASSERT_EQ(tracks.size(), 1u);
  EXPECT_EQ(tracks[0].preferredTransform.a, 1.0);
  EXPECT_EQ(tracks[0].preferredTransform.b, 0.0);
  EXPECT_EQ(tracks[0].preferredTransform.d, 1.0);
}

TEST_F(LocalPlaybackTest, VolumeAndMuteReachThePipelineWithoutDisturbingPlayback) {
  Playback p = open(*engine_, test::mp4_720p());
  ASSERT_EQ(p.item->waitUntilResolved(20.0, nullptr), ItemStatus::ReadyToPlay);
  p.player->setVolume(0.25f);
  p.player->setMuted(true);
  p.player->setVolume(7.0f);  // limited to 1.0
  p.player->play();
  ASSERT_TRUE(waitUntilAdvancing(p));
  p.player->setMuted(false);
  EXPECT_EQ(p.item->status(), ItemStatus::ReadyToPlay);
}

TEST_F(LocalPlaybackTest, StreamsOfTheContentAreListed) {
  Playback p = open(*engine_, test::mp4_720p());
  ASSERT_EQ(p.item->waitUntilResolved(20.0, nullptr), ItemStatus::ReadyToPlay);
  ASSERT_TRUE(
      eventually([&] { return !p.item->mediaStreams(MediaCharacteristic::Audible).empty(); }));
  EXPECT_EQ(p.item->mediaStreams(MediaCharacteristic::Audible).size(), 1u);
  EXPECT_TRUE(p.item->mediaStreams(MediaCharacteristic::Legible).empty());
}

}  // namespace
}  // namespace zent::enginetest
