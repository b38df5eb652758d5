#include "subtitles/cea608_channel.h"

#include <algorithm>

#include "subtitles/cea608_charset.h"

namespace zent {

void Cea608Channel::command(uint8_t code) {
  switch (code) {
    case ResumeCaptionLoading:
      style_ = Style::PopOn;
      break;
    case ResumeDirectCaptioning:
      style_ = Style::PaintOn;
      break;
    case RollUp2:
    case RollUp3:
    case RollUp4:
      startRollUp(code - RollUp2 + 2);
      break;
    case TextRestart:
    case ResumeTextDisplay:
      style_ = Style::Text;  // text service: its characters are not captions
      break;
    case Backspace:
      if (style_ != Style::Text && column_ > 0) {
        --column_;
        target()[row_][column_] = 0;
        displayChanged_ |= style_ != Style::PopOn;
      }
      break;
    case DeleteToEndOfRow:
      if (style_ != Style::Text) {
        std::fill(target()[row_].begin() + column_, target()[row_].end(), 0);
        displayChanged_ |= style_ != Style::PopOn;
      }
      break;
    case EraseDisplayedMemory:
      clear(shown_);
      displayChanged_ = true;
      break;
    case EraseNonDisplayedMemory:
      clear(hidden_);
      break;
    case EndOfCaption:
      std::swap(shown_, hidden_);
      style_ = Style::PopOn;
      displayChanged_ = true;
      break;
    case CarriageReturn:
      if (style_ == Style::RollUp) {
        scrollUp();
      } else if (style_ == Style::PaintOn || style_ == Style::PopOn) {
        row_ = std::min(row_ + 1, kRows - 1);
      }
      column_ = 0;
      break;
    default:  // flash, alarm codes: no effect on the text
      break;
  }
}

void Cea608Channel::startRollUp(int rows) {
  if (style_ != Style::RollUp) {
    // Entering roll-up from another style starts from a blank screen at the bottom.
    clear(shown_);
    clear(hidden_);
    displayChanged_ = true;
    row_ = kRows - 1;
    column_ = 0;
  } else if (rows < rollRows_) {
    for (int r = 0; r <= row_ - rows; ++r) shown_[r].fill(0);
    displayChanged_ = true;
  }
  style_ = Style::RollUp;
  rollRows_ = rows;
}

void Cea608Channel::scrollUp() {
  int top = std::max(0, row_ - rollRows_ + 1);
  for (int r = top; r < row_; ++r) shown_[r] = shown_[r + 1];
  shown_[row_].fill(0);
  for (int r = 0; r < top; ++r) shown_[r].fill(0);
  displayChanged_ = true;
}

void Cea608Channel::preamble(int row, int column) {
  if (style_ == Style::Text) return;
  row = std::clamp(row, 0, kRows - 1);
  if (style_ == Style::RollUp) {
    // The window keeps its rows and moves so its base is the addressed row.
    row = std::max(row, rollRows_ - 1);
    if (row != row_) {
      Memory moved{};
      for (int k = 0; k < rollRows_; ++k) {
        if (row_ - k >= 0) moved[row - k] = shown_[row_ - k];
      }
      shown_ = moved;
      displayChanged_ = true;
    }
  }
  row_ = row;
  column_ = std::clamp(column, 0, kColumns - 1);
}

void Cea608Channel::tab(int columns) {
  if (style_ == Style::Text) return;
  column_ = std::min(column_ + columns, kColumns - 1);
}

void Cea608Channel::write(char32_t cp) {
  if (style_ == Style::Text) return;
  target()[row_][column_] = cp;
  if (column_ < kColumns - 1) ++column_;  // the last column is overwritten
  displayChanged_ |= style_ != Style::PopOn;
}

void Cea608Channel::writeReplacing(char32_t cp) {
  if (style_ == Style::Text) return;
  if (column_ > 0) --column_;
  write(cp);
}

std::string Cea608Channel::displayedText() const {
  std::string text;
  for (const Row& row : shown_) {
    auto first = std::find_if(row.begin(), row.end(), [](char32_t c) { return c > U' '; });
    if (first == row.end()) continue;
    auto last = std::find_if(row.rbegin(), row.rend(), [](char32_t c) { return c > U' '; }).base();
    if (!text.empty()) text += '\n';
    for (auto it = first; it != last; ++it) appendUtf8(text, *it ? *it : U' ');
  }
  return text;
}

bool Cea608Channel::takeDisplayChanged() {
  bool changed = displayChanged_;
  displayChanged_ = false;
  return changed;
}

void Cea608Channel::clear(Memory& memory) {
  for (Row& row : memory) row.fill(0);
}

void Cea608Channel::reset() {
  *this = Cea608Channel();
}

}  // namespace zent
