#pragma once

// Whole lines on standard output from any thread: events and status from the
// render loop, library log lines from library threads. Each line is flushed at
// once so that a program reading zentplay through a pipe sees it when it happens.

#include <cstdint>
#include <string>

namespace zentplay {

void printLine(const std::string& line);

// Library log callback (NativeSetLogCallback): "log: <line>".
void printLibraryLog(int32_t level, const char* line);

}  // namespace zentplay
