// Programs run from the tests: to completion (ffmpeg, ffprobe) or alongside a
// test that follows and steers them line by line (zentplay).
#ifndef ZENT_TESTS_SUPPORT_SUBPROCESS_H
#define ZENT_TESTS_SUPPORT_SUBPROCESS_H

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace zent::test {

struct ProcessResult {
  bool started = false;   // false when the program could not be started
  bool timedOut = false;  // killed because the time limit passed
  int exitCode = -1;      // -1 when killed by a signal or not started
  int signal = 0;         // the signal that ended it, 0 when it exited
  std::string out;
  std::string err;

  bool ok() const { return started && !timedOut && exitCode == 0; }
  // The command, how it ended and the tail of stderr, for failure messages.
  std::string describe() const;
  std::string command;
};

// Runs argv[0] (looked up in PATH) with an empty stdin; kills it when `timeout`
// passes. Never throws; check ok().
ProcessResult runProcess(const std::vector<std::string>& argv, std::chrono::milliseconds timeout);
// As runProcess, but throws std::runtime_error carrying describe() unless ok().
ProcessResult runChecked(const std::vector<std::string>& argv, std::chrono::milliseconds timeout);
std::string quoteCommand(const std::vector<std::string>& argv);

// A running program in its own process group, stdin and stdout on pipes,
// stderr in a temporary file. Killed when the object goes away.
class ChildProcess {
 public:
  // A value sets the variable, nullopt removes it.
  using EnvChanges = std::map<std::string, std::optional<std::string>>;

  // Throws std::runtime_error when it cannot start.
  ChildProcess(const std::vector<std::string>& argv, const EnvChanges& env = {});
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // The next line (after the last one matched) that satisfies `match`, or
  // nullopt when the time runs out or the output closes first.
  std::optional<std::string> waitForLine(const std::function<bool(const std::string&)>& match,
                                         std::chrono::milliseconds timeout);
  std::optional<std::string> waitForLineWith(const std::string& text,
                                             std::chrono::milliseconds timeout);
  void send(const std::string& line);  // `line` and a newline into stdin
  void closeInput();
  // The exit status, or nullopt when the time runs out (left running) or a signal ended it.
  std::optional<int> waitForExit(std::chrono::milliseconds timeout);
  // SIGTERM, then waitForExit(grace).
  std::optional<int> terminate(std::chrono::milliseconds grace);

  bool exited() const { return exited_; }
  int endSignal() const { return signal_; }
  const std::vector<std::string>& lines() const { return lines_; }
  bool printed(const std::string& text) const;
  std::string errors() const;      // what it wrote to stderr
  std::string transcript() const;  // command, output and the tail of stderr

 private:
  bool readSome(std::chrono::milliseconds timeout);  // false at the end of output

  int pid_ = -1;
  int stdin_ = -1;
  int stdout_ = -1;
  std::string stderrPath_;
  std::string partial_;
  std::vector<std::string> lines_;
  size_t nextLine_ = 0;
  bool outputClosed_ = false;
  std::optional<int> exitStatus_;
  int signal_ = 0;
  bool exited_ = false;
  std::string command_;
};

}  // namespace zent::test

#endif
