#include "child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

extern char** environ;

namespace zent::test {
namespace {

using Clock = std::chrono::steady_clock;

std::vector<std::string> environmentWith(const ChildProcess::EnvChanges& changes) {
  std::vector<std::string> result;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string text = *entry;
    const std::string name = text.substr(0, text.find('='));
    if (changes.count(name) == 0) result.push_back(text);
  }
  for (const auto& [name, value] : changes) {
    if (value) result.push_back(name + "=" + *value);
  }
  return result;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& argv, const EnvChanges& env) {
  if (argv.empty()) throw std::runtime_error("ChildProcess: no program given");
  for (const auto& arg : argv) command_ += (command_.empty() ? "" : " ") + arg;
  char stderrTemplate[] = "/tmp/zentplay-test-stderr-XXXXXX";
  const int stderrFd = mkstemp(stderrTemplate);
  if (stderrFd < 0) throw std::runtime_error("ChildProcess: no temporary file for stderr");
  stderrPath_ = stderrTemplate;
  int in[2];
  int out[2];
  if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) {
    close(stderrFd);
    throw std::runtime_error(std::string("ChildProcess: pipe: ") + std::strerror(errno));
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, stderrFd, STDERR_FILENO);
  // Its own process group, so a kill reaches nothing of the test's.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
  posix_spawnattr_setpgroup(&attributes, 0);

  std::vector<std::string> environment = environmentWith(env);
  std::vector<char*> args;
  for (const auto& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
  args.push_back(nullptr);
  std::vector<char*> envp;
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
    throw std::runtime_error("cannot start " + argv[0] + ": " + std::strerror(failed));
  }
  pid_ = pid;
  stdin_ = in[1];
  stdout_ = out[0];
}

ChildProcess::~ChildProcess() {
  if (!exited_ && pid_ > 0) {
    kill(pid_, SIGKILL);
    int status = 0;
    waitpid(pid_, &status, 0);
  }
  if (stdin_ >= 0) close(stdin_);
  if (stdout_ >= 0) close(stdout_);
  if (!stderrPath_.empty()) unlink(stderrPath_.c_str());
}

bool ChildProcess::readSome(std::chrono::milliseconds timeout) {
  if (outputClosed_) return false;
  pollfd output{stdout_, POLLIN, 0};
  const int ready = poll(&output, 1, static_cast<int>(timeout.count()));
  if (ready <= 0) return true;
  char buffer[4096];
  const ssize_t got = read(stdout_, buffer, sizeof buffer);
  if (got <= 0) {
    if (got < 0 && errno == EINTR) return true;
    outputClosed_ = true;
    if (!partial_.empty()) lines_.push_back(std::move(partial_));
    partial_.clear();
    return false;
  }
  partial_.append(buffer, static_cast<size_t>(got));
  for (auto newline = partial_.find('\n'); newline != std::string::npos;
       newline = partial_.find('\n')) {
    lines_.push_back(partial_.substr(0, newline));
    partial_.erase(0, newline + 1);
  }
  return true;
}

std::optional<std::string> ChildProcess::waitForLine(
    const std::function<bool(const std::string&)>& match, std::chrono::milliseconds timeout) {
  const auto deadline = Clock::now() + timeout;
  while (true) {
    for (; nextLine_ < lines_.size(); ++nextLine_) {
      if (match(lines_[nextLine_])) return lines_[nextLine_++];
    }
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    if (left.count() <= 0) return std::nullopt;
    if (!readSome(std::min(left, std::chrono::milliseconds(200))) && nextLine_ >= lines_.size()) {
      return std::nullopt;
    }
  }
}

std::optional<std::string> ChildProcess::waitForLineWith(const std::string& text,
                                                         std::chrono::milliseconds timeout) {
  return waitForLine(
      [&text](const std::string& line) { return line.find(text) != std::string::npos; }, timeout);
}

void ChildProcess::send(const std::string& line) {
  const std::string text = line + "\n";
  // A program that has gone away makes this fail (EPIPE); the test then sees
  // the missing reaction.
  signal(SIGPIPE, SIG_IGN);
  [[maybe_unused]] const ssize_t written = write(stdin_, text.data(), text.size());
}

std::optional<int> ChildProcess::waitForExit(std::chrono::milliseconds timeout) {
  const auto deadline = Clock::now() + timeout;
  while (!exited_) {
    int status = 0;
    const pid_t done = waitpid(pid_, &status, WNOHANG);
    if (done == pid_) {
      exited_ = true;
      if (WIFEXITED(status)) exitStatus_ = WEXITSTATUS(status);
      break;
    }
    if (Clock::now() >= deadline) return std::nullopt;
    if (!readSome(std::chrono::milliseconds(50))) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  }
  // Everything it printed is in the pipe now; read up to the end of output.
  const auto drainUntil = Clock::now() + std::chrono::seconds(2);
  while (readSome(std::chrono::milliseconds(50)) && Clock::now() < drainUntil) {
  }
  return exitStatus_;
}

std::optional<int> ChildProcess::terminate(std::chrono::milliseconds grace) {
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

std::string ChildProcess::transcript() const {
  std::ostringstream text;
  text << "$ " << command_ << "\n--- stdout ---\n";
  for (const auto& line : lines_) text << line << "\n";
  if (!partial_.empty()) text << partial_ << "\n";
  std::ifstream errors(stderrPath_);
  std::string all((std::istreambuf_iterator<char>(errors)), std::istreambuf_iterator<char>());
  constexpr size_t kTail = 3000;
  if (all.size() > kTail) all = "..." + all.substr(all.size() - kTail);
  text << "--- stderr (tail) ---\n" << all;
  return text.str();
}

}  // namespace zent::test
