#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "subtitles/cea608_channel.h"

namespace zent {

// Decodes line-21 (CEA-608) caption byte pairs, as carried in the cc_data of
// digital video, into the text of caption channels CC1 to CC4: field 1 carries
// CC1 and CC2, field 2 carries CC3 and CC4.
//
// Each byte's parity is checked (odd parity); a byte that fails is dropped. A
// control code sent twice in a row, as broadcasters do for robustness, acts
// once. Extended data service packets of field 2 are skipped.
//
// Not thread-safe: one owner feeds it and reads it.
class Cea608Decoder {
 public:
  static constexpr int kChannels = 4;

  // Feeds one cc_data triplet: the byte holding cc_valid (0x04) and cc_type
  // (0x03: 0 is field 1, 1 is field 2, 2 and 3 are DTVCC and skipped), then
  // the two caption bytes with their parity bits.
  void feedTriplet(uint8_t header, uint8_t first, uint8_t second);
  // Feeds one byte pair of field 1 or 2.
  void feedPair(int field, uint8_t first, uint8_t second);

  // The channels (bit 0 = CC1 ... bit 3 = CC4) whose displayed text changed
  // since the last call; each call starts a new count.
  unsigned takeChangedChannels();
  // What a viewer of that channel (0 = CC1 ... 3 = CC4) sees, as of the last
  // takeChangedChannels(): rows joined by "\n", "" for a clear screen.
  std::string displayedText(int channel) const;
  // The channels that have shown text at least once, as bits like above.
  unsigned channelsWithText() const { return channelsWithText_; }

  void reset();

 private:
  struct FieldState {
    int channel = 0;  // the data channel of the last control code: 0 or 1
    uint8_t lastControl[2] = {0, 0};
    bool inExtendedData = false;
  };

  void control(FieldState& field, int channelIndex, uint8_t first, uint8_t second);

  std::array<Cea608Channel, kChannels> channels_{};
  std::array<std::string, kChannels> reported_{};
  FieldState fields_[2]{};
  unsigned channelsWithText_ = 0;
};

}  // namespace zent
