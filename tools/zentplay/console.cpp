#include "console.h"

#include <cstdio>
#include <mutex>

namespace zentplay {
namespace {
std::mutex& consoleMutex() {
  static std::mutex mutex;
  return mutex;
}
}  // namespace

void printLine(const std::string& line) {
  std::lock_guard lock(consoleMutex());
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fputc('\n', stdout);
  std::fflush(stdout);
}

void printLibraryLog(int32_t /*level*/, const char* line) {
  // The line already names its level ("ZENTPLAYER - Linux - ERROR: ...").
  printLine(std::string("log: ") + (line != nullptr ? line : ""));
}

}  // namespace zentplay
