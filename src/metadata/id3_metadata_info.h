#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace zent {

// The value of one timed-metadata item: text for text frames, raw bytes for
// anything else (pictures, objects, private data).
using MetadataValue = std::variant<std::string, std::vector<uint8_t>>;

// The latest value of a fixed set of ID3 frames seen in the stream. Every field
// starts as "" and is only ever overwritten, never cleared.
class ID3MetadataInfo {
 public:
  static constexpr int32_t kFieldCount = 15;

  std::string text;
  std::string title;
  std::string album;
  std::string artist;
  std::string date;
  std::string track;
  std::string year;
  std::string attachedPicture;
  std::string lyric;
  std::string comment;
  std::string time;
  std::string encapsulatedObject;
  std::string metaMimeType;
  std::string metaDescription;
  std::string metaFilename;

  // Stores value in the field that belongs to the ID3 frame metaTag (exact,
  // case-sensitive frame identifier). Unknown tags, "APIC", "GEOB" and absent
  // values leave the record unchanged; a non-text value for a text frame is a
  // broken invariant and is ignored.
  void checkMetadata(std::string_view metaTag, const std::optional<MetadataValue>& value);

  // Field number index in declaration order (0 text ... 14 metaFilename). An
  // index outside 0..14 is a broken invariant and reads as "".
  const std::string& field(int64_t index) const;
  // The field's name ("text", "title", ...), "" outside 0..14.
  static std::string_view fieldName(int64_t index);

 private:
  std::array<const std::string*, kFieldCount> fields() const;
};

}  // namespace zent
