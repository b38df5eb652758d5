// Audio renditions and in-stream captions as a host sees them.
#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "../engine/tone_sink.h"
#include "playback/playback_fixture.h"
#include "support/files.h"
#include "support/subprocess.h"

namespace zent::test {
namespace {

// The tone sink must be in place before the process's first pipeline picks its
// audio sink, so it is registered before any test runs.
class ToneSinkEnvironment : public ::testing::Environment {
 public:
  void SetUp() override { registerToneSink(); }
};
[[maybe_unused]] const auto* const kToneSink =
    ::testing::AddGlobalTestEnvironment(new ToneSinkEnvironment);

class RenditionsTest : public PlaybackTest {
 protected:
  std::string hlsUrl() { return server_.url(hls_multivariant() + "/master.m3u8"); }

  std::vector<std::string> cueTexts(size_t from = 0) {
    std::vector<std::string> texts;
    for (const RecordedEvent& e : captionEvents(from)) {
      if (!e.text.empty()) texts.push_back(e.text);
    }
    return texts;
  }
  bool waitForCue(const std::string& text, milliseconds timeout, size_t from = 0) {
    return eventRecorder()
        .waitFor(
            [&](const RecordedEvent& e) {
              return e.playerIndex == 0 && e.type == kCaptionEvent && e.text == text;
            },
            timeout, from)
        .has_value();
  }

  HttpServer server_;
};

TEST_F(RenditionsTest, WebVttCuesOfAnHlsRenditionArriveOnceEachAtTheirTimes) {
  openPlaying(hlsUrl());
  const int64_t total = api().NativeGetTotalTime(0);
  EXPECT_NEAR(static_cast<double>(total), 10000.0, 100.0);

  // The host polls every frame: the position never runs past the duration,
  // and each cue's text appears at its presentation time, never before.
  int64_t furthest = 0;
  std::vector<std::pair<std::string, int64_t>> appeared;  // text, position when first seen
  ASSERT_TRUE(pollUntil(
      [&] {
        int64_t position = api().NativeGetCurrentTime(0);
        furthest = std::max(furthest, position);
        std::string caption = text(api().NativeUpdateSubtitle(0));
        if (!caption.empty() && (appeared.empty() || appeared.back().first != caption)) {
          appeared.emplace_back(caption, position);
        }
        return countEvents(0, kEndEvent) > 0;
      },
      seconds(30)))
      << describe();
  ASSERT_EQ(appeared.size(), kHlsCues.size()) << describe();
  for (std::size_t i = 0; i < appeared.size(); ++i) {
    SCOPED_TRACE(appeared[i].first);
    const auto dueMs = static_cast<int64_t>(kHlsCues[i].start * 1000);
    // The position was read before the text: a text seen early shows here.
    EXPECT_GE(appeared[i].second, dueMs - 1) << "the caption came early";
    // One 30 fps frame, plus the main queue's hop and one poll.
    EXPECT_LE(appeared[i].second, dueMs + 33 + 70) << "the caption came late";
  }
  // The audio rendition's last AAC frame may end a few tens of ms after the
  // duration the playlists give; seconds past it would be the fault.
  EXPECT_LE(furthest, total + 50) << "the current time ran past the duration";
  EXPECT_GE(furthest, total - 500) << "the end came before the content had played";

  // Each cue once, whole, at its time, and cleared at its end.
  std::vector<RecordedEvent> captions = captionEvents();
  std::vector<std::string> shown = cueTexts();
  ASSERT_EQ(shown.size(), kHlsCues.size()) << describe();
  std::size_t cue = 0;
  for (std::size_t i = 0; i < captions.size(); ++i) {
    const RecordedEvent& e = captions[i];
    if (e.text.empty()) {
      EXPECT_EQ(e.params[0], 0);
      continue;
    }
    SCOPED_TRACE(e.text);
    ASSERT_LT(cue, kHlsCues.size());
    EXPECT_EQ(e.text, kHlsCues[cue].text);
    EXPECT_EQ(e.params[0], static_cast<int32_t>(std::string(kHlsCues[cue].text).size()));
    EXPECT_EQ(e.params[1], total);
    EXPECT_EQ(e.params[3], 1);
    // The next caption event clears it at the cue's end.
    ASSERT_LT(i + 1, captions.size());
    EXPECT_EQ(captions[i + 1].text, "");
    EXPECT_EQ(captions[i + 1].params[0], 0);
    ++cue;
  }
}

TEST_F(RenditionsTest, CaptionsOffClearsOnceAndStaysQuietAndOnAgainShowsTheFollowingCues) {
  openPlaying(hlsUrl());
  ASSERT_TRUE(waitForCue("First cue", seconds(15))) << describe();
  size_t mark = eventRecorder().size();
  api().NativeEnableCaptions(0, false);
  ASSERT_TRUE(eventRecorder().waitFor(
      [](const RecordedEvent& e) { return e.type == kCaptionEvent; }, seconds(5), mark))
      << describe();
  // Past the second cue's time: nothing was shown, and the one clear came.
  ASSERT_TRUE(pollUntil([&] { return api().NativeGetCurrentTime(0) > 4500; }, seconds(15)));
  std::vector<RecordedEvent> whileOff = captionEvents(mark);
  ASSERT_EQ(whileOff.size(), 1u) << describe();
  EXPECT_EQ(whileOff[0].text, "");
  EXPECT_EQ(whileOff[0].params[0], 0);

  mark = eventRecorder().size();
  api().NativeEnableCaptions(0, true);
  EXPECT_TRUE(waitForCue(kHlsCues[2].text, seconds(10), mark)) << describe();
  for (const std::string& text : cueTexts(mark)) EXPECT_NE(text, "First cue");
}

// Two audio renditions sharing a LANGUAGE are two options, each with its own
// name and its own sound; switching keeps the position moving and reloads nothing.
TEST_F(RenditionsTest, AudioRenditionsOfOneLanguageAreListedAndSwitchWithoutReloading) {
  clearToneReadings();
  ScopedTempDir dir;
  std::string media = server_.url(hls_multivariant());
  dir.write("master.m3u8",
            "#EXTM3U\n#EXT-X-VERSION:3\n"
            "#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"aud\",NAME=\"English\",LANGUAGE=\"en\","
            "DEFAULT=YES,AUTOSELECT=YES,URI=\"" +
                media +
                "/audio_en/index.m3u8\"\n"
                "#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"aud\",NAME=\"Director\",LANGUAGE=\"en\","
                "DEFAULT=NO,AUTOSELECT=NO,URI=\"" +
                media + "/audio_commentary/index.m3u8\"\n" +
                "#EXT-X-STREAM-INF:BANDWIDTH=800000,RESOLUTION=640x360,CODECS=\"avc1.42c01e,"
                "mp4a.40.2\",AUDIO=\"aud\"\n" +
                media + "/video_360p/index.m3u8\n");
  HttpServer masterServer(dir.path());
  openPlaying(masterServer.url("master.m3u8"));
  ASSERT_EQ(api().NativeGetAudioStreamCount(0), 2) << describe();
  EXPECT_EQ(text(api().NativeGetAudioStreamName(0, 0)), "English");
  EXPECT_EQ(text(api().NativeGetAudioStreamName(0, 1)), "Director");
  EXPECT_EQ(text(api().NativeGetAudioStreamLanguage(0, 1)), "en");
  ASSERT_TRUE(waitForTone(440.0, 30.0, 3, seconds(15)))
      << (toneReadings().empty() ? -1.0 : toneReadings().back().hertz);

  // While the switch happens the position keeps moving: no jump back, no stall.
  int64_t before = api().NativeGetCurrentTime(0);
  api().NativeSetAudioStream(0, 1);
  int64_t last = before, largestStep = 0;
  bool switched = false;
  auto started = std::chrono::steady_clock::now();
  while (!switched && std::chrono::steady_clock::now() - started < seconds(8)) {
    int64_t now = api().NativeGetCurrentTime(0);
    EXPECT_GE(now, last) << "the position went back";
    largestStep = std::max(largestStep, now - last);
    last = now;
    switched = waitForTone(1000.0, 40.0, 3, milliseconds(20));
  }
  ASSERT_TRUE(switched) << (toneReadings().empty() ? -1.0 : toneReadings().back().hertz);
  EXPECT_LT(largestStep, 400) << "the picture stood still";
  EXPECT_GT(last, before);
  EXPECT_EQ(countEvents(0, 0), 1u) << "the content was loaded again";
  api().NativeSetAudioStream(0, 0);
  EXPECT_TRUE(waitForTone(440.0, 30.0, 3, seconds(8)));
}

// MP4 timed text muxed into the file reaches the host whole, its markup stripped and
// its length counted in characters ("né ok" is 5 characters in 6 bytes).
TEST_F(RenditionsTest, CaptionsMuxedInTheFileReachTheHostWhole) {
  ScopedTempDir dir;
  std::string srt = dir.write("cues.srt",
                              "1\n00:00:00,500 --> 00:00:01,200\nHello\nWorld\n\n"
                              "2\n00:00:01,600 --> 00:00:02,300\n<i>n\xC3\xA9</i> ok\n\n");
  std::string file = dir.file("movtext.mp4");
  runFfmpeg({"-f", "lavfi", "-i", "testsrc2=size=320x240:rate=30:duration=3", "-i", srt, "-map",
             "0:v", "-map", "1:s", "-c:v", "libx264", "-pix_fmt", "yuv420p", "-c:s", "mov_text",
             file});
  openPlaying(file, 0, true);
  EXPECT_EQ(api().NativeGetCaptionStreamCount(0), 1);
  ASSERT_TRUE(waitForEvent(0, kEndEvent, seconds(20))) << describe();
  EXPECT_EQ(cueTexts(), (std::vector<std::string>{"Hello\nWorld", "n\xC3\xA9 ok"})) << describe();
  for (const RecordedEvent& e : captionEvents()) {
    if (!e.text.empty()) {
      EXPECT_EQ(e.params[0], e.text == "Hello\nWorld" ? 11 : 5) << e.text;
    }
  }
}

}  // namespace
}  // namespace zent::test
