#include "metadata/metadata_delegate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "metadata/id3_tag_builder.h"
#include "metadata/log_capture.h"
#include "metadata/timed_id3_hls.h"

namespace zent {
namespace {

using testing::Id3TagBuilder;
using testing::LogCapture;
using ::testing::SizeIs;
using testing::TextEncoding;

TEST(MetadataDelegate, FillsTheRecordFromTheFramesOfEachTagInOrder) {
  MetadataDelegate delegate;
  delegate.metadataOutput(Id3TagBuilder(4)
                              .text("TIT2", "standard title")
                              .text("TALB", "first album")
                              .text("TALB", "second album")
                              .text("TIT1", "group title", TextEncoding::Utf16)
                              .comment("eng", "", "a comment")
                              .userText("key", "value")
                              .frame("APIC", {0, 'i', 0, 3, 0, 9, 9})
                              .build());
  const ID3MetadataInfo& info = *delegate.id3MetadataInfo;
  EXPECT_EQ(info.title, "group title");
  EXPECT_EQ(info.album, "second album");
  EXPECT_EQ(info.comment, "a comment");
  EXPECT_EQ(info.text, "value");
  EXPECT_EQ(info.attachedPicture, "");
}

TEST(MetadataDelegate, KeepsWholeFramesOfAMalformedTagAndStaysUsable) {
  LogCapture warnings(LogLevel::WARNING);
  MetadataDelegate delegate;
  delegate.metadataOutput(
      Id3TagBuilder(4).text("TALB", "whole").frame("TIT1", {9, 'x'}).text("TOPE", "lost").build());
  EXPECT_EQ(delegate.id3MetadataInfo->album, "whole");
  EXPECT_EQ(delegate.id3MetadataInfo->artist, "");
  EXPECT_THAT(warnings.taken(), SizeIs(1));
  delegate.metadataOutput({});
  delegate.metadataOutput(Id3TagBuilder(3).text("TOPE", "later", TextEncoding::Latin1).build());
  EXPECT_EQ(delegate.id3MetadataInfo->artist, "later");
}

TEST(MetadataDelegate, IgnoresTagsOnceCleared) {
  MetadataDelegate delegate;
  delegate.clear();
  delegate.metadataOutput(Id3TagBuilder(4).text("TALB", "x").build());
  EXPECT_EQ(delegate.id3MetadataInfo, nullptr);
}

TEST(MetadataDelegate, TheTestStreamTagsEndWithTheLatestValueOfEachField) {
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
}

}  // namespace
}  // namespace zent
