#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace zent {

// One line-21 caption channel (CC1 to CC4): what is on screen, the hidden
// memory pop-on captions are built in, the caption style in force and the
// cursor. Commands arrive already decoded from their byte pairs.
class Cea608Channel {
 public:
  static constexpr int kRows = 15;
  static constexpr int kColumns = 32;

  enum class Style { PopOn, RollUp, PaintOn, Text };

  // Miscellaneous control codes, by their second byte.
  enum Command : uint8_t {
    ResumeCaptionLoading = 0x20,
    Backspace = 0x21,
    DeleteToEndOfRow = 0x24,
    RollUp2 = 0x25,
    RollUp3 = 0x26,
    RollUp4 = 0x27,
    FlashOn = 0x28,
    ResumeDirectCaptioning = 0x29,
    TextRestart = 0x2A,
    ResumeTextDisplay = 0x2B,
    EraseDisplayedMemory = 0x2C,
    CarriageReturn = 0x2D,
    EraseNonDisplayedMemory = 0x2E,
    EndOfCaption = 0x2F,
  };

  void command(uint8_t code);
  // A preamble address code: row 0 to 14, and a column the cursor moves to.
  void preamble(int row, int column);
  // Tab offset: the cursor moves 1 to 3 columns right.
  void tab(int columns);
  // Writes a character at the cursor (0 leaves the cell empty) and advances.
  void write(char32_t cp);
  // An extended character replaces the fallback character written before it.
  void writeReplacing(char32_t cp);

  // The text a viewer sees: rows with text, trimmed, joined by "\n".
  std::string displayedText() const;
  // True when a command changed the displayed memory since the last call.
  bool takeDisplayChanged();
  void reset();

 private:
  using Row = std::array<char32_t, kColumns>;
  using Memory = std::array<Row, kRows>;

  Memory& target() { return style_ == Style::PopOn ? hidden_ : shown_; }
  void startRollUp(int rows);
  void scrollUp();
  void clear(Memory& memory);

  Memory shown_{};
  Memory hidden_{};
  Style style_ = Style::PopOn;
  int rollRows_ = 0;  // rows of the roll-up window
  int row_ = kRows - 1;
  int column_ = 0;
  bool displayChanged_ = false;
};

}  // namespace zent
