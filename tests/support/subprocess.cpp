#include "support/subprocess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

extern char** environ;

namespace zent::test {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

std::string tail(const std::string& text) {
  return text.size() > 3000 ? "..." + text.substr(text.size() - 3000) : text;
}

std::string joined(const std::vector<std::string>& argv) {
  std::string line;
  for (const std::string& arg : argv) line += (line.empty() ? "'" : " '") + arg + "'";
  return line;
}

}  // namespace

std::string ProcessResult::describe() const {
  return "command: " + command + "\nexit code " + std::to_string(exitCode) + "\nstderr (tail):\n" +
         tail(err);
}

ProcessResult runProcess(const std::vector<std::string>& argv, milliseconds timeout) {
  ProcessResult result;
  result.command = joined(argv);
  try {
    ChildProcess child(argv);
    child.closeInput();
    result.exitCode = child.waitForExit(timeout).value_or(-1);
    for (const std::string& line : child.lines()) result.out += line + "\n";
    result.err = child.errors();
  } catch (const std::exception& e) {
    result.err = e.what();
  }
  return result;
}

ProcessResult runChecked(const std::vector<std::string>& argv, milliseconds timeout) {
  ProcessResult result = runProcess(argv, timeout);
  if (!result.ok()) throw std::runtime_error(result.describe());
  return result;
}

ChildProcess::ChildProcess(const std::vector<std::string>& argv) : command_(joined(argv)) {
  char stderrTemplate[] = "/tmp/zent-test-stderr-XXXXXX";
  const int stderrFd = mkstemp(stderrTemplate);
  int in[2], out[2];
  if (argv.empty() || stderrFd < 0 || pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) {
    throw std::runtime_error("cannot start " + command_);
  }
  stderrPath_ = stderrTemplate;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, stderrFd, STDERR_FILENO);
  posix_spawnattr_t attributes;  // its own process group: a kill reaches nothing of the test's
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);

  std::vector<char*> args;
  for (const auto& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
  args.push_back(nullptr);
  const int failed = posix_spawnp(&pid_, args[0], &actions, &attributes, args.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attributes);
  for (int fd : {in[0], out[1], stderrFd}) close(fd);
  stdin_ = in[1];
  stdout_ = out[0];
  if (failed != 0) {
    pid_ = -1;
    throw std::runtime_error("cannot start " + argv[0] + ": " + std::strerror(failed));
  }
}

ChildProcess::~ChildProcess() {
  if (!exited_ && pid_ > 0) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  for (int fd : {stdin_, stdout_}) close(fd);
  unlink(stderrPath_.c_str());
}

bool ChildProcess::readSome(milliseconds timeout) {
  if (stdout_ < 0) return false;
  pollfd output{stdout_, POLLIN, 0};
  if (poll(&output, 1, static_cast<int>(timeout.count())) <= 0) return true;
  char buffer[65536];
  const ssize_t got = read(stdout_, buffer, sizeof buffer);
  if (got < 0 && errno == EINTR) return true;
  if (got <= 0) {
    close(stdout_);
    stdout_ = -1;
    if (!partial_.empty()) lines_.push_back(std::move(partial_));
    partial_.clear();
    return false;
  }
  partial_.append(buffer, static_cast<size_t>(got));
  for (auto nl = partial_.find('\n'); nl != std::string::npos; nl = partial_.find('\n')) {
    lines_.push_back(partial_.substr(0, nl));
    partial_.erase(0, nl + 1);
  }
  return true;
}

std::optional<std::string> ChildProcess::waitForLine(
    const std::function<bool(const std::string&)>& match, milliseconds timeout) {
  const auto deadline = Clock::now() + timeout;
  while (true) {
    for (; nextLine_ < lines_.size(); ++nextLine_) {
      if (match(lines_[nextLine_])) return lines_[nextLine_++];
    }
    if (Clock::now() >= deadline || !readSome(milliseconds(100))) return std::nullopt;
  }
}

std::optional<std::string> ChildProcess::waitForLineWith(const std::string& text,
                                                         milliseconds timeout) {
  return waitForLine([&](const std::string& line) { return line.find(text) != std::string::npos; },
                     timeout);
}

void ChildProcess::send(const std::string& line) {
  const std::string text = line + "\n";
  signal(SIGPIPE, SIG_IGN);  // a program gone away: the test sees the missing reaction
  [[maybe_unused]] const ssize_t written = write(stdin_, text.data(), text.size());
}

void ChildProcess::closeInput() {
  close(stdin_);
  stdin_ = -1;
}

std::optional<int> ChildProcess::waitForExit(milliseconds timeout) {
  const auto deadline = Clock::now() + timeout;
  while (!exited_) {
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == pid_) {
      exited_ = true;
      if (WIFEXITED(status)) exitCode_ = WEXITSTATUS(status);
    } else if (Clock::now() >= deadline) {
      return std::nullopt;
    } else if (!readSome(milliseconds(50))) {
      std::this_thread::sleep_for(milliseconds(20));
    }
  }
  // Read what it printed; a grandchild holding the pipe open is not waited for long.
  const auto drainUntil = Clock::now() + std::chrono::seconds(2);
  while (readSome(milliseconds(50)) && Clock::now() < drainUntil) {
  }
  return exitCode_;
}

std::optional<int> ChildProcess::terminate(milliseconds grace) {
  kill(pid_, SIGTERM);
  return waitForExit(grace);
}

bool ChildProcess::printed(const std::string& text) const {
  for (const auto& line : lines_) {
    if (line.find(text) != std::string::npos) return true;
  }
  return false;
}

std::string ChildProcess::errors() const {
  std::ifstream file(stderrPath_);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

std::string ChildProcess::transcript() const {
  std::string text = "$ " + command_ + "\n--- stdout ---\n";
  for (const auto& line : lines_) text += line + "\n";
  return text + partial_ + "\n--- stderr (tail) ---\n" + tail(errors());
}

}  // namespace zent::test
