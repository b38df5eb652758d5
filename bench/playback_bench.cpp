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

#include <gst/gst.h>
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

#include "bench_process.h"
#include "headless_context.h"
#include "player_events.h"
#include "support/http_server.h"
#include "zent_library.h"

namespace {

namespace fs = std::filesystem;
using bench::Child;
using bench::Clock;
using bench::loadAverage;
using bench::median;
using bench::msSince;
using bench::runChecked;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr int kClipSeconds = 24;
constexpr int kWarmUpSeconds = 3;

// ---- Media ----------------------------------------------------------------

struct Media {
  std::string mp4;     // 1080p30 H.264 + AAC
  std::string hlsDir;  // the same, cut into 2 s MPEG-TS segments
  // 720p30 MP4s at a constant 10 Mbit/s, of about 14 and 50 MB, named without
  // an extension (served as application/octet-stream).
  std::string progressive14;
  std::string progressive50;
};

// A constant-rate 720p30 MP4 of about `megabytes` MB at `path` (no extension).
void makeSizedClip(const std::string& path, int megabytes) {
  if (fs::exists(path)) return;
  std::printf("making %s (ffmpeg, once)\n", path.c_str());
  std::fflush(stdout);
  const double seconds = megabytes * 8.0 / 10.13;  // 10 Mbit/s video + 128 kbit/s audio
  const std::string duration = std::to_string(seconds);
  const std::string partial = path + ".partial.mp4";
  runChecked({"ffmpeg",
              "-nostdin",
              "-v",
              "error",
              "-y",
              "-f",
              "lavfi",
              "-i",
              "testsrc2=size=1280x720:rate=30:duration=" + duration,
              "-f",
              "lavfi",
              "-i",
              "sine=frequency=440:sample_rate=48000:duration=" + duration,
              "-c:v",
              "libx264",
              "-preset",
              "veryfast",
              "-pix_fmt",
              "yuv420p",
              "-b:v",
              "10M",
              "-minrate",
              "10M",
              "-maxrate",
              "10M",
              "-bufsize",
              "10M",
              "-x264-params",
              "nal-hrd=cbr",
              "-g",
              "30",
              "-c:a",
              "aac",
              "-b:a",
              "128k",
              "-movflags",
              "+faststart",
              partial});
  if (!fs::exists(partial)) throw std::runtime_error("ffmpeg could not make " + path);
  fs::rename(partial, path);
}

Media makeMedia(const std::string& dir) {
  Media media;
  media.mp4 = dir + "/playback-1080p30-v1.mp4";
  media.hlsDir = dir + "/playback-1080p30-hls-v1";
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
  media.progressive14 = dir + "/progressive-14mb-v1";
  media.progressive50 = dir + "/progressive-50mb-v1";
  makeSizedClip(media.progressive14, 14);
  makeSizedClip(media.progressive50, 50);
  return media;
}

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

// Local paths open as local content; URLs with no type said, as a host that
// does not know what an address holds opens them (HLS is told by .m3u8).
int64_t openContent(zentplay::ZentLibrary& lib, int32_t player, const std::string& target) {
  if (target.rfind("http", 0) == 0) {
    const bool hls = target.find(".m3u8") != std::string::npos;
    return lib.NativeOpenURI(player, target.c_str(),
                             hls ? ZENTPLAYER_MIME_HLS : ZENTPLAYER_MIME_NONE);
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
  int64_t lastPosition = -1;  // ms, at the last status
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
      // The pace: how far the reported position moved per second of wall time.
      const int64_t position = lib.NativeGetCurrentTime(0);
      const double pace =
          lastPosition < 0 ? 0.0 : static_cast<double>(position - lastPosition) / msSince(lastStatus);
      lastPosition = position;
      lastStatus = Clock::now();
      std::printf("status: call %.1f ms mean %.1f ms longest, pace %.3f, %ld frames\n",
                  callMs / calls, longestMs, pace, frames);
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

struct CpuCase {
  CpuCase(std::string caseName, std::vector<std::string> command, std::string playing,
          std::string displayName = "", std::vector<std::string> environment = {})
      : name(std::move(caseName)),
        argv(std::move(command)),
        playingLine(std::move(playing)),
        display(std::move(displayName)),
        env(std::move(environment)) {}
  std::string name;
  std::vector<std::string> argv;
  std::string playingLine;  // printed once playback runs; "" for programs that say nothing
  std::string display;      // the X display it opens its window on, if any
  std::vector<std::string> env;
  bench::ThreadSplit split;  // CPU-s/s by thread role, summed over the runs
  std::vector<double> cpu;
  std::vector<double> framesPerSecond;  // textures fetched per second, where counted
  std::vector<double> callMeanMs;       // NativeGetTexture, per second of the window
  std::vector<double> pace;             // position ms per wall ms, per second of the window
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
    double mean = 0, longest = 0, pace = 0;
    if (calls != nullptr &&
        std::sscanf(line.c_str(), "status: call %lf ms mean %lf ms longest, pace %lf", &mean,
                    &longest, &pace) == 3) {
      calls->callMeanMs.push_back(mean);
      calls->callLongestMs = std::max(calls->callLongestMs, longest);
      if (pace > 0) calls->pace.push_back(pace);
    }
  }
}

// CPU-seconds per second over `window` of steady playback (and the rate of
// textures fetched when the program reports it) into the case's samples.
void measureCpu(CpuCase& c, int window) {
  Child child(c.argv, c.display, c.env);
  if (c.playingLine.empty()) {
    child.waitFor("\x01never", seconds(2));  // it says nothing: give it time to start
  } else if (!child.waitFor(c.playingLine, seconds(60))) {
    return;
  }
  FrameMark first;
  FrameMark last;
  const auto warmUpEnd = Clock::now() + seconds(kWarmUpSeconds);
  while (Clock::now() < warmUpEnd) {
    updateMark(child, first);
    std::this_thread::sleep_for(milliseconds(50));
  }
  const double cpu0 = child.cpuSeconds();
  const bench::ThreadSplit split0 = child.threadSplit();
  const auto wall0 = Clock::now();
  const auto windowEnd = wall0 + seconds(window);
  while (Clock::now() < windowEnd) {
    updateMark(child, last, &c);
    std::this_thread::sleep_for(milliseconds(50));
  }
  const double cpu1 = child.cpuSeconds();
  const bench::ThreadSplit split1 = child.threadSplit();
  const double wall = std::chrono::duration<double>(Clock::now() - wall0).count();
  c.cpu.push_back((cpu1 - cpu0) / wall);
  for (const auto& [role, seconds] : split1) {
    const auto before = split0.find(role);
    c.split[role] += (seconds - (before == split0.end() ? 0.0 : before->second)) / wall;
  }
  if (first.frames >= 0 && last.frames > first.frames) {
    const double span = std::chrono::duration<double>(last.at - first.at).count();
    c.framesPerSecond.push_back((last.frames - first.frames) / span);
  }
}

struct ReadyRow {
  std::string name;
  std::vector<double> ready[2];  // first and second open
  std::vector<double> texture[2];
  std::vector<double> megabytes;  // sent by the origin until the first open's ready
  std::vector<double> requests;   // requests it got until then
};

void collectReady(ReadyRow& row, const std::vector<std::string>& argv,
                  zent::test::HttpServer* origin = nullptr) {
  const uint64_t bytes0 = origin ? origin->bytesSent() : 0;
  const int requests0 = origin ? origin->totalRequestCount() : 0;
  Child child(argv);
  for (int open = 0; open < 2; ++open) {
    const auto line = child.waitFor("open ", seconds(90));
    if (!line) return;
    if (origin && open == 0) {
      row.megabytes.push_back(static_cast<double>(origin->bytesSent() - bytes0) / 1e6);
      row.requests.push_back(origin->totalRequestCount() - requests0);
    }
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

int parent(int runs, int readyRuns, int window) {
  const std::string buildDir = ZENT_BINARY_DIR;
  const Media media = makeMedia(buildDir + "/bench-media");
  zent::test::HttpServer server(fs::path(media.hlsDir).parent_path().string());
  const std::string hlsUrl =
      server.url(fs::path(media.hlsDir).filename().string() + "/master.m3u8");
  const std::string library = ZENT_LIBRARY_PATH;
  const std::string fileUri = "file://" + media.mp4;

  // ffplay and mpv draw into a window: a virtual X server, GL on the same llvmpipe.
  const bench::VirtualDisplay display;
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
      {"ffplay (SDL window on Xvfb)",
       {"ffplay", "-loglevel", "quiet", "-nostats", "-autoexit", media.mp4},
       "",
       display.name(),
       {"SDL_AUDIODRIVER=dummy"}},
      {"mpv --vo=gpu (window on Xvfb)",
       {"mpv", "--vo=gpu", "--ao=null", "--really-quiet", "--term-playing-msg=playing", media.mp4},
       "playing",
       display.name()},
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
    if (c.cpu.empty()) continue;
    std::printf("      by thread, CPU-s/s:");
    for (const auto& [role, total] : c.split) {
      std::printf(" %s %.2f", role.c_str(), total / static_cast<double>(c.cpu.size()));
    }
    std::printf("\n");
  }
  std::printf(
      "  frames/s: textures fetched per second by the host loop (30 polls/s);\n"
      "  * the gst-launch sinks keep the clock without dropping, so every frame is decoded\n");
  if (!cases[0].callMeanMs.empty()) {
    std::printf("  NativeGetTexture inside the bench host's frame: %.1f ms mean, %.1f ms longest\n",
                median(cases[0].callMeanMs), cases[0].callLongestMs);
  }
  if (!cases[0].pace.empty()) {
    const auto [low, high] = std::minmax_element(cases[0].pace.begin(), cases[0].pace.end());
    std::printf(
        "  Playback pace (position ms per wall ms, per second): median %.3f, %.3f to %.3f\n",
        median(cases[0].pace), *low, *high);
  }
  std::printf("\nTime to ready, ms: median of %d processes; first open in a process / second\n",
              readyRuns);
  std::printf(
      "  libzentplayer: open call -> ready event, and -> first texture\n"
      "  playbin3 (gst-play-1.0's pipeline, fakesinks): PLAYING requested -> prerolled,\n"
      "  and -> first frame rendered\n");
  std::fflush(stdout);
  const std::string url14 = server.url(fs::path(media.progressive14).filename().string());
  const std::string url50 = server.url(fs::path(media.progressive50).filename().string());
  std::vector<ReadyRow> rows;
  for (const char* content :
       {"local MP4", "loopback HLS", "14 MB MP4, no ext.", "50 MB MP4, no ext."}) {
    rows.push_back(ReadyRow{std::string("libzentplayer, ") + content, {}, {}, {}, {}});
    rows.push_back(ReadyRow{std::string("playbin3,      ") + content, {}, {}, {}, {}});
  }
  const std::string targets[4] = {media.mp4, hlsUrl, url14, url50};
  for (int run = 0; run < readyRuns; ++run) {
    for (int t = 0; t < 4; ++t) {
      const bool local = t == 0;
      const std::string uri = local ? fileUri : targets[t];
      collectReady(rows[2 * t], {self(), "--child-ready", library, targets[t]},
                   local ? nullptr : &server);
      collectReady(rows[2 * t + 1], {self(), "--child-gst-ready", uri}, local ? nullptr : &server);
    }
  }
  std::printf("  %-36s %20s %24s %16s\n", "", "ready (1st / 2nd)", "first frame (1st / 2nd)",
              "MB sent, requests");
  for (const auto& row : rows) {
    const std::string ready = cell(row.ready[0]) + " / " + cell(row.ready[1]);
    const std::string texture = cell(row.texture[0]) + " / " + cell(row.texture[1]);
    char fetched[48] = "-";
    if (!row.megabytes.empty()) {
      std::snprintf(fetched, sizeof fetched, "%.2f, %.0f", median(row.megabytes),
                    median(row.requests));
    }
    std::printf("  %-36s %20s %24s %16s\n", row.name.c_str(), ready.c_str(), texture.c_str(),
                fetched);
  }
  std::printf(
      "  MB sent: what the loopback origin sent from the start of the process to the first\n"
      "  ready (preroll), median; a download made twice would show as about twice the bytes\n");
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
