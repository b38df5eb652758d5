#pragma once

#include <cstring>
#include <string>

namespace zent {

// A C string argument as text; a null pointer reads as "".
inline std::string textArgument(const char* text) {
  return text ? std::string(text) : std::string();
}

// A text result the host frees with free().
inline char* heapText(const std::string& text) {
  return strdup(text.c_str());
}

// The result of a text export when there is no bridge: a constant the host must not free.
inline char* constantEmptyText() {
  static char empty[] = "";
  return empty;
}

}  // namespace zent
