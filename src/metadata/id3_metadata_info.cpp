#include "metadata/id3_metadata_info.h"

#include "support/invariant.h"

namespace zent {
namespace {

// What checkMetadata does with each frame identifier it knows.
struct FrameRule {
  std::string_view frameId;
  std::string ID3MetadataInfo::*field;  // null: recognised and ignored
};

// The frame-to-field table. The pairs are deliberate: the title comes from TIT1
// (content group), the artist from TOPE (original artist), the year from TORY.
constexpr FrameRule kFrameRules[] = {
    {"TXXX", &ID3MetadataInfo::text},
    {"TIT1", &ID3MetadataInfo::title},
    {"TALB", &ID3MetadataInfo::album},
    {"TOPE", &ID3MetadataInfo::artist},
    {"TDAT", &ID3MetadataInfo::date},
    {"TRCK", &ID3MetadataInfo::track},
    {"TORY", &ID3MetadataInfo::year},
    {"APIC", nullptr},
    {"SYLT", &ID3MetadataInfo::lyric},
    {"COMM", &ID3MetadataInfo::comment},
    {"GEOB", nullptr},
};

constexpr std::string_view kFieldNames[ID3MetadataInfo::kFieldCount] = {
    "text",         "title",           "album",       "artist",  "date", "track",
    "year",         "attachedPicture", "lyric",       "comment", "time", "encapsulatedObject",
    "metaMimeType", "metaDescription", "metaFilename"};

const std::string kEmpty;

}  // namespace

void ID3MetadataInfo::checkMetadata(std::string_view metaTag,
                                    const std::optional<MetadataValue>& value) {
  for (const FrameRule& rule : kFrameRules) {
    if (rule.frameId != metaTag) continue;
    if (rule.field == nullptr) return;
    if (!value) return;
    const std::string* textValue = std::get_if<std::string>(&*value);
    if (textValue == nullptr) {
      reportBrokenInvariant("checkMetadata", std::string(metaTag) + " value is not text");
      return;
    }
    this->*rule.field = *textValue;
    return;
  }
}

std::array<const std::string*, ID3MetadataInfo::kFieldCount> ID3MetadataInfo::fields() const {
  return {&text,         &title,           &album,       &artist,  &date, &track,
          &year,         &attachedPicture, &lyric,       &comment, &time, &encapsulatedObject,
          &metaMimeType, &metaDescription, &metaFilename};
}

const std::string& ID3MetadataInfo::field(int64_t index) const {
  if (index < 0 || index >= kFieldCount) {
    reportBrokenInvariant("getID3Field", "field " + std::to_string(index) + " is not in 0..14");
    return kEmpty;
  }
  return *fields()[static_cast<size_t>(index)];
}

std::string_view ID3MetadataInfo::fieldName(int64_t index) {
  if (index < 0 || index >= kFieldCount) return {};
  return kFieldNames[index];
}

}  // namespace zent
