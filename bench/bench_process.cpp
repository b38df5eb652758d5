#include "bench_process.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

extern char** environ;

namespace bench {

using std::chrono::milliseconds;
using std::chrono::seconds;

double msSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

double median(std::vector<double> values) {
  if (values.empty()) return -1;
  std::sort(values.begin(), values.end());
  const size_t middle = values.size() / 2;
  return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

double percentile(std::vector<double> values, double share) {
  if (values.empty()) return -1;
  std::sort(values.begin(), values.end());
  const auto at = static_cast<size_t>(share * static_cast<double>(values.size() - 1) + 0.5);
  return values[std::min(at, values.size() - 1)];
}

std::string loadAverage() {
  std::ifstream file("/proc/loadavg");
  std::string first;
  file >> first;
  return first.empty() ? "?" : first;
}

namespace {

// utime + stime of a /proc stat line, in seconds.
double statCpuSeconds(const std::string& path, std::string* name = nullptr) {
  std::ifstream stat(path);
  std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
  const auto open = text.find('(');
  const auto close = text.rfind(')');
  if (open == std::string::npos || close == std::string::npos) return 0;
  if (name != nullptr) *name = text.substr(open + 1, close - open - 1);
  // Fields after the command name, which is in parentheses and may hold blanks.
  std::istringstream fields(text.substr(close + 2));
  std::string field;
  unsigned long long utime = 0, stime = 0;
  for (int index = 3; fields >> field; ++index) {
    if (index == 14) utime = std::stoull(field);
    if (index == 15) {
      stime = std::stoull(field);
      break;
    }
  }
  return static_cast<double>(utime + stime) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

std::string threadRole(const std::string& name, bool mainThread) {
  if (mainThread) return "host";
  if (name.rfind("llvmpipe", 0) == 0 || name.rfind("softpipe", 0) == 0) return "rasterise";
  if (name.find("multiqueue") != std::string::npos || name.find("dec") != std::string::npos) {
    return "decode";
  }
  if (name.find("vqueue") != std::string::npos || name.rfind("pool-", 0) == 0 ||
      name.find("convert") != std::string::npos) {
    return "convert";
  }
  return "other";
}

}  // namespace

Child::Child(const std::vector<std::string>& argv, const std::string& display,
             const std::vector<std::string>& extraEnvironment) {
  std::vector<std::string> environment;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string text = *entry;
    if (text.rfind("DISPLAY=", 0) == 0 || text.rfind("WAYLAND_DISPLAY=", 0) == 0) continue;
    environment.push_back(text);
  }
  if (!display.empty()) environment.push_back("DISPLAY=" + display);
  for (const auto& extra : extraEnvironment) environment.push_back(extra);
  int out[2];
  if (pipe2(out, O_CLOEXEC) != 0) throw std::runtime_error("pipe failed");
  const int devNull = open("/dev/null", O_RDWR | O_CLOEXEC);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, devNull, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, devNull, STDERR_FILENO);
  std::vector<char*> args;
  for (const auto& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
  args.push_back(nullptr);
  std::vector<char*> envp;
  for (auto& entry : environment) envp.push_back(entry.data());
  envp.push_back(nullptr);
  const int failed = posix_spawnp(&pid_, args[0], &actions, nullptr, args.data(), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  close(out[1]);
  close(devNull);
  if (failed != 0) {
    close(out[0]);
    throw std::runtime_error("cannot start " + argv[0] + ": " + std::strerror(failed));
  }
  out_ = out[0];
}

Child::~Child() {
  stop();
  close(out_);
}

std::optional<std::string> Child::waitFor(const std::string& text, milliseconds timeout) {
  const auto deadline = Clock::now() + timeout;
  while (true) {
    const auto newline = buffer_.find('\n');
    if (newline != std::string::npos) {
      std::string line = buffer_.substr(0, newline);
      buffer_.erase(0, newline + 1);
      if (line.find(text) != std::string::npos) return line;
      continue;
    }
    const auto left = std::chrono::duration_cast<milliseconds>(deadline - Clock::now());
    if (left.count() <= 0) return std::nullopt;
    pollfd output{out_, POLLIN, 0};
    if (poll(&output, 1, static_cast<int>(left.count())) <= 0) continue;
    char chunk[4096];
    const ssize_t got = read(out_, chunk, sizeof chunk);
    if (got <= 0) return std::nullopt;
    buffer_.append(chunk, static_cast<size_t>(got));
  }
}

std::vector<std::string> Child::readAvailable() {
  std::vector<std::string> lines;
  while (true) {
    pollfd output{out_, POLLIN, 0};
    if (poll(&output, 1, 0) <= 0) break;
    char chunk[4096];
    const ssize_t got = read(out_, chunk, sizeof chunk);
    if (got <= 0) break;
    buffer_.append(chunk, static_cast<size_t>(got));
  }
  for (auto newline = buffer_.find('\n'); newline != std::string::npos;
       newline = buffer_.find('\n')) {
    lines.push_back(buffer_.substr(0, newline));
    buffer_.erase(0, newline + 1);
  }
  return lines;
}

double Child::cpuSeconds() const {
  return statCpuSeconds("/proc/" + std::to_string(pid_) + "/stat");
}

ThreadSplit Child::threadSplit() const {
  ThreadSplit split;
  const std::string tasks = "/proc/" + std::to_string(pid_) + "/task";
  DIR* dir = opendir(tasks.c_str());
  if (dir == nullptr) return split;
  while (dirent* entry = readdir(dir)) {
    if (entry->d_name[0] == '.') continue;
    std::string name;
    const double cpu = statCpuSeconds(tasks + "/" + entry->d_name + "/stat", &name);
    split[threadRole(name, std::to_string(pid_) == entry->d_name)] += cpu;
  }
  closedir(dir);
  return split;
}

double Child::peakRssMiB() const {
  std::ifstream status("/proc/" + std::to_string(pid_) + "/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind("VmHWM:", 0) == 0) return std::stod(line.substr(6)) / 1024.0;
  }
  return -1;
}

void Child::stop() {
  if (pid_ <= 0) return;
  kill(pid_, SIGTERM);
  for (int i = 0; i < 100; ++i) {
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == pid_) {
      pid_ = -1;
      return;
    }
    std::this_thread::sleep_for(milliseconds(20));
  }
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
  pid_ = -1;
}

void runChecked(const std::vector<std::string>& argv) {
  Child child(argv);
  child.waitFor("\x01never", seconds(600));  // to the end of its output
  // The destructor reaps it; failures show as missing files afterwards.
}

VirtualDisplay::VirtualDisplay() {
  try {
    // -displayfd: Xvfb prints its display number once it accepts clients.
    server_.emplace(std::vector<std::string>{"Xvfb", "-displayfd", "1", "-screen", "0",
                                             "1920x1080x24", "-nolisten", "tcp"});
    if (auto number = server_->waitFor("", seconds(20))) name_ = ":" + *number;
  } catch (const std::exception&) {
    server_.reset();
  }
}

}  // namespace bench
