#include "subtitles/cea608_decoder.h"

#include <bit>

#include "subtitles/cea608_charset.h"

namespace zent {
namespace {

bool oddParity(uint8_t byte) {
  return std::popcount(byte) % 2 == 1;
}

// The row (0 to 14) a preamble address code places the cursor on.
int preambleRow(uint8_t first, uint8_t second) {
  static constexpr int kRowOfFirst[8] = {10, 0, 2, 11, 13, 4, 6, 8};
  int row = kRowOfFirst[first & 0x07];
  if ((first & 0x07) != 0 && (second & 0x20)) ++row;
  return row;
}

}  // namespace

void Cea608Decoder::feedTriplet(uint8_t header, uint8_t first, uint8_t second) {
  if (!(header & 0x04)) return;  // cc_valid clear: padding
  int type = header & 0x03;
  if (type <= 1) feedPair(type + 1, first, second);
}

void Cea608Decoder::feedPair(int field, uint8_t first, uint8_t second) {
  if (field != 1 && field != 2) return;
  FieldState& state = fields_[field - 1];
  // A first byte with bad parity takes its pair with it: the second byte could
  // belong to a control code and must not be shown as a character.
  if (!oddParity(first)) return;
  uint8_t a = first & 0x7F;
  uint8_t b = oddParity(second) ? second & 0x7F : 0;

  if (a >= 0x10 && a <= 0x1F) {
    if (b < 0x20) return;  // not a control code (its second byte was lost)
    bool repeated = state.lastControl[0] == a && state.lastControl[1] == b;
    state.lastControl[0] = a;
    state.lastControl[1] = b;
    if (repeated) {
      state.lastControl[0] = 0;  // a third copy is a new command
      return;
    }
    state.inExtendedData = false;
    state.channel = (a & 0x08) ? 1 : 0;
    control(state, (field - 1) * 2 + state.channel, a & 0xF7, b);
  } else {
    state.lastControl[0] = 0;
    if (a >= 0x01 && a <= 0x0F) {
      state.inExtendedData = field == 2 && a != 0x0F;  // 0x0F ends an XDS packet
      return;
    }
    if (a == 0 || state.inExtendedData) return;
    Cea608Channel& channel = channels_[(field - 1) * 2 + state.channel];
    channel.write(cea608BasicCharacter(a));
    if (b >= 0x20) channel.write(cea608BasicCharacter(b));
  }
}

void Cea608Decoder::control(FieldState&, int channelIndex, uint8_t first, uint8_t second) {
  Cea608Channel& channel = channels_[channelIndex];
  if (second >= 0x40) {
    // Preamble address code: row, then an indent (multiple of 4) or a style at column 0.
    int column = (second & 0x10) ? ((second & 0x0E) >> 1) * 4 : 0;
    if (first == 0x10 && (second & 0x20)) return;  // undefined combination
    channel.preamble(preambleRow(first, second), column);
    return;
  }
  switch (first) {
    case 0x11:
      if (second < 0x30) {
        channel.write(U' ');  // a mid-row style change shows as a space
      } else {
        channel.write(cea608SpecialCharacter(second));
      }
      break;
    case 0x12:
    case 0x13:
      channel.writeReplacing(cea608ExtendedCharacter(first, second));
      break;
    case 0x14:
    case 0x15:  // field 2 may send its miscellaneous codes with 0x15
      if (second <= 0x2F) channel.command(second);
      break;
    case 0x17:
      if (second >= 0x21 && second <= 0x23) channel.tab(second - 0x20);
      break;
    default:  // background and foreground attributes: no effect on the text
      break;
  }
}

unsigned Cea608Decoder::takeChangedChannels() {
  unsigned changed = 0;
  for (int i = 0; i < kChannels; ++i) {
    if (!channels_[i].takeDisplayChanged()) continue;
    std::string text = channels_[i].displayedText();
    if (text == reported_[i]) continue;
    if (!text.empty()) channelsWithText_ |= 1u << i;
    reported_[i] = std::move(text);
    changed |= 1u << i;
  }
  return changed;
}

std::string Cea608Decoder::displayedText(int channel) const {
  return channel >= 0 && channel < kChannels ? reported_[channel] : std::string();
}

void Cea608Decoder::reset() {
  *this = Cea608Decoder();
}

}  // namespace zent
