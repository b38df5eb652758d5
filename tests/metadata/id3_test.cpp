#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "metadata/id3_metadata_info.h"
#include "metadata/id3_reader.h"
#include "metadata/id3_tag_builder.h"
#include "metadata/metadata_delegate.h"
#include "metadata/timed_id3_hls.h"
#include "support/log_recorder.h"
#include "support/logger.h"

namespace zent {
namespace {

using test::logRecorder;
using testing::Id3TagBuilder;
using Bytes = std::vector<uint8_t>;
using E = testing::TextEncoding;

void recordLogs() {
  Logger::setCallback(logRecorderCallback);
  logRecorder().clear();
}

// "ID(language)[description]=text;" per text frame, "ID#size;" per data frame.
std::string frames(const Bytes& payload) {
  std::string out;
  for (const Id3Frame& f : readId3Tags(payload)) {
    out += f.id + (f.language.empty() ? "" : "(" + f.language + ")") +
           (f.description.empty() ? "" : "[" + f.description + "]") +
           (f.isText ? "=" + f.text : "#" + std::to_string(f.data.size())) + ";";
  }
  return out;
}

Bytes patched(Bytes bytes, long at, uint8_t value) {
  bytes[at < 0 ? bytes.size() + at : at] = value;
  return bytes;
}
Bytes joined(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

const std::string kMixed = "Café Ünïcode ✓ 𝄞";  // BMP and a character beyond it
const std::string k300(300, 'x');               // a 301-byte body: sync-safe and plain sizes differ

Bytes sylt() {
  Bytes body{3, 'e', 'n', 'g', 2, 1, 'l', 'y', 0};
  for (std::string syllable : {"Strang", "ers\n", "in"}) {
    body.insert(body.end(), syllable.begin(), syllable.end());
    body.insert(body.end(), {0, 0, 0, 0x10, 0});
  }
  return body;
}

struct ReadRow {
  Bytes payload;
  std::string frames;
  std::string warning;  // the one WARNING expected, "" for none
};

TEST(Id3Reader, EachPayloadGivesItsFramesAndAtMostOneWarning) {
  const Bytes twoAlbums = Id3TagBuilder(4).text("TALB", "one").padding(32).build();
  const ReadRow rows[] = {
      {Id3TagBuilder(4)
           .text("TIT1", "Café olé", E::Latin1)
           .text("TALB", kMixed, E::Utf16)
           .text("TOPE", kMixed, E::Utf16BigEndian)
           .text("TRCK", kMixed, E::Utf8)
           .build(),
       "TIT1=Café olé;TALB=" + kMixed + ";TOPE=" + kMixed + ";TRCK=" + kMixed + ";", ""},
      {Id3TagBuilder(3)
           .frame("TALB", {1, 0xFE, 0xFF, 0, 'H', 0, 'i'})
           .frame("TIT1", {1, 0, 'O', 0, 'k'})
           .build(),
       "TALB=Hi;TIT1=Ok;", ""},
      {Id3TagBuilder(4)
           .frame("TALB", {3, 'a', 0xC3, 'b', 0xED, 0xA0, 0x80, 'c'})
           .frame("TIT1", {2, 0xD8, 0x00, 0x00, 'x'})
           .build(),
       "TALB=a\uFFFDb\uFFFDc;TIT1=\uFFFDx;", ""},
      {patched(Id3TagBuilder(3).text("TALB", std::string(200, 'x'), E::Latin1).build(), 3, 4), "",
       "TALB size is not sync-safe"},
      {Id3TagBuilder(4)
           .userText("station", "Radio ✓", E::Utf16)
           .comment("deu", "note", "Kommentar", E::Utf16BigEndian)
           .frame("SYLT", sylt())
           .frame("WXXX", {0, 'h', 'o', 'm', 'e', 0, 'h', 't', 't', 'p', ':', '/'})
           .build(),
       "TXXX[station]=Radio "
       "✓;COMM(deu)[note]=Kommentar;SYLT(eng)[ly]=Strangers\nin;WXXX[home]=http:/;",
       ""},
      {Id3TagBuilder(4).frame("TOPE", {3, 'A', 0, 'B', 0}).build(), "TOPE=A/B;", ""},
      {Id3TagBuilder(3).frame("TOPE", {3, 'A', 0, 'B', 0}).build(), "TOPE=A;", ""},
      {Id3TagBuilder(4)
           .frame("APIC", {0, 'i', 'm', 'a', 'g', 'e', '/', 'p', 0, 3, 0, 1, 2})
           .frame("GEOB", {0, 'x', 0, 0, 0, 9})
           .frame("TALB", {0, 0, 0, 9, 0x78, 0x9C, 0}, 0x08 | 0x01)  // compressed: passed over
           .text("TIT1", "kept")
           .build(),
       "APIC#13;GEOB#6;TIT1=kept;", ""},
      {joined(joined(twoAlbums, Id3TagBuilder(3).text("TALB", "two").build()), Bytes(8, 0)),
       "TALB=one;TALB=two;", ""},
      {joined(patched(Id3TagBuilder(4).text("TALB", "old").build(), 3, 2),
              Id3TagBuilder(4).text("TALB", "new").build()),
       "TALB=new;", "ID3v2.2 is not supported"},
      // Malformed: the whole frames before the fault are kept.
      {[] {
         Bytes tag = Id3TagBuilder(4).text("TALB", "whole").text("TIT1", "cut off here").build();
         return Bytes(tag.begin(), tag.end() - 4);
       }(),
       "TALB=whole;", "runs past the end of the data"},
      {patched(Id3TagBuilder(3).text("TALB", "whole").text("TIT1", "x").build(), -8, 0x7F),
       "TALB=whole;", "TIT1 size 2130706434"},
      {Id3TagBuilder(4).text("TALB", "whole").frame("TIT1", {7, 'x'}).text("TOPE", "y").build(),
       "TALB=whole;", "TIT1 has text encoding 7"},
      {Id3TagBuilder(4).text("TALB", "whole").frame("COMM", {3, 'e'}).build(), "TALB=whole;",
       "COMM is truncated"},
      {Id3TagBuilder(4).text("TALB", "whole").frame("TIT1", {}).build(), "TALB=whole;",
       "TIT1 is truncated"},
      {Id3TagBuilder(4).text("TALB", "whole").frame("t!t1", {3, 'x'}).build(), "TALB=whole;",
       "identifier is not valid"},
      {Bytes{'N', 'O', 'T', 'I', 'D', '3', 0, 0, 0, 0, 0, 0}, "", "not an ID3v2 tag header"},
      {patched(patched(Id3TagBuilder(4).text("TALB", "x").build(), 5, 0x40), 10, 0x7F), "",
       "extended header runs past the end"},
  };
  for (const ReadRow& row : rows) {
    recordLogs();
    EXPECT_EQ(frames(row.payload), row.frames);
    std::vector<test::RecordedLogLine> lines = logRecorder().lines();
    ASSERT_EQ(lines.size(), row.warning.empty() ? 0u : 1u) << logRecorder().describe();
    if (lines.empty()) continue;
    EXPECT_EQ(lines[0].level, 2);
    EXPECT_NE(lines[0].line.find(row.warning), std::string::npos) << lines[0].line;
  }
}

// Frame sizes plain in 2.3 and sync-safe in 2.4; unsynchronisation of the whole tag in
// 2.3 and per frame in 2.4 ("ÿà" is 0xFF 0xE0 in ISO-8859-1, a false sync the writer
// escapes); the extended header.
TEST(Id3Reader, ReadsBothVersions) {
  for (uint8_t v : {3, 4}) {
    EXPECT_EQ(frames(Id3TagBuilder(v).text("TALB", k300, E::Latin1).text("TIT1", "after").build()),
              "TALB=" + k300 + ";TIT1=after;");
    EXPECT_EQ(frames(Id3TagBuilder(v)
                         .text("TALB", "aÿàbÿ", E::Latin1)
                         .comment("eng", "ÿ", "aÿàbÿ", E::Latin1)
                         .unsynchronised()
                         .build()),
              "TALB=aÿàbÿ;COMM(eng)[ÿ]=aÿàbÿ;");
    EXPECT_EQ(frames(Id3TagBuilder(v).extendedHeader().text("TIT1", "Title").build()),
              "TIT1=Title;");
  }
}

TEST(Id3Reader, SurvivesEveryTruncationOfAValidTag) {
  const Bytes tag = Id3TagBuilder(4)
                        .extendedHeader()
                        .text("TALB", "album", E::Utf16)
                        .comment("eng", "d", "text")
                        .unsynchronised()
                        .build();
  for (size_t size = 0; size < tag.size(); ++size) {
    EXPECT_LE(readId3Tags(Bytes(tag.begin(), tag.begin() + static_cast<long>(size))).size(), 2u);
  }
  EXPECT_EQ(frames(tag), "TALB=album;COMM(eng)[d]=text;");
}

std::vector<std::string> allFields(const ID3MetadataInfo& info) {
  std::vector<std::string> out;
  for (int i = 0; i < ID3MetadataInfo::kFieldCount; ++i) out.push_back(info.field(i));
  return out;
}

TEST(ID3MetadataInfo, KnownFramesFillTheirFieldsAndEverythingElseIsIgnored) {
  recordLogs();
  ID3MetadataInfo info;
  for (const char* tag : {"TXXX", "TIT1", "TALB", "TOPE", "TDAT", "TRCK", "TORY", "SYLT", "COMM"})
    info.checkMetadata(tag, std::string("v-") + tag);
  info.checkMetadata("APIC", MetadataValue(Bytes{1, 2, 3}));
  for (const char* ignored : {"GEOB", "TIT2", "PRIV", "talb", "TALB "})
    info.checkMetadata(ignored, std::string("ignored"));
  info.checkMetadata("COMM", std::nullopt);
  EXPECT_EQ(allFields(info),
            (std::vector<std::string>{"v-TXXX", "v-TIT1", "v-TALB", "v-TOPE", "v-TDAT", "v-TRCK",
                                      "v-TORY", "", "v-SYLT", "v-COMM", "", "", "", "", ""}));
  EXPECT_EQ(info.title, "v-TIT1");
  EXPECT_EQ(info.year, "v-TORY");
  EXPECT_EQ(ID3MetadataInfo::fieldName(7), "attachedPicture");
  EXPECT_EQ(ID3MetadataInfo::fieldName(14), "metaFilename");
  EXPECT_EQ(logRecorder().size(), 0u) << logRecorder().describe();

  // A non-text value for a text frame and a field outside the record: one ERROR each.
  info.checkMetadata("TALB", MetadataValue(Bytes{'x'}));
  EXPECT_EQ(info.album, "v-TALB");
  EXPECT_EQ(logRecorder().count("checkMetadata: TALB value is not text", 3), 1u);
  EXPECT_EQ(info.field(-1), "");
  EXPECT_EQ(info.field(15), "");
  EXPECT_EQ(ID3MetadataInfo::fieldName(15), "");
  EXPECT_EQ(logRecorder().count("", 3), 3u) << logRecorder().describe();
}

TEST(MetadataDelegate, TagsFillTheRecordInOrderAndBadOnesKeepItUsable) {
  recordLogs();
  MetadataDelegate delegate;
  std::vector<std::string> albums;
  for (const auto& timed : testing::timedId3TestTags()) {
    delegate.metadataOutput(timed.tag);
    albums.push_back(delegate.id3MetadataInfo->album);
  }
  const ID3MetadataInfo& info = *delegate.id3MetadataInfo;
  EXPECT_EQ(albums, (std::vector<std::string>{"First Album", "Second Album", "Second Album"}));
  EXPECT_EQ(info.artist, "Ärtist Ünïcode");
  EXPECT_EQ(info.title, "Second Títle");
  EXPECT_EQ(info.comment, "Second comment");
  EXPECT_EQ(info.text, "third text ✓");
  EXPECT_EQ(logRecorder().size(), 0u);

  delegate.metadataOutput(
      Id3TagBuilder(4).text("TALB", "whole").frame("TIT1", {9, 'x'}).text("TOPE", "lost").build());
  EXPECT_EQ(info.album, "whole");
  EXPECT_EQ(info.artist, "Ärtist Ünïcode");
  EXPECT_EQ(logRecorder().count("", 2), 1u);
  delegate.metadataOutput({});
  delegate.metadataOutput(Id3TagBuilder(3).text("TOPE", "later", E::Latin1).build());
  EXPECT_EQ(info.artist, "later");

  delegate.clear();
  delegate.metadataOutput(Id3TagBuilder(4).text("TALB", "x").build());
  EXPECT_EQ(delegate.id3MetadataInfo, nullptr);
}

}  // namespace
}  // namespace zent
