// zentplay's own logic, without the library.
#include <gtest/gtest.h>

#include <array>
#include <iterator>
#include <sstream>
#include <tuple>

#include "options.h"
#include "player_events.h"
#include "video_canvas.h"
#include "zentplayer.h"

namespace zentplay {
namespace {

ParsedCommandLine parse(const std::string& words) {  // split at spaces
  std::istringstream in(words);
  return parseCommandLine({std::istream_iterator<std::string>(in), {}});
}

TEST(CommandLine, ReadsTheOptionsTheHeadlessRunsLeaveOut) {
  const auto parsed = parse("--mime dash --captions http://127.0.0.1:8080/x");
  ASSERT_EQ(parsed.error, "");
  EXPECT_EQ(parsed.options.mime, ZENTPLAYER_MIME_DASH);
  EXPECT_TRUE(parsed.options.captions);
  EXPECT_EQ(parsed.options.target, "http://127.0.0.1:8080/x");
  EXPECT_EQ(parse("clip.mp4").options.mime, -1) << "left to be guessed";
  EXPECT_EQ(parse("--out d x.mp4").options.snapshotEvery, 30);
}

TEST(CommandLine, RejectsWhatCannotBeMeant) {
  for (const char* words : {"", "--frames 0 x.mp4", "--frames 12x x.mp4", "--frames",
                            "--snapshot-every 5 x.mp4", "--mime mp4 x.mp4", "--log-level 5 x.mp4",
                            "--start-ms -1 x.mp4", "--bogus x.mp4", "a.mp4 b.mp4"})
    EXPECT_NE(parse(words).error, "") << words;
  EXPECT_TRUE(parse("--help").showHelp);
}

TEST(CommandLine, TellsUrlsFromPathsAndGuessesTheirType) {
  for (const char* url : {"http://host/a.m3u8", "file:///tmp/a.mp4"})
    EXPECT_TRUE(looksLikeUrl(url));
  for (const char* path : {"/tmp/a.mp4", "dir/with://odd/name.mp4", "://nothing"})
    EXPECT_FALSE(looksLikeUrl(path)) << path;
  for (auto [url, mime] : {std::pair{"http://h/live/master.M3U8?token=1", ZENTPLAYER_MIME_HLS},
                           {"https://h/manifest.mpd#t=3", ZENTPLAYER_MIME_DASH},
                           {"https://h/movie.mp4?x=.m3u8", ZENTPLAYER_MIME_NONE}})
    EXPECT_EQ(guessMime(url), mime) << url;
}

TEST(EventQueue, TheListenerCopiesTextThatDiesAfterTheCall) {
  listenerQueue().drain();
  std::string text = "caption text";
  queueingListener(false, 3, ZENTPLAYER_EVENT_CAPTION_TEXT, 12, 10000, 0, 1, text.c_str());
  text.assign(text.size(), 'x');  // the library's buffer is reused after the call
  queueingListener(true, 3, ZENTPLAYER_ERROR_NETWORK_FAILED, 0, 0, 0, 1, nullptr);
  auto events = listenerQueue().drain();
  ASSERT_EQ(events.size(), 2u);
  EXPECT_EQ(std::tie(events[0].text, events[0].player, events[0].param1),
            std::make_tuple("caption text", 3, 12));
  EXPECT_EQ(std::tie(events[1].isError, events[1].text), std::make_tuple(true, ""));
  EXPECT_TRUE(listenerQueue().drain().empty());
}

TEST(PictureFit, KeepsTheVideosShapeAndCentresIt) {
  const std::pair<std::array<int, 4>, PixelRect> kCases[] = {
      {{1280, 720, 1280, 720}, {0, 0, 1280, 720}},
      {{1920, 1080, 1280, 720}, {0, 0, 1280, 720}},
      {{1280, 720, 1600, 720}, {160, 0, 1280, 720}},
      {{1280, 720, 1280, 1000}, {0, 140, 1280, 720}},
      {{360, 640, 1280, 720}, {437, 0, 405, 720}},
      {{0, 720, 1280, 720}, {}},
      {{1280, 720, 0, 0}, {}}};
  for (const auto& [in, want] : kCases) {
    const PixelRect r = fitRect(in[0], in[1], in[2], in[3]);
    EXPECT_EQ(std::tie(r.x, r.y, r.width, r.height),
              std::tie(want.x, want.y, want.width, want.height))
        << in[0] << "x" << in[1] << " in " << in[2] << "x" << in[3];
  }
}

}  // namespace
}  // namespace zentplay
