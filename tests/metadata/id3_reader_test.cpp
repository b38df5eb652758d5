#include "metadata/id3_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "metadata/id3_tag_builder.h"
#include "metadata/log_capture.h"

namespace zent {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using testing::Id3TagBuilder;
using ::testing::IsEmpty;
using testing::LogCapture;
using ::testing::SizeIs;
using testing::TextEncoding;

std::vector<Id3Frame> read(const std::vector<uint8_t>& bytes) {
  return readId3Tags(bytes);
}

std::vector<std::string> ids(const std::vector<Id3Frame>& frames) {
  std::vector<std::string> out;
  for (const Id3Frame& f : frames) out.push_back(f.id);
  return out;
}

const std::string kMixed = "Café Ünïcode ✓ 𝄞";  // BMP and a character beyond it

TEST(Id3Reader, ConvertsEveryTextEncodingToUtf8) {
  auto frames = read(Id3TagBuilder(4)
                         .text("TIT1", "Café olé", TextEncoding::Latin1)
                         .text("TALB", kMixed, TextEncoding::Utf16)
                         .text("TOPE", kMixed, TextEncoding::Utf16BigEndian)
                         .text("TRCK", kMixed, TextEncoding::Utf8)
                         .build());
  ASSERT_THAT(frames, SizeIs(4));
  EXPECT_EQ(frames[0].text, "Café olé");
  EXPECT_EQ(frames[1].text, kMixed);
  EXPECT_EQ(frames[2].text, kMixed);
  EXPECT_EQ(frames[3].text, kMixed);
  for (const Id3Frame& f : frames) EXPECT_TRUE(f.isText);
}

TEST(Id3Reader, ReadsBigEndianByteOrderMarkAndTextWithoutOne) {
  std::vector<uint8_t> bigEndianBom{1, 0xFE, 0xFF, 0x00, 'H', 0x00, 'i'};
  std::vector<uint8_t> noBom{1, 0x00, 'O', 0x00, 'k'};
  auto frames = read(Id3TagBuilder(3).frame("TALB", bigEndianBom).frame("TIT1", noBom).build());
  ASSERT_THAT(frames, SizeIs(2));
  EXPECT_EQ(frames[0].text, "Hi");
  EXPECT_EQ(frames[1].text, "Ok");
}

TEST(Id3Reader, ReplacesInvalidSequencesSoTheTextIsValidUtf8) {
  std::vector<uint8_t> badUtf8{3, 'a', 0xC3, 'b', 0xED, 0xA0, 0x80, 'c'};  // cut, surrogate
  std::vector<uint8_t> loneSurrogate{2, 0xD8, 0x00, 0x00, 'x'};
  auto frames = read(Id3TagBuilder(4).frame("TALB", badUtf8).frame("TIT1", loneSurrogate).build());
  ASSERT_THAT(frames, SizeIs(2));
  EXPECT_EQ(frames[0].text, "a\uFFFDb\uFFFDc");
  EXPECT_EQ(frames[1].text, "\uFFFDx");
}

TEST(Id3Reader, ReadsFrameSizesAsPlainIn23AndSyncSafeIn24) {
  std::string longText(300, 'x');  // 301-byte body: the two size forms differ
  for (uint8_t version : {3, 4}) {
    auto frames = read(Id3TagBuilder(version)
                           .text("TALB", longText, TextEncoding::Latin1)
                           .text("TIT1", "after")
                           .build());
    ASSERT_THAT(frames, SizeIs(2)) << "version " << int(version);
    EXPECT_EQ(frames[0].text, longText);
    EXPECT_EQ(frames[1].text, "after");
  }
}

TEST(Id3Reader, A23TagLabelled24IsNotMisreadAndIsReported) {
  LogCapture warnings(LogLevel::WARNING);
  std::vector<uint8_t> tag =
      Id3TagBuilder(3).text("TALB", std::string(200, 'x'), TextEncoding::Latin1).build();
  tag[3] = 4;  // the plain size 0x000000C9 is not sync-safe
  EXPECT_THAT(read(tag), IsEmpty());
  ASSERT_THAT(warnings.taken(), SizeIs(1));
  EXPECT_THAT(warnings.taken()[0], HasSubstr("TALB size is not sync-safe"));
}

TEST(Id3Reader, UndoesUnsynchronisationOfTheWholeTagIn23AndPerFrameIn24) {
  // "ÿà" is 0xFF 0xE0 in ISO-8859-1, a false sync the writer must escape.
  const std::string tricky = "aÿàbÿ";
  for (uint8_t version : {3, 4}) {
    std::vector<uint8_t> tag = Id3TagBuilder(version)
                                   .text("TALB", tricky, TextEncoding::Latin1)
                                   .comment("eng", "ÿ", tricky, TextEncoding::Latin1)
                                   .unsynchronised()
                                   .build();
    bool escaped = false;
    for (size_t i = 0; i + 1 < tag.size(); ++i) escaped |= tag[i] == 0xFF && tag[i + 1] == 0x00;
    ASSERT_TRUE(escaped) << "the builder did not unsynchronise";
    auto frames = read(tag);
    ASSERT_THAT(frames, SizeIs(2)) << "version " << int(version);
    EXPECT_EQ(frames[0].text, tricky);
    EXPECT_EQ(frames[1].text, tricky);
    EXPECT_EQ(frames[1].description, "ÿ");
  }
}

TEST(Id3Reader, SkipsTheExtendedHeader) {
  for (uint8_t version : {3, 4}) {
    auto frames = read(Id3TagBuilder(version).extendedHeader().text("TIT1", "Title").build());
    ASSERT_THAT(frames, SizeIs(1)) << "version " << int(version);
    EXPECT_EQ(frames[0].text, "Title");
  }
}

TEST(Id3Reader, ReadsDescriptionsLanguagesAndLyrics) {
  std::vector<uint8_t> sylt{3, 'e', 'n', 'g', 2, 1, 'l', 'y', 0};
  for (std::string syllable : {"Strang", "ers\n", "in"}) {
    sylt.insert(sylt.end(), syllable.begin(), syllable.end());
    sylt.insert(sylt.end(), {0, 0, 0, 0x10, 0});
  }
  auto frames = read(Id3TagBuilder(4)
                         .userText("station", "Radio ✓", TextEncoding::Utf16)
                         .comment("deu", "note", "Kommentar", TextEncoding::Utf16BigEndian)
                         .frame("SYLT", sylt)
                         .frame("WXXX", {0, 'h', 'o', 'm', 'e', 0, 'h', 't', 't', 'p', ':', '/'})
                         .build());
  ASSERT_THAT(frames, SizeIs(4));
  EXPECT_EQ(frames[0].description, "station");
  EXPECT_EQ(frames[0].text, "Radio ✓");
  EXPECT_EQ(frames[1].language, "deu");
  EXPECT_EQ(frames[1].description, "note");
  EXPECT_EQ(frames[1].text, "Kommentar");
  EXPECT_EQ(frames[2].language, "eng");
  EXPECT_EQ(frames[2].description, "ly");
  EXPECT_EQ(frames[2].text, "Strangers\nin");
  EXPECT_EQ(frames[3].description, "home");
  EXPECT_EQ(frames[3].text, "http:/");
}

TEST(Id3Reader, JoinsSeveralValuesIn24AndStopsAtTheFirstIn23) {
  std::vector<uint8_t> body{3, 'A', 0, 'B', 0};
  EXPECT_EQ(read(Id3TagBuilder(4).frame("TOPE", body).build())[0].text, "A/B");
  EXPECT_EQ(read(Id3TagBuilder(3).frame("TOPE", body).build())[0].text, "A");
}

TEST(Id3Reader, KeepsPicturesAndObjectsAsDataAndPassesOverCompressedFrames) {
  auto frames = read(Id3TagBuilder(4)
                         .frame("APIC", {0, 'i', 'm', 'a', 'g', 'e', '/', 'p', 0, 3, 0, 1, 2})
                         .frame("GEOB", {0, 'x', 0, 0, 0, 9})
                         .frame("TALB", {0, 0, 0, 9, 0x78, 0x9C, 0}, 0x08 | 0x01)  // compressed
                         .text("TIT1", "kept")
                         .build());
  EXPECT_THAT(ids(frames), ElementsAre("APIC", "GEOB", "TIT1"));
  EXPECT_FALSE(frames[0].isText);
  EXPECT_THAT(frames[1].data, ElementsAre(0, 'x', 0, 0, 0, 9));
  EXPECT_TRUE(std::holds_alternative<std::vector<uint8_t>>(frames[0].value()));
}

TEST(Id3Reader, ReadsTagsBackToBackAndIgnoresPadding) {
  std::vector<uint8_t> payload = Id3TagBuilder(4).text("TALB", "one").padding(32).build();
  std::vector<uint8_t> second = Id3TagBuilder(3).text("TALB", "two").build();
  payload.insert(payload.end(), second.begin(), second.end());
  payload.insert(payload.end(), 8, 0);
  LogCapture warnings(LogLevel::WARNING);
  auto frames = read(payload);
  ASSERT_THAT(frames, SizeIs(2));
  EXPECT_EQ(frames[0].text, "one");
  EXPECT_EQ(frames[1].text, "two");
  EXPECT_THAT(warnings.taken(), IsEmpty());
}

// Malformed input: every case keeps the whole frames before the fault and logs
// one WARNING naming the fault.
struct MalformedCase {
  const char* name;
  std::vector<uint8_t> (*make)();
  std::vector<std::string> keptIds;
  const char* reason;
};

std::vector<uint8_t> tagSizePastEnd() {
  auto tag = Id3TagBuilder(4).text("TALB", "whole").text("TIT1", "cut off here").build();
  tag.resize(tag.size() - 4);
  return tag;
}
std::vector<uint8_t> frameSizePastEnd() {
  auto tag = Id3TagBuilder(3).text("TALB", "whole").text("TIT1", "x").build();
  tag[tag.size() - 8] = 0x7F;  // the high byte of TIT1's size
  return tag;
}
std::vector<uint8_t> badEncoding() {
  return Id3TagBuilder(4).text("TALB", "whole").frame("TIT1", {7, 'x'}).text("TOPE", "y").build();
}
std::vector<uint8_t> truncatedComment() {
  return Id3TagBuilder(4).text("TALB", "whole").frame("COMM", {3, 'e'}).build();
}
std::vector<uint8_t> emptyTextFrame() {
  return Id3TagBuilder(4).text("TALB", "whole").frame("TIT1", {}).build();
}
std::vector<uint8_t> badFrameId() {
  return Id3TagBuilder(4).text("TALB", "whole").frame("t!t1", {3, 'x'}).build();
}
std::vector<uint8_t> notATag() {
  return {'N', 'O', 'T', 'I', 'D', '3', 0, 0, 0, 0, 0, 0};
}
std::vector<uint8_t> extendedHeaderPastEnd() {
  auto tag = Id3TagBuilder(4).text("TALB", "x").build();
  tag[5] |= 0x40;
  tag[10] = 0x7F;  // the frame header now reads as a huge extended-header size
  return tag;
}

class Id3ReaderMalformed : public ::testing::TestWithParam<MalformedCase> {};

TEST_P(Id3ReaderMalformed, KeepsWholeFramesBeforeTheFaultAndWarns) {
  LogCapture warnings(LogLevel::WARNING);
  auto frames = read(GetParam().make());
  EXPECT_EQ(ids(frames), GetParam().keptIds);
  auto lines = warnings.taken();
  ASSERT_THAT(lines, SizeIs(1));
  EXPECT_THAT(lines[0], HasSubstr("ID3 tag skipped"));
  EXPECT_THAT(lines[0], HasSubstr(GetParam().reason));
}

INSTANTIATE_TEST_SUITE_P(
    Faults, Id3ReaderMalformed,
    ::testing::Values(
        MalformedCase{"TagSizePastEnd", tagSizePastEnd, {"TALB"}, "runs past the end of the data"},
        MalformedCase{"FrameSizePastEnd", frameSizePastEnd, {"TALB"}, "TIT1 size 2130706434"},
        MalformedCase{"BadEncodingByte", badEncoding, {"TALB"}, "TIT1 has text encoding 7"},
        MalformedCase{"TruncatedComment", truncatedComment, {"TALB"}, "COMM is truncated"},
        MalformedCase{"EmptyTextFrame", emptyTextFrame, {"TALB"}, "TIT1 is truncated"},
        MalformedCase{"BadFrameId", badFrameId, {"TALB"}, "identifier is not valid"},
        MalformedCase{"NotATag", notATag, {}, "not an ID3v2 tag header"},
        MalformedCase{"ExtendedHeaderPastEnd",
                      extendedHeaderPastEnd,
                      {},
                      "extended header runs past the end"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(Id3Reader, SkipsAnUnsupportedVersionButReadsTheTagAfterIt) {
  LogCapture warnings(LogLevel::WARNING);
  std::vector<uint8_t> payload = Id3TagBuilder(4).text("TALB", "old").build();
  payload[3] = 2;
  std::vector<uint8_t> next = Id3TagBuilder(4).text("TALB", "new").build();
  payload.insert(payload.end(), next.begin(), next.end());
  auto frames = read(payload);
  ASSERT_THAT(frames, SizeIs(1));
  EXPECT_EQ(frames[0].text, "new");
  ASSERT_THAT(warnings.taken(), SizeIs(1));
  EXPECT_THAT(warnings.taken()[0], HasSubstr("ID3v2.2 is not supported"));
}

TEST(Id3Reader, SurvivesEveryTruncationOfAValidTag) {
  LogCapture warnings(LogLevel::WARNING);
  std::vector<uint8_t> tag = Id3TagBuilder(4)
                                 .extendedHeader()
                                 .text("TALB", "album", TextEncoding::Utf16)
                                 .comment("eng", "d", "text")
                                 .unsynchronised()
                                 .build();
  for (size_t size = 0; size <= tag.size(); ++size) {
    std::vector<uint8_t> cut(tag.begin(), tag.begin() + static_cast<std::ptrdiff_t>(size));
    auto frames = read(cut);
    EXPECT_LE(frames.size(), 2u);
    if (size == tag.size()) {
      EXPECT_THAT(ids(frames), ElementsAre("TALB", "COMM"));
    }
  }
}

}  // namespace
}  // namespace zent
