// The engine's pure pieces: display transforms, caption text, error reasons,
// stream selection, HLS URL recognition.

#include <gtest/gtest.h>

#include <cmath>

#include "platform/gst/caption_text.h"
#include "platform/gst/engine_error_text.h"
#include "platform/gst/hls_manifest_snapshot.h"
#include "platform/gst/image_orientation.h"
#include "platform/gst/stream_collection.h"

namespace zent {
namespace {

struct OrientationCase {
  const char* tag;
  AffineTransform expected;
};

// Natural size 1920 x 1080; each transform maps the picture into the positive
// quadrant (a point (x, y) goes to (x a + y c + tx, x b + y d + ty)).
TEST(ImageOrientationTest, EveryTagGivesItsTransform) {
  const Size2D natural{1920, 1080};
  const OrientationCase cases[] = {
      {"rotate-0", {1, 0, 0, 1, 0, 0}},
      {"rotate-90", {0, 1, -1, 0, 1080, 0}},
      {"rotate-180", {-1, 0, 0, -1, 1920, 1080}},
      {"rotate-270", {0, -1, 1, 0, 0, 1920}},
      {"flip-rotate-0", {-1, 0, 0, 1, 1920, 0}},
      {"flip-rotate-90", {0, -1, -1, 0, 1080, 1920}},
      {"flip-rotate-180", {1, 0, 0, -1, 0, 1080}},
      {"flip-rotate-270", {0, 1, 1, 0, 0, 0}},
      {"", {1, 0, 0, 1, 0, 0}},
      {"rotate-45", {1, 0, 0, 1, 0, 0}},
      {"sideways", {1, 0, 0, 1, 0, 0}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.tag);
    AffineTransform t = transformForImageOrientation(c.tag, natural);
    EXPECT_EQ(t.a, c.expected.a);
    EXPECT_EQ(t.b, c.expected.b);
    EXPECT_EQ(t.c, c.expected.c);
    EXPECT_EQ(t.d, c.expected.d);
    EXPECT_EQ(t.tx, c.expected.tx);
    EXPECT_EQ(t.ty, c.expected.ty);
    EXPECT_FALSE(std::signbit(t.a) && t.a == 0.0) << "no negative zero";
    EXPECT_FALSE(std::signbit(t.d) && t.d == 0.0) << "no negative zero";
  }
}

TEST(CaptionTextTest, PlainTextIsSplitIntoLines) {
  EXPECT_EQ(captionLines("Hello\nWorld", false), (std::vector<std::string>{"Hello", "World"}));
  EXPECT_EQ(captionLines("Hello\r\nWorld\r\n\n", false),
            (std::vector<std::string>{"Hello", "World"}));
  EXPECT_EQ(captionLines("a\n\nb", false), (std::vector<std::string>{"a", "", "b"}));
  EXPECT_TRUE(captionLines("", false).empty());
  EXPECT_TRUE(captionLines("\n", false).empty());
  // Without markup, angle brackets are text.
  EXPECT_EQ(captionLines("<i>x</i>", false), (std::vector<std::string>{"<i>x</i>"}));
}

TEST(CaptionTextTest, ACueIsOneStringWithItsLinesJoined) {
  EXPECT_EQ(captionText("Third cue\r\nsecond line\r\n", false), "Third cue\nsecond line");
  EXPECT_EQ(captionText("<i>a</i>\n\n<b>b</b>\n\n", true), "a\n\nb");
  EXPECT_EQ(captionText("\n", false), "");
  EXPECT_EQ(captionText("one", false), "one");
}

TEST(CaptionTextTest, MarkupIsReducedToItsText) {
  EXPECT_EQ(captionLines("<i>Hello</i> <b>bold</b>\n<span foreground=\"red\">red</span>", true),
            (std::vector<std::string>{"Hello bold", "red"}));
  EXPECT_EQ(captionLines("Tom &amp; Jerry &lt;3 &quot;q&quot; &apos;a&apos;", true),
            (std::vector<std::string>{"Tom & Jerry <3 \"q\" 'a'"}));
  EXPECT_EQ(captionLines("caf&#233; &#x263A;", true),
            (std::vector<std::string>{"caf\xC3\xA9 \xE2\x98\xBA"}));
  // Not entities: kept as written.
  EXPECT_EQ(captionLines("AT&T &bogus; &#xZZ;", true),
            (std::vector<std::string>{"AT&T &bogus; &#xZZ;"}));
  // An unfinished tag ends the text instead of leaking markup.
  EXPECT_EQ(captionLines("ok <i", true), (std::vector<std::string>{"ok "}));
}

TEST(EngineErrorTextTest, TheDetailReplacesAMessageItRepeats) {
  EXPECT_EQ(engineMessageText("Not Found",
                              "../ext/soup/gstsouphttpsrc.c(1683): gst_soup_http_src_parse_status "
                              "(): /GstPlayBin3:playbin3-0/GstSoupHTTPSrc:souphttpsrc0:\nNot Found "
                              "(404), URL: http://h/x.mp4, Redirect to: (NULL)"),
            "Not Found (404), URL: http://h/x.mp4, Redirect to: (NULL)");
}

TEST(EngineErrorTextTest, ADifferentDetailFollowsTheMessage) {
  EXPECT_EQ(engineMessageText("Resource not found.",
                              "gstfilesrc.c(553): gst_file_src_start (): /GstFileSrc:filesrc0:\n"
                              "No such file \"/x.mp4\""),
            "Resource not found. (No such file \"/x.mp4\")");
}

TEST(EngineErrorTextTest, ALocationOnlyDebugStringAddsNothing) {
  EXPECT_EQ(engineMessageText("Could not determine type of stream.",
                              "gsttypefindelement.c(1186): gst_type_find_element_loop (): "
                              "/GstPlayBin3:playbin3-0/GstTypeFindElement:typefindelement0"),
            "Could not determine type of stream.");
  EXPECT_EQ(engineMessageText("Decoder failed", ""), "Decoder failed");
  EXPECT_EQ(engineMessageText("", "plain words"), "plain words");
  EXPECT_EQ(engineMessageText("two\nlines", ""), "two lines");
}

TEST(EngineErrorTextTest, MissingElementsAreNamed) {
  EXPECT_EQ(missingElementReason("hlsdemux2"), "no element \"hlsdemux2\"");
}

std::vector<StreamEntry> sampleStreams() {
  auto entry = [](const char* id, GstStreamType type, const char* title, const char* lang) {
    StreamEntry e;
    e.id = id;
    e.type = type;
    e.info.title = title;
    e.info.language = lang;
    return e;
  };
  return {entry("v", GST_STREAM_TYPE_VIDEO, "", ""),
          entry("a-en", GST_STREAM_TYPE_AUDIO, "English", "en"),
          entry("t-fr", GST_STREAM_TYPE_TEXT, "Français", "fr"),
          entry("a-de", GST_STREAM_TYPE_AUDIO, "Deutsch", "de"),
          entry("t-en", GST_STREAM_TYPE_TEXT, "English", "en")};
}

TEST(StreamSelectionTest, StreamsOfAKindKeepTheCollectionOrder) {
  auto streams = sampleStreams();
  auto audio = streamsOf(streams, MediaCharacteristic::Audible);
  ASSERT_EQ(audio.size(), 2u);
  EXPECT_EQ(audio[0]->id, "a-en");
  EXPECT_EQ(audio[1]->id, "a-de");
  auto text = streamsOf(streams, MediaCharacteristic::Legible);
  ASSERT_EQ(text.size(), 2u);
  EXPECT_EQ(text[1]->info.title, "English");
}

TEST(StreamSelectionTest, ChoosingOneKindKeepsTheOtherChoices) {
  auto streams = sampleStreams();
  std::vector<std::string> current{"v", "a-en", "t-fr"};
  EXPECT_EQ(selectionWith(streams, current, MediaCharacteristic::Audible, 1),
            (std::vector<std::string>{"v", "t-fr", "a-de"}));
  EXPECT_EQ(selectionWith(streams, current, MediaCharacteristic::Legible, 1),
            (std::vector<std::string>{"v", "a-en", "t-en"}));
  EXPECT_EQ(selectionWith(streams, current, MediaCharacteristic::Legible, std::nullopt),
            (std::vector<std::string>{"v", "a-en"}));
  EXPECT_FALSE(selectionWith(streams, current, MediaCharacteristic::Audible, 2).has_value());
}

TEST(StreamSelectionTest, WithoutAReportedSelectionTheDefaultsAreKept) {
  auto streams = sampleStreams();
  EXPECT_EQ(selectionWith(streams, {}, MediaCharacteristic::Legible, 0),
            (std::vector<std::string>{"v", "a-en", "t-fr"}));
  EXPECT_EQ(selectionWith(streams, {"gone"}, MediaCharacteristic::Audible, 1),
            (std::vector<std::string>{"v", "a-de"}));
}

TEST(HlsUrlTest, PlaylistsAreRecognisedByTheirPath) {
  EXPECT_TRUE(HlsManifestSnapshot::looksLikeHls("http://h/live/master.m3u8"));
  EXPECT_TRUE(HlsManifestSnapshot::looksLikeHls("https://h/a.M3U8?token=x.mp4"));
  EXPECT_TRUE(HlsManifestSnapshot::looksLikeHls("/local/index.m3u8"));
  EXPECT_TRUE(HlsManifestSnapshot::looksLikeHls("http://h/radio.m3u#frag"));
  EXPECT_FALSE(HlsManifestSnapshot::looksLikeHls("http://h/clip.mp4?list=a.m3u8"));
  EXPECT_FALSE(HlsManifestSnapshot::looksLikeHls("http://h/manifest.mpd"));
}

}  // namespace
}  // namespace zent
