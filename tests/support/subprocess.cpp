#include "support/subprocess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

extern char** environ;

namespace zent::test {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

std::string tail(const std::string& text) {
  constexpr size_t kTail = 3000;
  return text.size() > kTail ? "..." + text.substr(text.size() - kTail) : text;
}

}  // namespace

std::string quoteCommand(const std::vector<std::string>& argv) {
  std::string line;
  for (const std::string& arg : argv) {
    if (!line.empty()) line += ' ';
    if (!arg.empty() && arg.find_first_of(" \t\n'\"\\$`*?[]{}();&|<>!#~") == std::string::npos) {
      line += arg;
      continue;
    }
    line += '\'';
    for (char c : arg) line += c == '\'' ? std::string("'\\''") : std::string(1, c);
    line += '\'';
  }
  return line;
}

std::string ProcessResult::describe() const {
  std::string text = "command: " + command + "\n";
  if (!started) {
    text += "could not be started";
  } else if (timedOut) {
    text += "killed after its time limit";
  } else if (signal != 0) {
    text += "ended by signal " + std::to_string(signal);
  } else {
    text += "exit code " + std::to_string(exitCode);
  }
  if (!err.empty()) text += "\nstderr (tail):\n" + tail(err);
  return text;
}

ProcessResult runProcess(const std::vector<std::string>& argv, milliseconds timeout) {
  ProcessResult result;
  result.command = quoteCommand(argv);
  try {
    ChildProcess child(argv);
    result.started = true;
    child.closeInput();
    std::optional<int> status = child.waitForExit(timeout);
    result.timedOut = !child.exited();
    result.exitCode = status.value_or(-1);
    result.signal = child.endSignal();
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

ChildProcess::ChildProcess(const std::vector<std::string>& argv, const EnvChanges& env) {
  if (argv.empty()) throw std::runtime_error("no program given");
  command_ = quoteCommand(argv);
  char stderrTemplate[] = "/tmp/zent-test-stderr-XXXXXX";
  const int stderrFd = mkstemp(stderrTemplate);
  if (stderrFd < 0) throw std::runtime_error("no temporary file for stderr");
  stderrPath_ = stderrTemplate;
  int in[2], out[2];
  if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) {
    close(stderrFd);
    throw std::runtime_error(std::string("pipe: ") + std::strerror(errno));
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, stderrFd, STDERR_FILENO);
  posix_spawnattr_t attributes;  // its own process group: a kill reaches nothing of the test's
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
  posix_spawnattr_setpgroup(&attributes, 0);

  std::vector<std::string> environment;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    std::string text = *entry;
    if (env.count(text.substr(0, text.find('='))) == 0) environment.push_back(text);
  }
  for (const auto& [name, value] : env) {
    if (value) environment.push_back(name + "=" + *value);
  }
  std::vector<char*> args, envp;
  for (const auto& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
  args.push_back(nullptr);
  for (auto& entry : environment) envp.push_back(entry.data());
  envp.push_back(nullptr);
  pid_t pid = -1;
  const int failed = posix_spawnp(&pid, args[0], &actions, &attributes, args.data(), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attributes);
  close(in[0]);
  close(out[1]);
  close(stderrFd);
  if (failed != 0) {
    close(in[1]);
    close(out[0]);
    unlink(stderrPath_.c_str());
    throw std::runtime_error("cannot start " + argv[0] + ": " + std::strerror(failed));
  }
  pid_ = pid;
  stdin_ = in[1];
  stdout_ = out[0];
}

ChildProcess::~ChildProcess() {
  if (!exited_ && pid_ > 0) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  closeInput();
  if (stdout_ >= 0) close(stdout_);
  unlink(stderrPath_.c_str());
}

bool ChildProcess::readSome(milliseconds timeout) {
  if (outputClosed_) return false;
  pollfd output{stdout_, POLLIN, 0};
  if (poll(&output, 1, static_cast<int>(timeout.count())) <= 0) return true;
  char buffer[65536];
  const ssize_t got = read(stdout_, buffer, sizeof buffer);
  if (got <= 0) {
    if (got < 0 && errno == EINTR) return true;
    outputClosed_ = true;
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
    const auto left = std::chrono::duration_cast<milliseconds>(deadline - Clock::now());
    if (left.count() <= 0) return std::nullopt;
    if (!readSome(std::min(left, milliseconds(200))) && nextLine_ >= lines_.size()) {
      return std::nullopt;
    }
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
  if (stdin_ >= 0) close(stdin_);
  stdin_ = -1;
}

std::optional<int> ChildProcess::waitForExit(milliseconds timeout) {
  const auto deadline = Clock::now() + timeout;
  while (!exited_) {
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == pid_) {
      exited_ = true;
      if (WIFEXITED(status)) exitStatus_ = WEXITSTATUS(status);
      if (WIFSIGNALED(status)) signal_ = WTERMSIG(status);
      break;
    }
    if (Clock::now() >= deadline) return std::nullopt;
    if (!readSome(milliseconds(50))) std::this_thread::sleep_for(milliseconds(20));
  }
  // Read what it printed; a grandchild holding the pipe open is not waited for long.
  const auto drainUntil = Clock::now() + std::chrono::seconds(2);
  while (readSome(milliseconds(50)) && Clock::now() < drainUntil) {
  }
  return exitStatus_;
}

std::optional<int> ChildProcess::terminate(milliseconds grace) {
  if (exited_ || pid_ <= 0) return exitStatus_;
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
  return std::string((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
}

std::string ChildProcess::transcript() const {
  std::ostringstream text;
  text << "$ " << command_ << "\n--- stdout ---\n";
  for (const auto& line : lines_) text << line << "\n";
  text << partial_ << "\n--- stderr (tail) ---\n" << tail(errors());
  return text.str();
}

}  // namespace zent::test
