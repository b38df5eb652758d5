#include "support/subprocess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

extern char** environ;

namespace zent::test {
namespace {

// Output beyond this is dropped: gst-launch -v can print megabytes.
constexpr size_t kMaxCapture = 16 * 1024 * 1024;

void appendCapped(std::string& to, const char* data, size_t size) {
  if (to.size() >= kMaxCapture) return;
  to.append(data, std::min(size, kMaxCapture - to.size()));
}

struct Pipe {
  int read = -1;
  int write = -1;
  bool open() {
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) return false;
    read = fds[0];
    write = fds[1];
    return true;
  }
  ~Pipe() {
    if (read >= 0) close(read);
    if (write >= 0) close(write);
  }
};

}  // namespace

std::string quoteCommand(const std::vector<std::string>& argv) {
  std::string line;
  for (const std::string& arg : argv) {
    if (!line.empty()) line += ' ';
    bool plain =
        !arg.empty() && arg.find_first_of(" \t\n'\"\\$`*?[]{}();&|<>!#~") == std::string::npos;
    if (plain) {
      line += arg;
      continue;
    }
    line += '\'';
    for (char c : arg) {
      if (c == '\'')
        line += "'\\''";
      else
        line += c;
    }
    line += '\'';
  }
  return line;
}

std::string ProcessResult::describe() const {
  std::string text = "command: " + command + "\n";
  if (!started)
    text += "could not be started";
  else if (timedOut)
    text += "killed after its time limit";
  else if (signal != 0)
    text += "ended by signal " + std::to_string(signal);
  else
    text += "exit code " + std::to_string(exitCode);
  constexpr size_t kTail = 3000;
  if (!err.empty()) {
    text += "\nstderr (tail):\n";
    text += err.size() > kTail ? err.substr(err.size() - kTail) : err;
  }
  return text;
}

ProcessResult runProcess(const std::vector<std::string>& argv, std::chrono::milliseconds timeout) {
  ProcessResult result;
  result.command = quoteCommand(argv);
  if (argv.empty()) return result;

  Pipe out;
  Pipe err;
  if (!out.open() || !err.open()) {
    result.err = std::string("pipe: ") + std::strerror(errno);
    return result;
  }

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, out.write, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, err.write, STDERR_FILENO);

  std::vector<char*> args;
  for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
  args.push_back(nullptr);

  pid_t pid = -1;
  int rc = posix_spawnp(&pid, args[0], &actions, nullptr, args.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(out.write);
  out.write = -1;
  close(err.write);
  err.write = -1;
  if (rc != 0) {
    result.err = std::string("posix_spawnp: ") + std::strerror(rc);
    return result;
  }
  result.started = true;

  const auto deadline = std::chrono::steady_clock::now() + timeout;
  pollfd fds[2] = {{out.read, POLLIN, 0}, {err.read, POLLIN, 0}};
  std::string* sinks[2] = {&result.out, &result.err};
  int openStreams = 2;
  bool exited = false;
  int status = 0;
  char buffer[65536];
  // Reads until both pipes close. A grandchild that inherited a pipe could keep
  // it open after the child ends, so the child's exit also ends the loop once
  // the pipes hold nothing more.
  while (openStreams > 0) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) {
      result.timedOut = true;
      kill(pid, SIGKILL);
      break;
    }
    int wait = exited ? 0 : static_cast<int>(std::min<int64_t>(left.count(), 100));
    int ready = poll(fds, 2, wait);
    if (ready < 0) {
      if (errno == EINTR) continue;
      break;
    }
    if (ready == 0) {
      if (exited) break;
      pid_t done = waitpid(pid, &status, WNOHANG);
      if (done == pid) exited = true;
      continue;
    }
    for (int i = 0; i < 2; ++i) {
      if (fds[i].fd < 0 || fds[i].revents == 0) continue;
      ssize_t n = read(fds[i].fd, buffer, sizeof buffer);
      if (n > 0) {
        appendCapped(*sinks[i], buffer, static_cast<size_t>(n));
      } else if (n == 0 || (errno != EINTR && errno != EAGAIN)) {
        fds[i].fd = -1;  // poll ignores negative descriptors
        --openStreams;
      }
    }
  }

  if (!exited) {
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
  }
  if (WIFEXITED(status)) {
    result.exitCode = WEXITSTATUS(status);
  } else if (WIFSIGNALED(status)) {
    result.signal = WTERMSIG(status);
  }
  return result;
}

ProcessResult runChecked(const std::vector<std::string>& argv, std::chrono::milliseconds timeout) {
  ProcessResult result = runProcess(argv, timeout);
  if (!result.ok()) throw std::runtime_error(result.describe());
  return result;
}

}  // namespace zent::test
