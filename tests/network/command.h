#pragma once

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <string>

namespace zent::testing {

struct CommandResult {
  int exitCode = -1;   // -1 when the command could not be run or did not exit normally
  std::string output;  // standard output and standard error together
};

// Runs a shell command and collects what it printed.
inline CommandResult runCommand(const std::string& command) {
  CommandResult result;
  FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  if (pipe == nullptr) return result;
  std::array<char, 4096> buffer{};
  std::size_t got = 0;
  while ((got = fread(buffer.data(), 1, buffer.size(), pipe)) > 0)
    result.output.append(buffer.data(), got);
  int status = pclose(pipe);
  if (status != -1 && WIFEXITED(status)) result.exitCode = WEXITSTATUS(status);
  return result;
}

}  // namespace zent::testing
