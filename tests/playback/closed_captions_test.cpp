// Line-21 captions carried in H.264 (A/53 SEI) as a host sees them: the caption
// options of an HLS CLOSED-CAPTIONS group, each screen of CC1 and CC3 at its
// presentation time, a channel switch, captions off, and a progressive file.
#include <algorithm>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "playback/playback_fixture.h"
#include "support/live_hls_playlist.h"
#include "support/media_fixtures.h"

namespace zent::test {
namespace {

struct Seen {
  std::string text;
  int64_t positionMs;  // read just before the text
};

class ClosedCaptionsTest : public PlaybackTest {
 protected:
  // Polls as a host does every frame, until the end of content or `untilMs`,
  // running `at` once when the position passes its time; returns each change
  // of the caption text with the position it was first seen at.
  std::vector<Seen> watch(int64_t untilMs = 1 << 30, int64_t actionMs = -1,
                          const std::function<void()>& action = {}) {
    std::vector<Seen> seen{{"", 0}};
    pollUntil(
        [&] {
          int64_t position = api().NativeGetCurrentTime(0);
          if (action && actionMs >= 0 && position >= actionMs) {
            action();
            actionMs = -1;
          }
          std::string caption = text(api().NativeUpdateSubtitle(0));
          if (caption != seen.back().text) seen.push_back({caption, position});
          return position >= untilMs || countEvents(0, kEndEvent) > 0;
        },
        seconds(30));
    return seen;
  }

  // Every screen appears, in order; those on screen for half a second or more
  // appear within a frame (plus the main queue's hop and one poll) of their time
  // and never before it.
  void expectScreens(const std::vector<Seen>& seen, const std::vector<CaptionScreen>& screens) {
    std::size_t at = 0;
    for (std::size_t i = 0; i < screens.size(); ++i) {
      SCOPED_TRACE(screens[i].text);
      while (at < seen.size() && seen[at].text != screens[i].text) ++at;
      ASSERT_LT(at, seen.size()) << "never shown";
      double lasts = i + 1 < screens.size() ? screens[i + 1].seconds - screens[i].seconds : 1;
      if (lasts < 0.5) continue;
      auto dueMs = static_cast<int64_t>(screens[i].seconds * 1000);
      EXPECT_GE(seen[at].positionMs, dueMs - 1) << "shown early";
      EXPECT_LE(seen[at].positionMs, dueMs + 34 + 70) << "shown late";
    }
  }

  std::vector<std::string> eventTexts(size_t from = 0) {
    std::vector<std::string> texts;
    for (const RecordedEvent& e : captionEvents(from)) texts.push_back(e.text);
    return texts;
  }

  HttpServer server_;
};

TEST_F(ClosedCaptionsTest, HlsClosedCaptionRenditionsAreOptionsAndCc1ShowsEachScreenOnTime) {
  openPlaying(server_.url(cea608Hls() + "/master.m3u8"));
  ASSERT_EQ(api().NativeGetCaptionStreamCount(0), 2);
  EXPECT_EQ(text(api().NativeGetCaptionStreamName(0, 0)), "English");
  EXPECT_EQ(text(api().NativeGetCaptionStreamLanguage(0, 0)), "en");
  EXPECT_EQ(text(api().NativeGetCaptionStreamName(0, 1)), "Espa\xC3\xB1ol");
  EXPECT_EQ(text(api().NativeGetCaptionStreamLanguage(0, 1)), "es");

  expectScreens(watch(), kCc1Screens);
  // The events carry the same screens, roll-up lines scrolling, and CC3 never.
  std::vector<std::string> texts = eventTexts();
  for (const CaptionScreen& screen : kCc1Screens) {
    EXPECT_NE(std::find(texts.begin(), texts.end(), screen.text), texts.end()) << screen.text;
  }
  EXPECT_EQ(std::find(texts.begin(), texts.end(), kCc3Screens[0].text), texts.end());
  for (const RecordedEvent& e : captionEvents()) EXPECT_NEAR(e.params[1], 6000, 100);
}

TEST_F(ClosedCaptionsTest, SwitchingToCc3ShowsItsCaptionsAndCaptionsOffClearsOnce) {
  openPlaying(server_.url(cea608Hls() + "/master.m3u8"));
  api().NativeSetCaptionStream(0, 1);
  size_t mark = 0;
  std::vector<Seen> seen = watch(3000, 2500, [&] {
    mark = eventRecorder().events().size();
    api().NativeEnableCaptions(0, false);
  });
  expectScreens(seen, {{kCc3Screens[0].seconds, kCc3Screens[0].text}});
  for (const Seen& s : seen) EXPECT_NE(s.text, kCc1Screens[0].text);
  // Off while "Hola ñ" was on screen: one clear, then nothing until the end.
  watch();
  EXPECT_EQ(eventTexts(mark), std::vector<std::string>{""}) << describe();
}

// A file has no manifest: its options are the channels found carrying text.
TEST_F(ClosedCaptionsTest, ProgressiveFileShowsCc1ByDefaultAndListsTheChannelsCarryingText) {
  openPlaying(cea608Mp4(), 0, true);
  expectScreens(watch(), kCc1Screens);
  ASSERT_EQ(api().NativeGetCaptionStreamCount(0), 2);
  EXPECT_EQ(text(api().NativeGetCaptionStreamName(0, 0)), "CC1");
  EXPECT_EQ(text(api().NativeGetCaptionStreamName(0, 1)), "CC3");
}

// Live content has no total time (NaN crosses the boundary as 0): the caption
// events carry 0, the position advances, and no ERROR.
TEST_F(ClosedCaptionsTest, LiveStreamHasNoTotalTimeAndRaisesCaptionEventsWithZero) {
  LiveHlsPlaylist live(cea608Hls(), 3);
  live.start();
  openPlaying(server_.url(live.playlistPath()));
  EXPECT_EQ(api().NativeGetTotalTime(0), 0);
  const int64_t start = api().NativeGetCurrentTime(0);
  auto caption = eventRecorder().waitFor(
      [](const RecordedEvent& e) { return e.type == kCaptionEvent && !e.text.empty(); },
      seconds(30));
  ASSERT_TRUE(caption) << describe();
  EXPECT_EQ(caption->params[1], 0);
  EXPECT_GT(caption->params[0], 0);
  EXPECT_TRUE(pollUntil([&] { return api().NativeGetCurrentTime(0) >= start + 1500; }, seconds(8)))
      << "position stayed at " << api().NativeGetCurrentTime(0);
  EXPECT_EQ(logRecorder().count("", 3), 0u) << describe();
}

}  // namespace
}  // namespace zent::test
