// Seek stress through the exports, as a host that scrubs adaptive streams does.
//
// Each run, in a process of its own: two players, one on HLS (three variants, two
// audio renditions) and one on DASH, from a loopback origin that holds each
// response 20 to 150 ms, so downloads are in flight or queued when requests come.
// Each player gets 40 seeks to random positions with 0 to 150 ms between them,
// with audio switches and variant pins mixed in, then plays to the end: the run
// survives when the process neither aborts nor freezes and each player ends
// exactly once. Every host call is timed.
//
// The driver runs it --runs times (20 by default) with the adaptive demuxer the
// library picks, then with the system's forced (ZENT_SYSTEM_ADAPTIVEDEMUX=1), and
// prints how many processes survived and the longest host call.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "support/event_recorder.h"
#include "support/http_server.h"
#include "support/media_fixtures.h"
#include "support/zent_api.h"
#include "zentplayer.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using zent::test::eventRecorder;
using zent::test::isEvent;

constexpr int kSeeksPerPlayer = 40;
constexpr auto kRunLimit = 120s;  // a run still going then has frozen

// Times every host call; keeps the longest.
class HostCalls {
 public:
  template <typename Call>
  auto operator()(const char* name, Call call) {
    auto start = Clock::now();
    struct Done {
      HostCalls& calls;
      const char* name;
      Clock::time_point start;
      ~Done() { calls.note(name, Clock::now() - start); }
    } done{*this, name, start};
    return call();
  }
  double longestMs() const { return longest_; }
  const std::string& longestName() const { return longestName_; }

 private:
  void note(const char* name, Clock::duration took) {
    double ms = std::chrono::duration<double, std::milli>(took).count();
    if (ms > longest_) {
      longest_ = ms;
      longestName_ = name;
    }
  }
  double longest_ = 0.0;
  std::string longestName_;
};

// One run; prints "result survived=<0|1> longest_ms=<x> call=<name>" and
// returns the exit status.
int runOnce(unsigned seed) {
  const zent::test::ZentApi* api = zent::test::zentApi();
  if (api == nullptr) {
    std::fprintf(stderr, "cannot load the library: %s\n", zent::test::zentApiError().c_str());
    return 2;
  }
  zent::test::HttpServer server;
  std::string urls[2] = {server.url(zent::test::hls_multivariant() + "/master.m3u8"),
                         server.url(zent::test::dash_vod() + "/manifest.mpd")};
  const int32_t mimes[2] = {ZENTPLAYER_MIME_HLS, ZENTPLAYER_MIME_DASH};
  server.setResponseDelay(20ms, 150ms);

  HostCalls calls;
  calls("NativeInit", [&] {
    api->NativeInit(&eventRecorderListener);
    return 0;
  });
  api->NativeSetLogSystemLevel(ZENTPLAYER_LOG_ERROR);  // the figures are the output
  for (int p = 0; p < 2; ++p) {
    calls("NativeAddStream", [&] { return api->NativeAddStream(0); });
    calls("NativeOpenURI", [&] { return api->NativeOpenURI(p, urls[p].c_str(), mimes[p]); });
  }
  bool ready = true;
  for (int p = 0; p < 2; ++p) {
    ready = ready && eventRecorder().waitFor(isEvent(p, ZENTPLAYER_EVENT_PLAYBACK_READY), 30s);
  }
  if (!ready) {
    std::printf("result survived=0 longest_ms=%.2f call=%s (not ready)\n", calls.longestMs(),
                calls.longestName().c_str());
    return 1;
  }

  std::mt19937 random(seed);
  auto draw = [&](int low, int high) {
    return std::uniform_int_distribution<int>(low, high)(random);
  };
  int64_t durations[2];
  for (int p = 0; p < 2; ++p) {
    durations[p] = calls("NativeGetTotalTime", [&] { return api->NativeGetTotalTime(p); });
    calls("NativeResume", [&] { return api->NativeResume(p); });
  }
  // The two players' requests interleave, as a host's frames would make them.
  for (int i = 0; i < kSeeksPerPlayer; ++i) {
    for (int p = 0; p < 2; ++p) {
      int64_t longest = std::max<int64_t>(durations[p] - 500, 1000);
      int target = draw(0, static_cast<int>(longest));
      calls("NativeSeek", [&] { return api->NativeSeek(p, target); });
      int action = draw(0, 9);
      if (action == 0) {
        int count =
            calls("NativeGetAudioStreamCount", [&] { return api->NativeGetAudioStreamCount(p); });
        if (count > 0) {
          calls("NativeSetAudioStream", [&] {
            api->NativeSetAudioStream(p, draw(0, count - 1));
            return 0;
          });
        }
      } else if (action == 1) {
        int tracks = calls("NativeGetTrackCount", [&] { return api->NativeGetTrackCount(p); });
        if (tracks > 0) {
          calls("NativeSelectTrack", [&] {
            api->NativeSelectTrack(p, draw(-1, tracks - 1));
            return 0;
          });
        }
      }
      calls("NativeGetCurrentTime", [&] { return api->NativeGetCurrentTime(p); });
      std::this_thread::sleep_for(std::chrono::milliseconds(draw(0, 150)));
    }
  }
  // Play out the last seconds of each to its end.
  for (int p = 0; p < 2; ++p) {
    calls("NativeSeek",
          [&] { return api->NativeSeek(p, std::max<int64_t>(0, durations[p] - 3000)); });
    calls("NativeResume", [&] { return api->NativeResume(p); });
  }
  bool ended = true;
  for (int p = 0; p < 2; ++p) {
    ended = ended && eventRecorder().waitFor(isEvent(p, ZENTPLAYER_EVENT_END_OF_CONTENT), 40s);
  }
  // A second end would come right after the first; give it the time to.
  std::this_thread::sleep_for(500ms);
  size_t ends0 = eventRecorder().count(isEvent(0, ZENTPLAYER_EVENT_END_OF_CONTENT));
  size_t ends1 = eventRecorder().count(isEvent(1, ZENTPLAYER_EVENT_END_OF_CONTENT));
  calls("NativeShutdown", [&] {
    api->NativeShutdown();
    return 0;
  });
  bool survived = ended && ends0 == 1 && ends1 == 1;
  std::printf("result survived=%d longest_ms=%.2f call=%s ends=%zu,%zu\n", survived ? 1 : 0,
              calls.longestMs(), calls.longestName().c_str(), ends0, ends1);
  std::fflush(stdout);
  return survived ? 0 : 1;
}

struct RunOutcome {
  bool survived = false;
  double longestMs = 0.0;
  std::string longestCall;  // the export that took longestMs
  std::string what;         // "ok", "killed by signal 6", "froze", ...
};

// Runs one stress process and reads its result line.
RunOutcome runChild(const char* self, unsigned seed, bool systemDemuxer) {
  int pipeFds[2];
  if (pipe(pipeFds) != 0) return {false, 0.0, "", "no pipe"};
  pid_t child = fork();
  if (child == 0) {
    dup2(pipeFds[1], STDOUT_FILENO);
    close(pipeFds[0]);
    close(pipeFds[1]);
    if (systemDemuxer) setenv("ZENT_SYSTEM_ADAPTIVEDEMUX", "1", 1);
    std::string seedText = std::to_string(seed);
    execl(self, self, "--once", seedText.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  close(pipeFds[1]);
  std::string output;
  auto deadline = Clock::now() + kRunLimit;
  int status = 0;
  bool froze = false;
  for (;;) {
    pid_t done = waitpid(child, &status, WNOHANG);
    if (done == child) break;
    if (Clock::now() > deadline) {
      froze = true;
      kill(child, SIGKILL);
      waitpid(child, &status, 0);
      break;
    }
    std::this_thread::sleep_for(50ms);
  }
  char buffer[4096];
  ssize_t n;
  while ((n = read(pipeFds[0], buffer, sizeof buffer)) > 0) output.append(buffer, n);
  close(pipeFds[0]);

  RunOutcome outcome;
  auto at = output.find("result ");
  if (at != std::string::npos) {
    int survived = 0;
    double longest = 0.0;
    char call[64] = "";
    std::sscanf(output.c_str() + at, "result survived=%d longest_ms=%lf call=%63s", &survived,
                &longest, call);
    outcome.longestMs = longest;
    outcome.longestCall = call;
    outcome.survived = survived == 1 && WIFEXITED(status) && WEXITSTATUS(status) == 0;
  }
  if (froze) {
    outcome.what = "froze";
  } else if (WIFSIGNALED(status)) {
    outcome.what = "killed by signal " + std::to_string(WTERMSIG(status));
  } else if (!outcome.survived) {
    outcome.what = at == std::string::npos ? "no result" : output.substr(at);
  } else {
    outcome.what = "ok";
  }
  while (!outcome.what.empty() && outcome.what.back() == '\n') outcome.what.pop_back();
  return outcome;
}

void drive(const char* self, int runs, bool systemDemuxer) {
  int survived = 0;
  double longest = 0.0;
  for (int i = 0; i < runs; ++i) {
    RunOutcome outcome = runChild(self, 1000 + i, systemDemuxer);
    survived += outcome.survived ? 1 : 0;
    longest = std::max(longest, outcome.longestMs);
    std::printf("  run %2d: %-8s longest host call %7.2f ms (%s)%s%s\n", i + 1,
                outcome.survived ? "survived" : "FAILED", outcome.longestMs,
                outcome.longestCall.c_str(), outcome.survived ? "" : "  ",
                outcome.survived ? "" : outcome.what.c_str());
    std::fflush(stdout);
  }
  std::printf(
      "%-44s %2d of %2d processes survived, longest host call %.2f ms\n",
      systemDemuxer ? "system adaptivedemux2 (forced):" : "adaptive demuxer the library picks:",
      survived, runs, longest);
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc >= 3 && std::strcmp(argv[1], "--once") == 0) {
    return runOnce(static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10)));
  }
  int runs = 20;
  bool both = true;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--runs") == 0 && i + 1 < argc) runs = std::atoi(argv[++i]);
    if (std::strcmp(argv[i], "--fixed-only") == 0) both = false;
  }
  // The media are made once, before the runs time anything.
  zent::test::hls_multivariant();
  zent::test::dash_vod();
  std::printf(
      "Seek stress: two players (HLS, DASH), %d seeks each, origin holding each "
      "response 20-150 ms; %d processes per line\n",
      kSeeksPerPlayer, runs);
  drive("/proc/self/exe", runs, false);
  if (both) drive("/proc/self/exe", runs, true);
  return 0;
}
