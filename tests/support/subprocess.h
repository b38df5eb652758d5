// Programs run from the tests: to completion (ffmpeg, ffprobe) or alongside a
// test that follows and steers them line by line (zentplay).
#ifndef ZENT_TESTS_SUPPORT_SUBPROCESS_H
#define ZENT_TESTS_SUPPORT_SUBPROCESS_H

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace zent::test {

struct ProcessResult {
  int exitCode = -1;  // -1 when it could not start, timed out or a signal ended it
  std::string out;
  std::string err;
  std::string command;

  bool ok() const { return exitCode == 0; }
  std::string describe() const;  // the command, its exit code and the tail of stderr
};

// Runs argv[0] (looked up in PATH) with an empty stdin; kills it when `timeout`
// passes. Never throws; check ok().
ProcessResult runProcess(const std::vector<std::string>& argv, std::chrono::milliseconds timeout);
// As runProcess, but throws std::runtime_error carrying describe() unless ok().
ProcessResult runChecked(const std::vector<std::string>& argv, std::chrono::milliseconds timeout);

// A running program in its own process group, stdin and stdout on pipes,
// stderr in a temporary file. Killed when the object goes away.
class ChildProcess {
 public:
  // Throws std::runtime_error when it cannot start.
  explicit ChildProcess(const std::vector<std::string>& argv);
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
  // The exit code, or nullopt when the time runs out or a signal ended it.
  std::optional<int> waitForExit(std::chrono::milliseconds timeout);
  std::optional<int> terminate(std::chrono::milliseconds grace);  // SIGTERM, then waitForExit

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
  std::optional<int> exitCode_;
  bool exited_ = false;
  std::string command_;
};

}  // namespace zent::test

#endif
