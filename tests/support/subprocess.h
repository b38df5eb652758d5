// Runs a helper program (ffmpeg, ffprobe, gst-launch-1.0) to completion with a
// time limit and captures what it prints.
#ifndef ZENT_TESTS_SUPPORT_SUBPROCESS_H
#define ZENT_TESTS_SUPPORT_SUBPROCESS_H

#include <chrono>
#include <string>
#include <vector>

namespace zent::test {

struct ProcessResult {
  bool started = false;   // false when the program could not be started
  bool timedOut = false;  // killed (SIGKILL) because the time limit passed
  int exitCode = -1;      // the exit status; -1 when killed by a signal or not started
  int signal = 0;         // the signal that ended it, 0 when it exited
  std::string out;        // everything written to stdout
  std::string err;        // everything written to stderr

  bool ok() const { return started && !timedOut && exitCode == 0; }
  // One paragraph for failure messages: the command, how it ended, the tail of stderr.
  std::string describe() const;
  std::string command;  // the command line, shell-quoted, for messages
};

// Runs argv[0] (looked up in PATH) with stdin from /dev/null. Kills it when
// `timeout` passes. Never throws; check ok().
ProcessResult runProcess(const std::vector<std::string>& argv, std::chrono::milliseconds timeout);

// As runProcess, but throws std::runtime_error carrying describe() unless ok().
ProcessResult runChecked(const std::vector<std::string>& argv, std::chrono::milliseconds timeout);

// The argv joined with shell quoting where needed, for messages.
std::string quoteCommand(const std::vector<std::string>& argv);

}  // namespace zent::test

#endif
