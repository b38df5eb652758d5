// Several players side by side, each to its own texture, polled by one host
// thread, beside the same number of gst-launch-1.0 playbin3 into fakesink.
//
// For 720p30 and 1080p30 clips: four players play the same file for a window of
// steady playback; the host thread polls every texture 60 times a second and
// reads one texel of each; a frame counts when that texel changes (each frame of
// the clip carries its number as the brightness of a corner strip). Printed:
// new frames per second for each player as the host sees them, the time
// NativeGetTexture takes on the host thread (median and 99th percentile, over
// every call and over the calls that brought a new frame), CPU-s per second and
// peak RSS of the process; for the peer, the CPU and RSS of its processes summed.
//
// Usage: multi_player_bench [--players N] [--window S]
#include <epoxy/gl.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bench_process.h"
#include "headless_context.h"
#include "player_events.h"
#include "zent_library.h"

namespace {

namespace fs = std::filesystem;
using bench::Child;
using bench::Clock;
using bench::median;
using bench::msSince;
using bench::percentile;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr int kClipSeconds = 40;
constexpr int kWarmUpSeconds = 3;

// A clip whose top-left 64x16 strip has the brightness 16 + 7N (mod 224) in
// frame N, so that consecutive frames always differ there.
std::string makeCounterClip(const std::string& dir, int width, int height) {
  const std::string path = dir + "/counter-" + std::to_string(height) + "p30-v1.mp4";
  if (fs::exists(path)) return path;
  fs::create_directories(dir);
  std::printf("making %s (ffmpeg, once)\n", path.c_str());
  std::fflush(stdout);
  const std::string duration = std::to_string(kClipSeconds);
  const std::string size = std::to_string(width) + "x" + std::to_string(height);
  const std::string partial = path + ".partial.mp4";
  bench::runChecked({"ffmpeg",
                     "-nostdin",
                     "-v",
                     "error",
                     "-y",
                     "-f",
                     "lavfi",
                     "-i",
                     "testsrc2=size=" + size + ":rate=30:duration=" + duration,
                     "-f",
                     "lavfi",
                     "-i",
                     "color=c=black:size=64x16:rate=30:duration=" + duration +
                         ",format=yuv420p,geq=lum='16+mod(N*7,224)':cb=128:cr=128",
                     "-f",
                     "lavfi",
                     "-i",
                     "sine=frequency=440:sample_rate=48000:duration=" + duration,
                     "-filter_complex",
                     "[0:v][1:v]overlay=0:0:shortest=1[v]",
                     "-map",
                     "[v]",
                     "-map",
                     "2:a",
                     "-c:v",
                     "libx264",
                     "-preset",
                     "veryfast",
                     "-pix_fmt",
                     "yuv420p",
                     "-g",
                     "30",
                     "-c:a",
                     "aac",
                     "-movflags",
                     "+faststart",
                     partial});
  if (!fs::exists(partial)) throw std::runtime_error("ffmpeg could not make " + path);
  fs::rename(partial, path);
  return path;
}

// The red value of texel (8, 8) of a texture: the frame's number strip.
int counterTexel(GLuint texture, GLuint framebuffer) {
  glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
  unsigned char rgba[4] = {};
  glReadPixels(8, 8, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, rgba);
  glBindFramebuffer(GL_FRAMEBUFFER, 0);
  return rgba[0];
}

// The host: `players` players on `clip`, polled for `window` seconds once every
// one of them has shown a frame. Prints "playing", then the results, then waits
// to be stopped (so that its peak memory can be read).
int childHost(const std::string& library, const std::string& clip, int players, int window) {
  zentplay::ZentLibrary lib;
  std::string error;
  if (!lib.load(library)) return 1;
  auto gl = zentplay::HeadlessContext::create(error);
  if (!gl) return 2;
  lib.NativeInit(&zentplay::queueingListener);
  lib.NativeSetLogSystemLevel(ZENTPLAYER_LOG_ERROR);
  for (int p = 0; p < players; ++p) {
    lib.NativeAddStream(1);
    lib.NativeOpenLocalContent(p, clip.c_str());
  }
  GLuint framebuffer = 0;
  glGenFramebuffers(1, &framebuffer);
  const auto period =
      std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1.0 / 60));
  std::vector<int> last(static_cast<size_t>(players), -1);
  std::vector<long> frames(static_cast<size_t>(players), 0);
  std::vector<double> calls, newFrameCalls;
  bool measuring = false;
  Clock::time_point start;
  auto next = Clock::now();
  const auto giveUp = Clock::now() + seconds(60);
  while (true) {
    zentplay::listenerQueue().drain();
    int showing = 0;
    for (int p = 0; p < players; ++p) {
      const auto before = Clock::now();
      void* texture = lib.NativeGetTexture(p);
      const double took = msSince(before);
      if (texture == nullptr) continue;
      ++showing;
      const int value =
          counterTexel(static_cast<GLuint>(reinterpret_cast<uintptr_t>(texture)), framebuffer);
      const bool fresh = value != last[static_cast<size_t>(p)];
      last[static_cast<size_t>(p)] = value;
      if (!measuring) continue;
      calls.push_back(took);
      if (fresh) {
        newFrameCalls.push_back(took);
        ++frames[static_cast<size_t>(p)];
      }
    }
    if (!measuring && showing == players) {
      std::printf("playing\n");
      std::fflush(stdout);
      std::this_thread::sleep_for(seconds(kWarmUpSeconds));
      measuring = true;
      start = Clock::now();
      std::printf("window\n");
      std::fflush(stdout);
    }
    if (!measuring && Clock::now() > giveUp) return 3;
    if (measuring && Clock::now() - start >= seconds(window)) break;
    next += period;
    std::this_thread::sleep_until(next);
  }
  const double spent = std::chrono::duration<double>(Clock::now() - start).count();
  for (int p = 0; p < players; ++p) {
    std::printf("result player %d frames/s %.1f\n", p,
                static_cast<double>(frames[static_cast<size_t>(p)]) / spent);
  }
  std::printf("result calls %.3f %.3f new %.3f %.3f\n", median(calls), percentile(calls, 0.99),
              median(newFrameCalls), percentile(newFrameCalls, 0.99));
  std::printf("done\n");
  std::fflush(stdout);
  std::this_thread::sleep_for(seconds(600));
  return 0;
}

void measureLibrary(const std::string& clip, int players, int window) {
  const std::string self = fs::read_symlink("/proc/self/exe").string();
  Child child(
      {self, "--child", ZENT_LIBRARY_PATH, clip, std::to_string(players), std::to_string(window)});
  if (!child.waitFor("window", seconds(90))) {
    std::printf("  libzentplayer: the players did not all show a frame\n");
    return;
  }
  const double cpu0 = child.cpuSeconds();
  const auto wall0 = Clock::now();
  std::vector<std::string> results;
  while (true) {
    auto line = child.waitFor("", seconds(window + 30));
    if (!line || *line == "done") break;
    results.push_back(*line);
  }
  const double cpu = (child.cpuSeconds() - cpu0) / (msSince(wall0) / 1000.0);
  std::string perPlayer;
  double calls[4] = {};  // median and 99th percentile: every call, calls with a new frame
  for (const auto& line : results) {
    int p = 0;
    double fps = 0;
    char text[16];
    if (std::sscanf(line.c_str(), "result player %d frames/s %lf", &p, &fps) == 2) {
      std::snprintf(text, sizeof text, "%s%.1f", perPlayer.empty() ? "" : " ", fps);
      perPlayer += text;
    }
    std::sscanf(line.c_str(), "result calls %lf %lf new %lf %lf", &calls[0], &calls[1], &calls[2],
                &calls[3]);
  }
  std::printf("  %-34s %-22s %6.2f %8.0f   call %.2f / %.2f ms, new frame %.2f / %.2f ms\n",
              "libzentplayer, one host thread", perPlayer.c_str(), cpu, child.peakRssMiB(),
              calls[0], calls[1], calls[2], calls[3]);
}

void measurePeer(const std::string& clip, int players, int window) {
  std::vector<std::unique_ptr<Child>> peers;
  for (int p = 0; p < players; ++p) {
    peers.push_back(std::make_unique<Child>(std::vector<std::string>{
        "gst-launch-1.0", "playbin3", "uri=file://" + clip, "video-sink=fakesink sync=true",
        "audio-sink=fakesink sync=true"}));
  }
  for (auto& peer : peers) peer->waitFor("Setting pipeline to PLAYING", seconds(30));
  std::this_thread::sleep_for(seconds(kWarmUpSeconds));
  double cpu0 = 0;
  for (auto& peer : peers) cpu0 += peer->cpuSeconds();
  const auto wall0 = Clock::now();
  std::this_thread::sleep_for(seconds(window));
  double cpu1 = 0, rss = 0;
  for (auto& peer : peers) {
    cpu1 += peer->cpuSeconds();
    rss += peer->peakRssMiB();
  }
  std::printf("  %-34s %-22s %6.2f %8.0f\n",
              (std::to_string(players) + " x playbin3 -> fakesink").c_str(), "(decode only)",
              (cpu1 - cpu0) / (msSince(wall0) / 1000.0), rss);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 6 && std::string(argv[1]) == "--child") {
    return childHost(argv[2], argv[3], std::atoi(argv[4]), std::atoi(argv[5]));
  }
  int players = 4;
  int window = 20;
  for (int i = 1; i + 1 < argc; i += 2) {
    if (std::string(argv[i]) == "--players") players = std::clamp(std::atoi(argv[i + 1]), 1, 4);
    if (std::string(argv[i]) == "--window") {
      window = std::clamp(std::atoi(argv[i + 1]), 1, kClipSeconds - kWarmUpSeconds - 5);
    }
  }
  const std::string dir = std::string(ZENT_BINARY_DIR) + "/bench-media";
  std::printf("multi_player_bench: %d players of one clip, %d s window, %ld CPUs, load %s\n",
              players, window, sysconf(_SC_NPROCESSORS_ONLN), bench::loadAverage().c_str());
  std::printf("  %-34s %-22s %6s %8s\n", "", "new frames/s each", "CPU-s/s", "RSS MiB");
  for (int height : {720, 1080}) {
    const std::string clip = makeCounterClip(dir, height * 16 / 9, height);
    std::printf(" %dp30:\n", height);
    std::fflush(stdout);
    measureLibrary(clip, players, window);
    measurePeer(clip, players, window);
    std::fflush(stdout);
  }
  std::printf("load average at the end: %s\n", bench::loadAverage().c_str());
  return 0;
}
