// The engine on content served over loopback HTTP: progressive MP4, HLS and
// DASH, variant caps, program date-time, and the reasons of failed loads.

#include <gtest/gtest.h>

#include <cmath>

#include "engine_test_support.h"
#include "player/media_player.h"
#include "support/http_server.h"
#include "support/live_hls_playlist.h"
#include "support/media_fixtures.h"

namespace zent::enginetest {
namespace {

class NetworkPlaybackTest : public ::testing::Test {
 protected:
  std::shared_ptr<MediaEngine> engine_ = makeGstMediaEngine();
  test::HttpServer server_;

  // Loads and plays the URL and expects it to run.
  void expectPlays(const std::string& url, double duration) {
    Playback p = open(*engine_, url);
    ASSERT_EQ(p.item->waitUntilResolved(30.0, nullptr), ItemStatus::ReadyToPlay)
        << p.item->failureReason();
    EXPECT_NEAR(p.item->durationSeconds(), duration, 0.1);
    p.player->play();
    EXPECT_TRUE(waitUntilAdvancing(p, 15s));
    EXPECT_GT(p.item->presentationSize().width, 0.0);
    EXPECT_FALSE(p.item->loadedTimeRanges().empty());
  }

  // Loads the URL and expects it to fail, never ready, with a reason that says why.
  std::string expectFailure(const std::string& url) {
    Playback p = open(*engine_, url);
    EXPECT_EQ(p.item->waitUntilResolved(30.0, nullptr), ItemStatus::Failed);
    EXPECT_TRUE(p.delegate->waitForStatus(ItemStatus::Failed));
    EXPECT_EQ(p.delegate->statuses(), std::vector<ItemStatus>{ItemStatus::Failed});
    EXPECT_FALSE(p.delegate->calledOffTheMainQueue());
    EXPECT_TRUE(std::isnan(p.item->durationSeconds()));
    return p.item->failureReason();
  }
};

TEST_F(NetworkPlaybackTest, ProgressiveMp4OverHttpPlays) {
  expectPlays(server_.url(test::mp4_720p()), 10.0);
}

TEST_F(NetworkPlaybackTest, Mp4WithItsIndexAtTheEndPlaysThroughRangeRequests) {
  expectPlays(server_.url(test::mp4_rotated()), 4.0);
}

TEST_F(NetworkPlaybackTest, HlsPlays) {
  expectPlays(server_.url(test::hls_multivariant() + "/master.m3u8"), 10.0);
}

TEST_F(NetworkPlaybackTest, DashPlays) {
  expectPlays(server_.url(test::dash_vod() + "/manifest.mpd"), 10.0);
}

TEST_F(NetworkPlaybackTest, LiveHlsPlaysWithoutADuration) {
  test::LiveHlsOptions options;
  options.programDateTimeStartMs = test::kHlsProgramDateTimeEpochMs;
  test::LiveHlsPlaylist live(test::hls_live_segments(), "", options);
  live.start();
  Playback p = open(*engine_, server_.url(live.playlistPath()));
  ASSERT_EQ(p.item->waitUntilResolved(30.0, nullptr), ItemStatus::ReadyToPlay)
      << p.item->failureReason();
  EXPECT_TRUE(std::isnan(p.item->durationSeconds()));
  p.player->play();
  EXPECT_TRUE(waitUntilAdvancing(p, 15s));
  EXPECT_FALSE(p.item->loadedTimeRanges().empty());
  // Dated segments: the date follows the stream, after the first segment's.
  auto date = p.item->currentDateEpochSeconds();
  ASSERT_TRUE(date.has_value());
  EXPECT_GE(*date, test::kHlsProgramDateTimeEpochMs / 1000.0);
}

TEST_F(NetworkPlaybackTest, HlsRenditionsAreListedWithNamesAndLanguages) {
  Playback p = open(*engine_, server_.url(test::hls_multivariant() + "/master.m3u8"));
  ASSERT_EQ(p.item->waitUntilResolved(30.0, nullptr), ItemStatus::ReadyToPlay);
  std::vector<MediaStreamInfo> audio;
  ASSERT_TRUE(eventually([&] {
    audio = p.item->mediaStreams(MediaCharacteristic::Audible);
    return audio.size() == 2;
  }));
  EXPECT_EQ(audio[0].title, "English");
  EXPECT_EQ(audio[0].language, "en");
  EXPECT_EQ(audio[1].title, "Commentary");
  EXPECT_EQ(audio[1].language, "");
  auto text = p.item->mediaStreams(MediaCharacteristic::Legible);
  ASSERT_EQ(text.size(), 1u);
  EXPECT_EQ(text[0].title, "English");
  EXPECT_EQ(text[0].language, "en");

  // Switching the audio rendition keeps the content playing.
  p.player->play();
  ASSERT_TRUE(waitUntilAdvancing(p, 15s));
  p.item->select(MediaCharacteristic::Audible, 1);
  ASSERT_TRUE(
      server_.waitForRequests(test::hls_multivariant() + "/audio_commentary/index.m3u8", 1, 15s));
  EXPECT_TRUE(waitUntilAdvancing(p, 15s));
  EXPECT_EQ(p.item->status(), ItemStatus::ReadyToPlay);
}

TEST_F(NetworkPlaybackTest, VariantCapChangesThePictureAtOnce) {
  Playback p = open(*engine_, server_.url(test::hls_multivariant() + "/master.m3u8"));
  ASSERT_EQ(p.item->waitUntilResolved(30.0, nullptr), ItemStatus::ReadyToPlay);
  p.player->play();
  // Over loopback the demuxer climbs to the best variant.
  ASSERT_TRUE(eventually([&] { return p.item->presentationSize().width == 1280.0; }, 20s));

  p.item->setPreferredPeakBitRate(400000);
  p.item->applyPreferences();
  EXPECT_TRUE(eventually([&] { return p.item->presentationSize().width == 426.0; }, 20s))
      << p.item->presentationSize().width;
  EXPECT_EQ(p.item->presentationSize().height, 240.0);
  EXPECT_EQ(p.item->status(), ItemStatus::ReadyToPlay);
}

TEST_F(NetworkPlaybackTest, CapsSetBeforeLoadingReachTheDemuxerMadeLater) {
  auto item = engine_->makeItem(server_.url(test::dash_vod() + "/manifest.mpd"));
  item->setPreferredPeakBitRate(1000000);
  item->setPreferredMaximumResolution({640, 360});
  auto player = engine_->makePlayer(item);
  ASSERT_EQ(item->waitUntilResolved(30.0, nullptr), ItemStatus::ReadyToPlay);
  player->play();
  // Let the demuxer download several fragments; it never goes past the cap.
  ASSERT_TRUE(eventually([&] { return player->currentTimeSeconds() > 4.5; }, 20s));
  EXPECT_LE(item->presentationSize().width, 640.0);
  EXPECT_EQ(server_.requestCount(test::dash_vod() + "/chunk-stream2-00002.m4s"), 0);
}

TEST_F(NetworkPlaybackTest, ProgramDateTimeFollowsThePosition) {
  Playback p = open(*engine_, server_.url(test::hls_program_date_time() + "/master.m3u8"));
  ASSERT_EQ(p.item->waitUntilResolved(30.0, nullptr), ItemStatus::ReadyToPlay);
  const double firstDate = test::kHlsProgramDateTimeEpochMs / 1000.0;
  // The playlist has been read by the time the item is ready.
  std::optional<double> date = p.item->currentDateEpochSeconds();
  ASSERT_TRUE(date.has_value());
  EXPECT_NEAR(*date, firstDate + p.item->currentTimeSeconds(), 0.05);

  p.player->seek(5000, true);
  ASSERT_TRUE(eventually([&] { return std::fabs(p.item->currentTimeSeconds() - 5.0) < 0.05; }));
  date = p.item->currentDateEpochSeconds();
  ASSERT_TRUE(date.has_value());
  EXPECT_NEAR(*date, firstDate + 5.0, 0.05);
}

TEST_F(NetworkPlaybackTest, ContentWithoutProgramDateTimeHasNoDate) {
  Playback p = open(*engine_, server_.url(test::hls_single_variant() + "/index.m3u8"));
  ASSERT_EQ(p.item->waitUntilResolved(30.0, nullptr), ItemStatus::ReadyToPlay);
  EXPECT_FALSE(p.item->currentDateEpochSeconds().has_value());
}

TEST_F(NetworkPlaybackTest, Http404FailsNamingTheStatus) {
  server_.setStatusFor("missing.mp4", 404);
  std::string reason = expectFailure(server_.url("missing.mp4"));
  EXPECT_NE(reason.find("404"), std::string::npos) << reason;
}

TEST_F(NetworkPlaybackTest, ClosedPortFailsNamingTheRefusal) {
  std::string url = server_.url(test::mp4_720p());
  server_.setRefuseConnections(true);
  std::string reason = expectFailure(url);
  EXPECT_NE(reason.find("Connection refused"), std::string::npos) << reason;
}

TEST_F(NetworkPlaybackTest, GarbageOverHttpFailsAsNotMedia) {
  std::string reason = expectFailure(server_.url(test::garbage_file()));
  EXPECT_NE(reason.find("Could not determine type of stream"), std::string::npos) << reason;
}

TEST_F(NetworkPlaybackTest, LocalGarbageFailsAsNotMedia) {
  std::string reason = expectFailure(test::garbage_file());
  EXPECT_NE(reason.find("Could not determine type of stream"), std::string::npos) << reason;
}

TEST_F(NetworkPlaybackTest, MissingLocalFileFailsNamingThePath) {
  std::string reason = expectFailure("/nonexistent/clip.mp4");
  EXPECT_NE(reason.find("/nonexistent/clip.mp4"), std::string::npos) << reason;
}

TEST_F(NetworkPlaybackTest, MissingPluginIsNamed) {
  std::string reason = expectFailure("zentnosuchscheme://host/clip.mp4");
  EXPECT_NE(reason.find("ZENTNOSUCHSCHEME protocol source"), std::string::npos) << reason;
}

}  // namespace
}  // namespace zent::enginetest
