#include "platform/gst/caption_text.h"

#include <cstdint>
#include <cstdlib>

namespace zent {
namespace {

void appendUtf8(std::string& out, uint32_t code) {
  if (code == 0 || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return;
  if (code < 0x80) {
    out.push_back(static_cast<char>(code));
  } else if (code < 0x800) {
    out.push_back(static_cast<char>(0xC0 | (code >> 6)));
    out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
  } else if (code < 0x10000) {
    out.push_back(static_cast<char>(0xE0 | (code >> 12)));
    out.push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
  } else {
    out.push_back(static_cast<char>(0xF0 | (code >> 18)));
    out.push_back(static_cast<char>(0x80 | ((code >> 12) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
  }
}

// Decodes the entity starting at text[pos] ('&'); returns the characters used, or
// 0 when it is not an entity (the '&' is then kept as it is).
std::size_t decodeEntity(std::string_view text, std::size_t pos, std::string& out) {
  std::size_t end = text.find(';', pos);
  if (end == std::string_view::npos || end - pos > 10) return 0;
  std::string_view name = text.substr(pos + 1, end - pos - 1);
  if (name == "lt") {
    out.push_back('<');
  } else if (name == "gt") {
    out.push_back('>');
  } else if (name == "amp") {
    out.push_back('&');
  } else if (name == "quot") {
    out.push_back('"');
  } else if (name == "apos") {
    out.push_back('\'');
  } else if (name.size() > 1 && name[0] == '#') {
    std::string digits(name.substr(1));
    int base = 10;
    if (!digits.empty() && (digits[0] == 'x' || digits[0] == 'X')) {
      base = 16;
      digits.erase(0, 1);
    }
    if (digits.empty()) return 0;
    char* stop = nullptr;
    unsigned long code = std::strtoul(digits.c_str(), &stop, base);
    if (stop == nullptr || *stop != '\0') return 0;
    appendUtf8(out, static_cast<uint32_t>(code));
  } else {
    return 0;
  }
  return end - pos + 1;
}

std::string plainText(std::string_view text, bool markup) {
  if (!markup) return std::string(text);
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    char c = text[i];
    if (c == '<') {
      std::size_t close = text.find('>', i);
      if (close == std::string_view::npos) break;  // an unfinished tag ends the text
      i = close + 1;
    } else if (c == '&') {
      std::size_t used = decodeEntity(text, i, out);
      if (used == 0) {
        out.push_back('&');
        ++i;
      } else {
        i += used;
      }
    } else {
      out.push_back(c);
      ++i;
    }
  }
  return out;
}

}  // namespace

std::vector<std::string> captionLines(std::string_view text, bool pangoMarkup) {
  std::string plain = plainText(text, pangoMarkup);
  std::vector<std::string> lines;
  std::size_t start = 0;
  while (start <= plain.size()) {
    std::size_t newline = plain.find('\n', start);
    std::size_t end = newline == std::string::npos ? plain.size() : newline;
    std::string line = plain.substr(start, end - start);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    lines.push_back(std::move(line));
    if (newline == std::string::npos) break;
    start = newline + 1;
  }
  while (!lines.empty() && lines.back().empty()) lines.pop_back();
  return lines;
}

std::string captionText(std::string_view text, bool pangoMarkup) {
  std::vector<std::string> lines = captionLines(text, pangoMarkup);
  std::string joined;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (i > 0) joined.push_back('\n');
    joined += lines[i];
  }
  return joined;
}

}  // namespace zent
