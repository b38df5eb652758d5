// The engine's pure pieces: caption text, error reasons, the adaptive demuxer choice.
#include <gtest/gtest.h>

#include "platform/gst/adaptive_demux_choice.h"
#include "platform/gst/caption_text.h"
#include "platform/gst/engine_error_text.h"

namespace zent {
namespace {

TEST(CaptionTextTest, CuesBecomeTextWithTheirMarkupReduced) {
  using Lines = std::vector<std::string>;
  EXPECT_EQ(captionLines("Hello\r\nWorld\r\n\n", false), (Lines{"Hello", "World"}));
  EXPECT_EQ(captionLines("a\n\nb", false), (Lines{"a", "", "b"}));
  EXPECT_EQ(captionLines("<i>x</i>", false), (Lines{"<i>x</i>"}));  // no markup: text
  EXPECT_EQ(captionLines("<i>Hello</i> <b>bold</b>\n<span foreground=\"red\">red</span>", true),
            (Lines{"Hello bold", "red"}));
  EXPECT_EQ(captionLines("Tom &amp; Jerry &lt;3 &quot;q&quot; &apos;a&apos;", true),
            (Lines{"Tom & Jerry <3 \"q\" 'a'"}));
  EXPECT_EQ(captionLines("caf&#233; &#x263A;", true), (Lines{"caf\xC3\xA9 \xE2\x98\xBA"}));
  EXPECT_EQ(captionLines("AT&T &bogus; &#xZZ;", true), (Lines{"AT&T &bogus; &#xZZ;"}));
  EXPECT_EQ(captionLines("ok <i", true), (Lines{"ok "}));  // an unfinished tag ends the text
  EXPECT_EQ(captionText("<i>a</i>\n\n<b>b</b>\n\n", true), "a\n\nb");
}

TEST(EngineErrorTextTest, TheDetailIsAddedUnlessItRepeatsOrOnlyLocates) {
  const struct {
    const char *message, *debug, *expected;
  } cases[] = {
      {"Not Found",
       "../ext/soup/gstsouphttpsrc.c(1683): gst_soup_http_src_parse_status (): "
       "/GstPlayBin3:playbin3-0/GstSoupHTTPSrc:souphttpsrc0:\nNot Found (404), URL: http://h/x.mp4",
       "Not Found (404), URL: http://h/x.mp4"},
      {"Resource not found.",
       "gstfilesrc.c(553): gst_file_src_start (): /GstFileSrc:filesrc0:\nNo such file \"/x.mp4\"",
       "Resource not found. (No such file \"/x.mp4\")"},
      {"Could not determine type of stream.",
       "gsttypefindelement.c(1186): gst_type_find_element_loop (): "
       "/GstPlayBin3:playbin3-0/GstTypeFindElement:typefindelement0",
       "Could not determine type of stream."},
      {"", "plain words", "plain words"},
      {"two\nlines", "", "two lines"}};
  for (const auto& c : cases) EXPECT_EQ(engineMessageText(c.message, c.debug), c.expected);
}

TEST(AdaptiveDemuxChoice, TheFixedDemuxerIsUsedUntilGstreamerCarriesBothFixes) {
  const struct {
    GstRelease release;
    bool forced, system;
  } cases[] = {{{1, 22, 0}, false, false},
               {{1, 26, 8}, false, false},
               {{1, 26, 9}, false, true},
               {{2, 0, 0}, false, true},
               {{1, 22, 0}, true, true}};
  for (const auto& c : cases) {
    EXPECT_EQ(systemAdaptiveDemuxReason(c.release, c.forced).has_value(), c.system)
        << c.release.minor << "." << c.release.micro << (c.forced ? " forced" : "");
  }
  EXPECT_TRUE(isHlsDemuxerFactory("zenthlsdemux2"));
  EXPECT_TRUE(isHlsDemuxerFactory("hlsdemux2"));
  EXPECT_FALSE(isHlsDemuxerFactory("zentdashdemux2"));
}

}  // namespace
}  // namespace zent
