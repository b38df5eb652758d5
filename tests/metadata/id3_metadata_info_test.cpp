#include "metadata/id3_metadata_info.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "metadata/log_capture.h"

namespace zent {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::LogCapture;
using ::testing::SizeIs;

std::vector<std::string> allFields(const ID3MetadataInfo& info) {
  std::vector<std::string> out;
  for (int i = 0; i < ID3MetadataInfo::kFieldCount; ++i) out.push_back(info.field(i));
  return out;
}

TEST(ID3MetadataInfo, StartsWithEveryFieldEmpty) {
  ID3MetadataInfo info;
  EXPECT_EQ(allFields(info), std::vector<std::string>(15, ""));
}

TEST(ID3MetadataInfo, StoresEachKnownFrameInItsFieldInDeclarationOrder) {
  ID3MetadataInfo info;
  for (const char* tag : {"TXXX", "TIT1", "TALB", "TOPE", "TDAT", "TRCK", "TORY", "SYLT", "COMM"}) {
    info.checkMetadata(tag, std::string("v-") + tag);
  }
  std::vector<std::string> expected{"v-TXXX", "v-TIT1", "v-TALB", "v-TOPE", "v-TDAT",
                                    "v-TRCK", "v-TORY", "",       "v-SYLT", "v-COMM",
                                    "",       "",       "",       "",       ""};
  EXPECT_EQ(allFields(info), expected);
  EXPECT_EQ(info.title, "v-TIT1");
  EXPECT_EQ(info.artist, "v-TOPE");
  EXPECT_EQ(info.year, "v-TORY");
  EXPECT_EQ(ID3MetadataInfo::fieldName(0), "text");
  EXPECT_EQ(ID3MetadataInfo::fieldName(7), "attachedPicture");
  EXPECT_EQ(ID3MetadataInfo::fieldName(14), "metaFilename");
}

TEST(ID3MetadataInfo, IgnoresPicturesObjectsStandardTitlesAndUnknownOrMiscasedTags) {
  LogCapture errors(LogLevel::ERROR);
  ID3MetadataInfo info;
  info.checkMetadata("APIC", MetadataValue(std::vector<uint8_t>{1, 2, 3}));
  info.checkMetadata("GEOB", std::string("object"));
  info.checkMetadata("TIT2", std::string("standard title"));
  info.checkMetadata("PRIV", MetadataValue(std::vector<uint8_t>{0}));
  info.checkMetadata("talb", std::string("lower case"));
  info.checkMetadata("TALB ", std::string("trailing blank"));
  EXPECT_EQ(allFields(info), std::vector<std::string>(15, ""));
  EXPECT_THAT(errors.taken(), IsEmpty());
}

TEST(ID3MetadataInfo, LaterValuesReplaceEarlierOnesAndAbsentValuesAreSkipped) {
  ID3MetadataInfo info;
  info.checkMetadata("TALB", std::string("first"));
  info.checkMetadata("TALB", std::string("second"));
  info.checkMetadata("COMM", std::string("kept"));
  info.checkMetadata("COMM", std::nullopt);
  EXPECT_EQ(info.album, "second");
  EXPECT_EQ(info.comment, "kept");
}

TEST(ID3MetadataInfo, ANonTextValueForATextFrameIsReportedAndIgnored) {
  LogCapture errors(LogLevel::ERROR);
  ID3MetadataInfo info;
  info.checkMetadata("TALB", std::string("kept"));
  info.checkMetadata("TALB", MetadataValue(std::vector<uint8_t>{'x'}));
  EXPECT_EQ(info.album, "kept");
  ASSERT_THAT(errors.taken(), SizeIs(1));
  EXPECT_THAT(errors.taken()[0], HasSubstr("checkMetadata: TALB value is not text"));
}

TEST(ID3MetadataInfo, AFieldNumberOutsideTheRecordIsReportedAndReadsEmpty) {
  LogCapture errors(LogLevel::ERROR);
  ID3MetadataInfo info;
  info.checkMetadata("TXXX", std::string("x"));
  EXPECT_EQ(info.field(-1), "");
  EXPECT_EQ(info.field(15), "");
  EXPECT_EQ(ID3MetadataInfo::fieldName(15), "");
  EXPECT_THAT(errors.taken(), SizeIs(2));
}

}  // namespace
}  // namespace zent
