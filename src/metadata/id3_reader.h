#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "metadata/id3_metadata_info.h"

namespace zent {

// One frame of an ID3v2 tag.
struct Id3Frame {
  std::string id;  // four characters, "TIT2"
  // Text-like frames (T***, W***, COMM, USLT, SYLT) carry their text as UTF-8:
  // a text frame's value (several 2.4 values joined with "/"), the value of
  // TXXX, the URL of a link frame, the text of COMM and USLT, the syllables of
  // SYLT run together.
  bool isText = false;
  std::string text;
  std::string description;  // TXXX, WXXX, COMM, USLT, SYLT: the content descriptor
  std::string language;     // COMM, USLT, SYLT: the ISO-639-2 code
  // Other frames (APIC, GEOB, PRIV, ...) carry their body undecoded.
  std::vector<uint8_t> data;

  // The value handed to ID3MetadataInfo::checkMetadata.
  MetadataValue value() const;
};

// Reads the ID3v2.3 and ID3v2.4 tags that follow one another in payload and
// returns their frames in order. Any input is safe: a malformed tag (sizes past
// the end, a bad text encoding, a truncated frame, an invalid frame identifier)
// is logged as a WARNING and reading stops at the fault, keeping the frames
// before it that were whole. Compressed and encrypted frames are passed over.
std::vector<Id3Frame> readId3Tags(std::span<const uint8_t> payload);

}  // namespace zent
