#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "metadata/id3_reader.h"
#include "metadata/id3_tag_builder.h"
#include "metadata/metadata_delegate.h"
#include "metadata/timed_id3_hls.h"
#include "support/library_log.h"
#include "support/logger.h"

namespace zent {
namespace {

using test::logRecorder;
using namespace testing;
using Bytes = std::vector<uint8_t>;
using E = testing::TextEncoding;

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
Bytes cut(Bytes bytes, size_t dropped) {
  bytes.resize(bytes.size() - dropped);
  return bytes;
}
Bytes joined(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

const std::string kMixed = "Café Ünïcode ✓ 𝄞";  // BMP and a character beyond it
const std::string k300(300, 'x');               // a 301-byte body: sync-safe and plain sizes differ

// Synchronised lyrics: "Strang", "ers\n", "in", each with a time stamp.
const Bytes kSylt{3,   'e', 'n', 'g',  2, 1,   'l',  'y', 0,   'S', 't',  'r',
                  'a', 'n', 'g', 0,    0, 0,   0x10, 0,   'e', 'r', 's',  '\n',
                  0,   0,   0,   0x10, 0, 'i', 'n',  0,   0,   0,   0x10, 0};

struct ReadRow {
  Bytes payload;
  std::string frames;
  std::string warning = "";  // the one WARNING expected, "" for none
};

TEST(Id3Reader, EachPayloadGivesItsFramesAndAtMostOneWarning) {
  const ReadRow rows[] = {
      {id3Tag(4, {text("TIT1", "Café olé", E::Latin1), text("TALB", kMixed, E::Utf16),
                  text("TOPE", kMixed, E::Utf16BigEndian), text("TRCK", kMixed)}),
       "TIT1=Café olé;TALB=" + kMixed + ";TOPE=" + kMixed + ";TRCK=" + kMixed + ";"},
      {id3Tag(3, {{"TALB", {1, 0xFE, 0xFF, 0, 'H', 0, 'i'}}, {"TIT1", {1, 0, 'O', 0, 'k'}}}),
       "TALB=Hi;TIT1=Ok;"},
      {id3Tag(4, {{"TALB", {3, 'a', 0xC3, 'b', 0xED, 0xA0, 0x80, 'c'}},
                  {"TIT1", {2, 0xD8, 0x00, 0x00, 'x'}}}),
       "TALB=a\uFFFDb\uFFFDc;TIT1=\uFFFDx;"},
      {patched(id3Tag(3, {text("TALB", std::string(200, 'x'), E::Latin1)}), 3, 4), "",
       "TALB size is not sync-safe"},
      // Unsynchronised, whole body (2.3) or per frame (2.4): "ÿà" is 0xFF 0xE0 in ISO-8859-1.
      {id3Tag(3, {text("TALB", k300, E::Latin1), comment("eng", "ÿ", "aÿàbÿ", E::Latin1)}, true),
       "TALB=" + k300 + ";COMM(eng)[ÿ]=aÿàbÿ;"},
      {id3Tag(4, {text("TALB", k300, E::Latin1), comment("eng", "ÿ", "aÿàbÿ", E::Latin1)}, true),
       "TALB=" + k300 + ";COMM(eng)[ÿ]=aÿàbÿ;"},
      {id3Tag(4, {text("TIT1", "Title")}, false, true), "TIT1=Title;"},
      {id3Tag(4, {userText("station", "Radio ✓", E::Utf16),
                  comment("deu", "note", "Kommentar", E::Utf16BigEndian),
                  {"SYLT", kSylt},
                  {"WXXX", {0, 'h', 'o', 'm', 'e', 0, 'h', 't', 't', 'p', ':', '/'}}}),
       "TXXX[station]=Radio ✓;COMM(deu)[note]=Kommentar;SYLT(eng)[ly]=Strangers\nin;"
       "WXXX[home]=http:/;"},
      {id3Tag(4, {{"TOPE", {3, 'A', 0, 'B', 0}}}), "TOPE=A/B;"},
      {id3Tag(3, {{"TOPE", {3, 'A', 0, 'B', 0}}}), "TOPE=A;"},
      {id3Tag(4, {{"APIC", {0, 'i', 'm', 'a', 'g', 'e', '/', 'p', 0, 3, 0, 1, 2}},
                  {"GEOB", {0, 'x', 0, 0, 0, 9}},
                  {"TALB", {0, 0, 0, 9, 0x78, 0x9C, 0}, 0x08 | 0x01},  // compressed: passed over
                  text("TIT1", "kept")}),
       "APIC#13;GEOB#6;TIT1=kept;"},
      {joined(joined(id3Tag(4, {text("TALB", "one")}, false, false, 32),
                     id3Tag(3, {text("TALB", "two")})),
              Bytes(8, 0)),
       "TALB=one;TALB=two;"},
      {joined(patched(id3Tag(4, {text("TALB", "old")}), 3, 2), id3Tag(4, {text("TALB", "new")})),
       "TALB=new;", "ID3v2.2 is not supported"},
      // Malformed: the whole frames before the fault are kept.
      {cut(id3Tag(4, {text("TALB", "whole"), text("TIT1", "cut off here")}), 4), "TALB=whole;",
       "runs past the end of the data"},
      {patched(id3Tag(3, {text("TALB", "whole"), text("TIT1", "x")}), -8, 0x7F), "TALB=whole;",
       "TIT1 size 2130706434"},
      {id3Tag(4, {text("TALB", "whole"), {"TIT1", {7, 'x'}}, text("TOPE", "y")}), "TALB=whole;",
       "TIT1 has text encoding 7"},
      {id3Tag(4, {text("TALB", "whole"), {"COMM", {3, 'e'}}}), "TALB=whole;", "COMM is truncated"},
      {id3Tag(4, {text("TALB", "whole"), {"TIT1", {}}}), "TALB=whole;", "TIT1 is truncated"},
      {id3Tag(4, {text("TALB", "whole"), {"t!t1", {3, 'x'}}}), "TALB=whole;",
       "identifier is not valid"},
      {Bytes{'N', 'O', 'T', 'I', 'D', '3', 0, 0, 0, 0, 0, 0}, "", "not an ID3v2 tag header"},
      {patched(patched(id3Tag(4, {text("TALB", "x")}), 5, 0x40), 10, 0x7F), "",
       "extended header runs past the end"},
  };
  for (const ReadRow& row : rows) {
    test::recordLibraryLog();
    EXPECT_EQ(frames(row.payload), row.frames);
    std::vector<test::RecordedLogLine> lines = logRecorder().lines();
    ASSERT_EQ(lines.size(), row.warning.empty() ? 0u : 1u) << logRecorder().describe();
    if (lines.empty()) continue;
    EXPECT_EQ(lines[0].level, 2);
    EXPECT_NE(lines[0].line.find(row.warning), std::string::npos) << lines[0].line;
  }
  // No truncation of a valid tag reads more than it holds.
  const Bytes tag =
      id3Tag(4, {text("TALB", "album", E::Utf16), comment("eng", "d", "text")}, true, true);
  for (size_t dropped = 1; dropped <= tag.size(); ++dropped) {
    EXPECT_LE(readId3Tags(cut(tag, dropped)).size(), 2u);
  }
}

// The latest value of each known field (TIT2, pictures, objects ignored), after bad tags too.
TEST(MetadataDelegate, TagsFillTheRecordInOrderAndBadOnesKeepItUsable) {
  test::recordLibraryLog();
  MetadataDelegate delegate;
  for (const auto& timed : testing::timedId3TestTags()) delegate.metadataOutput(timed.tag);
  const ID3MetadataInfo& info = *delegate.id3MetadataInfo;
  EXPECT_EQ(
      info.album + "|" + info.title + "|" + info.artist + "|" + info.comment + "|" + info.text,
      "Second Album|Second Títle|Ärtist Ünïcode|Second comment|third text ✓");
  EXPECT_EQ(logRecorder().size(), 0u);

  delegate.metadataOutput(
      id3Tag(4, {text("TALB", "whole"), {"TIT1", {9, 'x'}}, text("TOPE", "lost")}));
  EXPECT_EQ(info.album, "whole");
  EXPECT_EQ(info.artist, "Ärtist Ünïcode");
  EXPECT_EQ(logRecorder().count("", 2), 1u);
  delegate.metadataOutput({});
  delegate.metadataOutput(id3Tag(3, {text("TOPE", "later", E::Latin1)}));
  EXPECT_EQ(info.artist, "later");

  delegate.clear();
  delegate.metadataOutput(id3Tag(4, {text("TALB", "x")}));
  EXPECT_EQ(delegate.id3MetadataInfo, nullptr);
}

}  // namespace
}  // namespace zent
