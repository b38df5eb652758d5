#include "engine_test_support.h"

#include "support/media_cache.h"
#include "support/scoped_temp_dir.h"

namespace zent::enginetest {

[[maybe_unused]] static ::testing::Environment* const gEnvironment =
    ::testing::AddGlobalTestEnvironment(new EngineEnvironment());

void EngineEnvironment::SetUp() {
  MainQueue::start();
}
void EngineEnvironment::TearDown() {
  MainQueue::stop();
}

std::string subtitledMkv() {
  return test::cachedMedia("engine_subtitled-v2.mkv", [](const std::string& path) {
    test::ScopedTempDir dir;
    std::string srt = dir.write("cues.srt",
                                "1\n00:00:00,500 --> 00:00:01,500\nHello\nWorld\n\n"
                                "2\n00:00:02,000 --> 00:00:03,000\nSecond cue\n\n"
                                "3\n00:00:02,500 --> 00:00:03,500\nOverlapping\n\n");
    test::runFfmpeg({"-f",       "lavfi",    "-i",      "testsrc=size=320x240:rate=25",
                     "-i",       srt,        "-t",      "4",
                     "-map",     "0:v",      "-map",    "1:s",
                     "-c:v",     "libx264",  "-preset", "ultrafast",
                     "-pix_fmt", "yuv420p",  "-c:s",    "srt",
                     "-f",       "matroska", path});
  });
}

Playback open(MediaEngine& engine, const std::string& url) {
  Playback playback;
  playback.item = engine.makeItem(url);
  playback.item->setDelegate(playback.delegate);
  playback.player = engine.makePlayer(playback.item);
  return playback;
}

bool waitUntilAdvancing(const Playback& playback, std::chrono::milliseconds timeout) {
  double start = playback.player->currentTimeSeconds();
  return eventually([&] { return playback.player->currentTimeSeconds() > start + 0.1; }, timeout);
}

double measuredRate(const Playback& playback, std::chrono::milliseconds span) {
  using Clock = std::chrono::steady_clock;
  auto t0 = Clock::now();
  double p0 = playback.player->currentTimeSeconds();
  // Bounded polling: the figure comes from the two clocks, not from the sleeps.
  while (Clock::now() - t0 < span) std::this_thread::sleep_for(20ms);
  double p1 = playback.player->currentTimeSeconds();
  double wall = std::chrono::duration<double>(Clock::now() - t0).count();
  return (p1 - p0) / wall;
}

}  // namespace zent::enginetest
