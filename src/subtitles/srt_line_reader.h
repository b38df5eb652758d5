#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace zent {

// Walks a text line by line without copying it. A line ends at LF, CR LF or a lone
// CR; the terminator is not part of the line. Lines are numbered from 1. A final
// line without a terminator counts; the empty rest after a final terminator does not.
class SrtLineReader {
 public:
  explicit SrtLineReader(std::string_view text) : text_(text) { load(0); }

  bool atEnd() const { return atEnd_; }
  std::string_view line() const { return line_; }
  size_t lineNumber() const { return number_; }

  // The line after the current one, if there is one.
  std::optional<std::string_view> peekNext() const {
    if (next_ >= text_.size()) return std::nullopt;
    return lineAt(next_).text;
  }

  void advance() {
    ++number_;
    load(next_);
  }

 private:
  struct Line {
    std::string_view text;
    size_t after;  // offset of the line that follows
  };

  Line lineAt(size_t offset) const {
    // A plain loop: find_first_of makes a call per character here, several times slower.
    size_t end = offset;
    while (end < text_.size() && text_[end] != '\n' && text_[end] != '\r') ++end;
    if (end == text_.size()) return {text_.substr(offset), text_.size()};
    size_t after = end + 1;
    if (text_[end] == '\r' && after < text_.size() && text_[after] == '\n') ++after;
    return {text_.substr(offset, end - offset), after};
  }

  void load(size_t offset) {
    if (offset >= text_.size()) {
      atEnd_ = true;
      line_ = {};
      next_ = text_.size();
      return;
    }
    Line line = lineAt(offset);
    line_ = line.text;
    next_ = line.after;
  }

  std::string_view text_;
  std::string_view line_;
  size_t next_ = 0;
  size_t number_ = 1;
  bool atEnd_ = false;
};

}  // namespace zent
