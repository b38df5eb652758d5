#pragma once

// A program run alongside a test: lines it prints are awaited one by one and
// lines can be typed into it, so a test can follow and steer an interactive
// program (zentplay, Xvfb). Killed when the object goes away.

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zent::test {

class ChildProcess {
 public:
  // Environment changes: a value sets the variable, nullopt removes it.
  using EnvChanges = std::map<std::string, std::optional<std::string>>;

  // Starts argv[0] (looked up in PATH) with a pipe on stdin and stdout and its
  // stderr into a temporary file. Throws std::runtime_error when it cannot.
  ChildProcess(const std::vector<std::string>& argv, const EnvChanges& env = {});
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // The next line (after the last one matched) that satisfies `match`, or
  // nullopt when the time runs out or the program closes its output first.
  std::optional<std::string> waitForLine(const std::function<bool(const std::string&)>& match,
                                         std::chrono::milliseconds timeout);
  std::optional<std::string> waitForLineWith(const std::string& text,
                                             std::chrono::milliseconds timeout);

  // Types `line` and a newline into the program's stdin.
  void send(const std::string& line);

  // Waits for the program to end, reading what it still prints. Its exit
  // status, or nullopt when the time runs out (it is then left running) or it
  // was killed by a signal.
  std::optional<int> waitForExit(std::chrono::milliseconds timeout);

  // Asks the program to end (SIGTERM), and kills it when it has not ended
  // within `grace`. Its exit status, as waitForExit gives it.
  std::optional<int> terminate(std::chrono::milliseconds grace);

  // Every line printed so far.
  const std::vector<std::string>& lines() const { return lines_; }
  bool printed(const std::string& text) const;
  // The output and the tail of stderr, for failure messages.
  std::string transcript() const;

 private:
  // Reads what is available within `timeout`; false at end of output.
  bool readSome(std::chrono::milliseconds timeout);

  int pid_ = -1;
  int stdin_ = -1;
  int stdout_ = -1;
  std::string stderrPath_;
  std::string partial_;
  std::vector<std::string> lines_;
  size_t nextLine_ = 0;
  bool outputClosed_ = false;
  std::optional<int> exitStatus_;
  bool exited_ = false;
  std::string command_;
};

}  // namespace zent::test
