// End-to-end playback cost, beside GStreamer's own player pipeline, in the same run:
//
// 1. CPU per second of 1080p30 H.264 + AAC playback, sampled from /proc over a
//    window of steady playback (after a warm-up), each system in its own process:
//      - libzentplayer to GL textures: a small host built from zentplay's code
//        (surfaceless EGL) calling NativeGetTexture at 30 fps, drawing nothing;
//      - zentplay --headless: the same, with each texture drawn into its canvas;
//      - gst-launch-1.0 playbin3 to fakesink (decoding only, as gst-play-1.0 runs
//        it without a display);
//      - gst-launch-1.0 playbin3 with videoconvert to RGBA into fakesink (decoding
//        and a CPU conversion to the texture's format, without any upload).
//    On Mesa llvmpipe the "GPU" work (colour conversion, drawing) is CPU work
//    too and is counted; on a real GPU it would not be. The library's rows also
//    give the textures fetched per second (a host that cannot keep up fetches
//    fewer), the CPU per frame, and the time NativeGetTexture takes inside the
//    host's frame.
// 2. Time to ready: NativeOpenLocalContent / NativeOpenURI to the ready event and
//    to the first texture, for a local MP4 and a loopback HLS stream, beside
//    playbin3's time from PLAYING requested to prerolled and to the first frame
//    rendered. Each in a fresh process: the first open in the process and a second
//    one after it. Medians over several processes.
//
// Media are made with ffmpeg on first use in <build>/bench-media. Usage:
//   playback_bench [--runs N] [--ready-runs N] [--window S]

#include <fcntl.h>
#include <gst/gst.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "headless_context.h"
#include "player_events.h"
#include "zent_library.h"

extern char** environ;

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr int kClipSeconds = 24;
constexpr int kWarmUpSeconds = 3;

double msSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// ---- Child processes ------------------------------------------------------

class Child {
 public:
  explicit Child(const std::vector<std::string>& argv, bool withoutDisplay = true) {
    std::vector<std::string> environment;
    for (char** entry = environ; *entry != nullptr; ++entry) {
      const std::string text = *entry;
      if (withoutDisplay &&
          (text.rfind("DISPLAY=", 0) == 0 || text.rfind("WAYLAND_DISPLAY=", 0) == 0))
        continue;
      environment.push_back(text);
    }
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
  ~Child() {
    stop();
    close(out_);
  }

  // The first line from now on that contains `text`, or nullopt.
  std::optional<std::string> waitFor(const std::string& text, milliseconds timeout) {
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

  // Complete lines printed since the last read, without waiting.
  std::vector<std::string> readAvailable() {
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

  // User plus system CPU time of the whole process (all its threads), seconds.
  double cpuSeconds() const {
    std::ifstream stat("/proc/" + std::to_string(pid_) + "/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
    // Fields after the command name, which is in parentheses and may hold blanks.
    std::istringstream fields(text.substr(text.rfind(')') + 2));
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

  void stop() {
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

 private:
  pid_t pid_ = -1;
  int out_ = -1;
  std::string buffer_;
};

void runChecked(const std::vector<std::string>& argv) {
  Child child(argv);
  child.waitFor("\x01never", seconds(600));  // to the end of its output
  // The destructor reaps it; ffmpeg failures show as missing files below.
}

// ---- Media ----------------------------------------------------------------

struct Media {
  std::string mp4;     // 1080p30 H.264 + AAC
  std::string hlsDir;  // the same, cut into 2 s MPEG-TS segments
};

Media makeMedia(const std::string& dir) {
  Media media{dir + "/playback-1080p30-v1.mp4", dir + "/playback-1080p30-hls-v1"};
  fs::create_directories(dir);
  if (!fs::exists(media.mp4)) {
    std::printf("making %s (ffmpeg, once)\n", media.mp4.c_str());
    std::fflush(stdout);
    const std::string partial = media.mp4 + ".partial.mp4";
    const std::string seconds = std::to_string(kClipSeconds);
    runChecked({"ffmpeg",
                "-nostdin",
                "-v",
                "error",
                "-y",
                "-f",
                "lavfi",
                "-i",
                "testsrc2=size=1920x1080:rate=30:duration=" + seconds,
                "-f",
                "lavfi",
                "-i",
                "sine=frequency=440:sample_rate=48000:duration=" + seconds,
                "-c:v",
                "libx264",
                "-preset",
                "veryfast",
                "-pix_fmt",
                "yuv420p",
                "-b:v",
                "6M",
                "-maxrate",
                "6M",
                "-bufsize",
                "12M",
                "-g",
                "30",
                "-c:a",
                "aac",
                "-b:a",
                "128k",
                "-movflags",
                "+faststart",
                partial});
    if (!fs::exists(partial)) throw std::runtime_error("ffmpeg could not make " + media.mp4);
    fs::rename(partial, media.mp4);
  }
  if (!fs::exists(media.hlsDir + "/master.m3u8")) {
    const std::string partial = media.hlsDir + ".partial";
    fs::remove_all(partial);
    fs::create_directories(partial);
    runChecked({"ffmpeg",
                "-nostdin",
                "-v",
                "error",
                "-y",
                "-i",
                media.mp4,
                "-c",
                "copy",
                "-f",
                "hls",
                "-hls_time",
                "2",
                "-hls_list_size",
                "0",
                "-hls_playlist_type",
                "vod",
                "-hls_segment_filename",
                partial + "/seg_%03d.ts",
                partial + "/index.m3u8"});
    std::ofstream(partial + "/master.m3u8")
        << "#EXTM3U\n#EXT-X-VERSION:3\n"
           "#EXT-X-STREAM-INF:BANDWIDTH=6500000,RESOLUTION=1920x1080,FRAME-RATE=30.000,"
           "CODECS=\"avc1.640028,mp4a.40.2\"\nindex.m3u8\n";
    if (!fs::exists(partial + "/index.m3u8")) throw std::runtime_error("ffmpeg could not cut HLS");
    fs::remove_all(media.hlsDir);
    fs::rename(partial, media.hlsDir);
  }
  return media;
}

// A loopback HTTP server for `root` (python3's http.server) and its port.
class LoopbackServer {
 public:
  explicit LoopbackServer(const std::string& root)
      : child_({"python3", "-u", "-m", "http.server", "0", "--bind", "127.0.0.1", "--directory",
                root}) {
    const auto line = child_.waitFor("Serving HTTP on", seconds(20));
    if (!line) throw std::runtime_error("python3 -m http.server did not start");
    const auto at = line->find(" port ");
    port_ = std::stoi(line->substr(at + 6));
  }
  std::string url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(port_) + "/" + path;
  }

 private:
  Child child_;
  int port_ = 0;
};

// ---- Child modes: the library ------------------------------------------------

// Waits for an event of `type` from the listener queue.
bool waitForEvent(int32_t type, milliseconds timeout) {
  const auto deadline = Clock::now() + timeout;
  while (Clock::now() < deadline) {
    for (const auto& event : zentplay::listenerQueue().drain()) {
      if (!event.isError && event.type == type) return true;
    }
    std::this_thread::sleep_for(milliseconds(1));
  }
  return false;
}

int64_t openContent(zentplay::ZentLibrary& lib, int32_t player, const std::string& target) {
  if (target.rfind("http", 0) == 0) {
    return lib.NativeOpenURI(player, target.c_str(), ZENTPLAYER_MIME_HLS);
  }
  return lib.NativeOpenLocalContent(player, target.c_str());
}

// Prints "open N ready_ms=... texture_ms=..." for two opens of `target`.
int childLibraryReady(const std::string& library, const std::string& target) {
  zentplay::ZentLibrary lib;
  std::string error;
  if (!lib.load(library)) return 1;
  auto gl = zentplay::HeadlessContext::create(error);
  if (!gl) return 2;
  lib.NativeInit(&zentplay::queueingListener);
  lib.NativeSetLogSystemLevel(ZENTPLAYER_LOG_ERROR);
  for (int open = 1; open <= 2; ++open) {
    const int32_t player = static_cast<int32_t>(lib.NativeGetTotalStreams());
    lib.NativeAddStream(1);
    zentplay::listenerQueue().drain();
    const auto start = Clock::now();
    openContent(lib, player, target);
    if (!waitForEvent(ZENTPLAYER_EVENT_PLAYBACK_READY, seconds(30))) return 3;
    const double readyMs = msSince(start);
    while (lib.NativeGetTexture(player) == nullptr) {
      if (msSince(start) > 30000) return 3;
      std::this_thread::sleep_for(milliseconds(1));
    }
    std::printf("open %d ready_ms=%.1f texture_ms=%.1f\n", open, readyMs, msSince(start));
    std::fflush(stdout);
    lib.NativeRemoveStream(player);
  }
  lib.NativeShutdown();
  return 0;
}

// Plays `target` to textures at 30 fps until killed; says "playing" once the
// first texture has come.
int childLibraryTextures(const std::string& library, const std::string& target) {
  zentplay::ZentLibrary lib;
  std::string error;
  if (!lib.load(library)) return 1;
  auto gl = zentplay::HeadlessContext::create(error);
  if (!gl) return 2;
  lib.NativeInit(&zentplay::queueingListener);
  lib.NativeSetLogSystemLevel(ZENTPLAYER_LOG_ERROR);
  lib.NativeAddStream(1);
  openContent(lib, 0, target);
  const auto period =
      std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1.0 / 30));
  auto next = Clock::now();
  auto lastStatus = next;
  long frames = 0;
  double callMs = 0;     // time inside NativeGetTexture since the last status
  double longestMs = 0;  // the longest single call since the last status
  long calls = 0;
  while (true) {
    zentplay::listenerQueue().drain();
    const auto before = Clock::now();
    void* texture = lib.NativeGetTexture(0);
    const double tookMs = msSince(before);
    callMs += tookMs;
    longestMs = std::max(longestMs, tookMs);
    ++calls;
    if (texture != nullptr && ++frames == 1) {
      std::printf("playing\n");
      std::fflush(stdout);
    }
    // Like zentplay's status line, with the cost of the call to the host's frame.
    if (Clock::now() - lastStatus >= seconds(1)) {
      lastStatus = Clock::now();
      std::printf("status: call %.1f ms mean %.1f ms longest, %ld frames\n", callMs / calls,
                  longestMs, frames);
      std::fflush(stdout);
      callMs = longestMs = 0;
      calls = 0;
    }
    next += period;
    std::this_thread::sleep_until(next);
  }
}

// ---- Child modes: the GStreamer peer --------------------------------------------

struct GstTimes {
  double prerolledMs = -1;
  double firstFrameMs = -1;
};

void onHandoff(GstElement*, GstBuffer*, GstPad*, gpointer data) {
  auto* state = static_cast<std::pair<Clock::time_point, std::atomic<double>*>*>(data);
  double expected = -1;
  state->second->compare_exchange_strong(expected, msSince(state->first));
}

// playbin3 as gst-play-1.0 builds it, with fakesinks that keep the clock.
GstTimes gstOpen(const std::string& uri) {
  GstElement* playbin = gst_element_factory_make("playbin3", nullptr);
  GstElement* video = gst_element_factory_make("fakesink", nullptr);
  GstElement* audio = gst_element_factory_make("fakesink", nullptr);
  g_object_set(video, "sync", TRUE, "signal-handoffs", TRUE, nullptr);
  g_object_set(audio, "sync", TRUE, nullptr);
  g_object_set(playbin, "uri", uri.c_str(), "video-sink", video, "audio-sink", audio, nullptr);
  std::atomic<double> firstFrame{-1};
  const auto start = Clock::now();
  std::pair<Clock::time_point, std::atomic<double>*> state{start, &firstFrame};
  g_signal_connect(video, "handoff", G_CALLBACK(onHandoff), &state);
  GstTimes times;
  GstBus* bus = gst_element_get_bus(playbin);
  gst_element_set_state(playbin, GST_STATE_PLAYING);
  while (times.prerolledMs < 0 && msSince(start) < 30000) {
    GstMessage* message = gst_bus_timed_pop_filtered(
        bus, 100 * GST_MSECOND,
        static_cast<GstMessageType>(GST_MESSAGE_ASYNC_DONE | GST_MESSAGE_ERROR));
    if (message == nullptr) continue;
    if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_ASYNC_DONE) times.prerolledMs = msSince(start);
    const bool failed = GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR;
    gst_message_unref(message);
    if (failed) break;
  }
  while (firstFrame.load() < 0 && msSince(start) < 30000)
    std::this_thread::sleep_for(milliseconds(1));
  times.firstFrameMs = firstFrame.load();
  gst_element_set_state(playbin, GST_STATE_NULL);
  gst_object_unref(bus);
  gst_object_unref(playbin);
  return times;
}

int childGstReady(const std::string& uri) {
  gst_init(nullptr, nullptr);
  for (int open = 1; open <= 2; ++open) {
    const GstTimes times = gstOpen(uri);
    if (times.prerolledMs < 0 || times.firstFrameMs < 0) return 3;
    std::printf("open %d ready_ms=%.1f texture_ms=%.1f\n", open, times.prerolledMs,
                times.firstFrameMs);
    std::fflush(stdout);
  }
  return 0;
}

// ---- The parent ----------------------------------------------------------------

std::string self() {
  return fs::read_symlink("/proc/self/exe").string();
}

double median(std::vector<double> values) {
  if (values.empty()) return -1;
  std::sort(values.begin(), values.end());
  const size_t middle = values.size() / 2;
  return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

struct CpuCase {
  CpuCase(std::string caseName, std::vector<std::string> command, std::string playing)
      : name(std::move(caseName)), argv(std::move(command)), playingLine(std::move(playing)) {}
  std::string name;
  std::vector<std::string> argv;
  std::string playingLine;  // printed once playback runs
  std::vector<double> cpu;
  std::vector<double> framesPerSecond;  // textures fetched per second, where counted
  std::vector<double> callMeanMs;       // NativeGetTexture, per second of the window
  double callLongestMs = 0;
};

// The frame count of a status line ("status: ..., 90 frames"), or -1.
long framesIn(const std::string& line) {
  if (line.rfind("status: ", 0) != 0) return -1;
  const auto end = line.rfind(" frames");
  if (end == std::string::npos) return -1;
  auto start = end;
  while (start > 0 && std::isdigit(static_cast<unsigned char>(line[start - 1]))) --start;
  return start < end ? std::stol(line.substr(start, end - start)) : -1;
}

// The latest frame count printed and when it was read.
struct FrameMark {
  long frames = -1;
  Clock::time_point at;
};

void updateMark(Child& child, FrameMark& mark, CpuCase* calls = nullptr) {
  for (const std::string& line : child.readAvailable()) {
    const long frames = framesIn(line);
    if (frames >= 0) mark = FrameMark{frames, Clock::now()};
    double mean = 0, longest = 0;
    if (calls != nullptr && std::sscanf(line.c_str(), "status: call %lf ms mean %lf ms longest",
                                        &mean, &longest) == 2) {
      calls->callMeanMs.push_back(mean);
      calls->callLongestMs = std::max(calls->callLongestMs, longest);
    }
  }
}

// CPU-seconds per second over `window` of steady playback (and the rate of
// textures fetched when the program reports it) into the case's samples.
void measureCpu(CpuCase& c, int window) {
  Child child(c.argv);
  if (!child.waitFor(c.playingLine, seconds(60))) return;
  FrameMark first;
  FrameMark last;
  const auto warmUpEnd = Clock::now() + seconds(kWarmUpSeconds);
  while (Clock::now() < warmUpEnd) {
    updateMark(child, first);
    std::this_thread::sleep_for(milliseconds(50));
  }
  const double cpu0 = child.cpuSeconds();
  const auto wall0 = Clock::now();
  const auto windowEnd = wall0 + seconds(window);
  while (Clock::now() < windowEnd) {
    updateMark(child, last, &c);
    std::this_thread::sleep_for(milliseconds(50));
  }
  const double cpu1 = child.cpuSeconds();
  const double wall = std::chrono::duration<double>(Clock::now() - wall0).count();
  c.cpu.push_back((cpu1 - cpu0) / wall);
  if (first.frames >= 0 && last.frames > first.frames) {
    const double span = std::chrono::duration<double>(last.at - first.at).count();
    c.framesPerSecond.push_back((last.frames - first.frames) / span);
  }
}

struct ReadyRow {
  std::string name;
  std::vector<double> ready[2];  // first and second open
  std::vector<double> texture[2];
};

void collectReady(ReadyRow& row, const std::vector<std::string>& argv) {
  Child child(argv);
  for (int open = 0; open < 2; ++open) {
    const auto line = child.waitFor("open ", seconds(90));
    if (!line) return;
    double ready = -1, texture = -1;
    if (std::sscanf(line->c_str(), "open %*d ready_ms=%lf texture_ms=%lf", &ready, &texture) == 2) {
      row.ready[open].push_back(ready);
      row.texture[open].push_back(texture);
    }
  }
}

std::string cell(const std::vector<double>& values) {
  char text[32];
  if (values.empty()) return "failed";
  std::snprintf(text, sizeof text, "%.0f", median(values));
  return text;
}

// The 1-minute load average: other work on the machine skews every figure.
std::string loadAverage() {
  std::ifstream file("/proc/loadavg");
  std::string first;
  file >> first;
  return first.empty() ? "?" : first;
}

int parent(int runs, int readyRuns, int window) {
  const std::string buildDir = ZENT_BINARY_DIR;
  const Media media = makeMedia(buildDir + "/bench-media");
  LoopbackServer server(fs::path(media.hlsDir).parent_path().string());
  const std::string hlsUrl =
      server.url(fs::path(media.hlsDir).filename().string() + "/master.m3u8");
  const std::string library = ZENT_LIBRARY_PATH;
  const std::string fileUri = "file://" + media.mp4;

  std::vector<CpuCase> cases = {
      {"libzentplayer -> GL textures (bench host, 30 polls/s)",
       {self(), "--child-textures", library, media.mp4},
       "playing"},
      {"zentplay --headless (textures drawn into its canvas)",
       {ZENTPLAY_PATH, "--headless", "--library", library, "--log-level", "3", media.mp4},
       "player 0: play"},
      {"gst-launch-1.0 playbin3 -> fakesink (decode only)",
       {"gst-launch-1.0", "playbin3", "uri=" + fileUri, "video-sink=fakesink sync=true",
        "audio-sink=fakesink sync=true"},
       "Setting pipeline to PLAYING"},
      {"gst-launch-1.0 playbin3 -> videoconvert RGBA -> fakesink",
       {"gst-launch-1.0", "playbin3", "uri=" + fileUri,
        "video-sink=videoconvert ! video/x-raw,format=RGBA ! fakesink sync=true",
        "audio-sink=fakesink sync=true"},
       "Setting pipeline to PLAYING"},
  };
  std::printf("playback_bench: %s, 1920x1080 30 fps H.264 6 Mbit/s + AAC, %ld CPUs, load %s\n",
              media.mp4.c_str(), sysconf(_SC_NPROCESSORS_ONLN), loadAverage().c_str());
  std::printf(
      "CPU per second of playback: CPU-seconds per second (1.00 = one core busy),\n"
      "measured over %d s after %d s of warm-up; median of %d runs, interleaved\n",
      window, kWarmUpSeconds, runs);
  std::fflush(stdout);
  for (int run = 0; run < runs; ++run) {
    for (auto& c : cases) measureCpu(c, window);
  }
  std::printf("  %-58s %8s %9s %10s\n", "", "CPU-s/s", "frames/s", "CPU ms/fr");
  for (const auto& c : cases) {
    char figure[32] = "failed";
    char rate[32] = "30*";
    char perFrame[32] = "-";
    const double cpu = median(c.cpu);
    const double fps = c.framesPerSecond.empty() ? 30.0 : median(c.framesPerSecond);
    if (!c.cpu.empty()) {
      std::snprintf(figure, sizeof figure, "%.2f", cpu);
      std::snprintf(perFrame, sizeof perFrame, "%.1f", cpu * 1000 / fps);
    }
    if (!c.framesPerSecond.empty()) std::snprintf(rate, sizeof rate, "%.1f", fps);
    std::printf("  %-58s %8s %9s %10s\n", c.name.c_str(), figure, rate, perFrame);
  }
  std::printf(
      "  frames/s: textures fetched per second by the host loop (30 polls/s);\n"
      "  * the gst-launch sinks keep the clock without dropping, so every frame is decoded\n");
  if (!cases[0].callMeanMs.empty()) {
    std::printf("  NativeGetTexture inside the bench host's frame: %.1f ms mean, %.1f ms longest\n",
                median(cases[0].callMeanMs), cases[0].callLongestMs);
  }
  std::printf("\nTime to ready, ms: median of %d processes; first open in a process / second\n",
              readyRuns);
  std::printf(
      "  libzentplayer: open call -> ready event, and -> first texture\n"
      "  playbin3 (gst-play-1.0's pipeline, fakesinks): PLAYING requested -> prerolled,\n"
      "  and -> first frame rendered\n");
  std::fflush(stdout);
  ReadyRow rows[4] = {{"libzentplayer, local MP4", {}, {}},
                      {"playbin3,      local MP4", {}, {}},
                      {"libzentplayer, loopback HLS", {}, {}},
                      {"playbin3,      loopback HLS", {}, {}}};
  for (int run = 0; run < readyRuns; ++run) {
    collectReady(rows[0], {self(), "--child-ready", library, media.mp4});
    collectReady(rows[1], {self(), "--child-gst-ready", fileUri});
    collectReady(rows[2], {self(), "--child-ready", library, hlsUrl});
    collectReady(rows[3], {self(), "--child-gst-ready", hlsUrl});
  }
  std::printf("  %-30s %20s %24s\n", "", "ready (1st / 2nd)", "first frame (1st / 2nd)");
  for (const auto& row : rows) {
    const std::string ready = cell(row.ready[0]) + " / " + cell(row.ready[1]);
    const std::string texture = cell(row.texture[0]) + " / " + cell(row.texture[1]);
    std::printf("  %-30s %20s %24s\n", row.name.c_str(), ready.c_str(), texture.c_str());
  }
  std::printf("load average at the end: %s\n", loadAverage().c_str());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> args(argv + 1, argv + argc);
  try {
    if (args.size() == 3 && args[0] == "--child-ready") return childLibraryReady(args[1], args[2]);
    if (args.size() == 3 && args[0] == "--child-textures") {
      return childLibraryTextures(args[1], args[2]);
    }
    if (args.size() == 2 && args[0] == "--child-gst-ready") return childGstReady(args[1]);
    int runs = 3;
    int readyRuns = 5;
    int window = 8;
    for (size_t i = 0; i + 1 < args.size(); i += 2) {
      if (args[i] == "--runs") runs = std::max(1, std::stoi(args[i + 1]));
      if (args[i] == "--ready-runs") readyRuns = std::max(1, std::stoi(args[i + 1]));
      if (args[i] == "--window") {
        window = std::clamp(std::stoi(args[i + 1]), 1, kClipSeconds - kWarmUpSeconds - 4);
      }
    }
    return parent(runs, readyRuns, window);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "playback_bench: %s\n", failure.what());
    return 1;
  }
}
