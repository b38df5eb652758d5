#pragma once

#include <string_view>

namespace zent {

// A broken invariant of the host's use of the library (a track index outside the
// list, an empty slot, a value that does not fit 32 bits, a URL that does not
// parse, a time that is not finite). The process is never stopped for these: one
// ERROR line names the operation and the condition, and the caller returns its
// neutral value. Built with ZENT_ABORT_ON_INVARIANT, the process aborts instead,
// so tests can prove that each condition is detected.
void reportBrokenInvariant(std::string_view operation, std::string_view condition);

template <typename T>
T brokenInvariant(std::string_view operation, std::string_view condition, T neutral) {
  reportBrokenInvariant(operation, condition);
  return neutral;
}

}  // namespace zent
