// Child processes for the benchmarks: start one, read its output lines, measure
// its CPU time (whole process and split by what its threads do), stop it.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace bench {

using Clock = std::chrono::steady_clock;

double msSince(Clock::time_point start);
double median(std::vector<double> values);
// The value below which `share` (0..1) of the values lie.
double percentile(std::vector<double> values, double share);
// The 1-minute load average: other work on the machine skews every figure.
std::string loadAverage();

// CPU seconds of a process's threads by what they do, from their names:
// "decode" (the demuxer's queues, where the decoder and its threads run),
// "convert" (the video queue and the converter's pool), "rasterise" (Mesa's
// software rasteriser), "host" (the process's main thread) and "other".
using ThreadSplit = std::map<std::string, double>;

class Child {
 public:
  // Starts argv[0] (found on PATH) with standard output on a pipe. The display
  // variables are removed unless `display` names one to use.
  explicit Child(const std::vector<std::string>& argv, const std::string& display = "",
                 const std::vector<std::string>& extraEnvironment = {});
  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  // The first line from now on that contains `text`, or nullopt.
  std::optional<std::string> waitFor(const std::string& text, std::chrono::milliseconds timeout);
  // Complete lines printed since the last read, without waiting.
  std::vector<std::string> readAvailable();
  // User plus system CPU time of the whole process (all its threads), seconds.
  double cpuSeconds() const;
  ThreadSplit threadSplit() const;
  // Peak resident set size (VmHWM), in MiB.
  double peakRssMiB() const;
  pid_t pid() const { return pid_; }
  void stop();

 private:
  pid_t pid_ = -1;
  int out_ = -1;
  std::string buffer_;
};

// Runs argv to the end of its output (at most ten minutes).
void runChecked(const std::vector<std::string>& argv);

// A virtual X display (Xvfb) for programs that need a window; its name (":N"),
// or "" when Xvfb is not installed.
class VirtualDisplay {
 public:
  VirtualDisplay();
  const std::string& name() const { return name_; }

 private:
  std::optional<Child> server_;
  std::string name_;
};

}  // namespace bench
