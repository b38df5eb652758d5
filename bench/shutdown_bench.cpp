// How long the host's thread is held by NativeShutdown, NativeRemoveVideoContent
// (release) and NativeRemoveStream while players load from an origin that
// misbehaves (the test server's hostile modes), beside the same calls with
// nothing loading, in the same run. Each figure is the median and the worst of
// several runs, each run in a freshly initialised library:
//   three players open the origin's content; once the origin has seen their
//   requests (and a little longer, so the engine is well into its load),
//   player 0 is released, player 1 removed, then the library shut down.
// Also counted: the shutdowns that left a pipeline's teardown running on its
// thread (the library then stays loaded; see TeardownWorker).
// Usage: shutdown_bench [--runs N]

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "support/event_recorder.h"
#include "support/http_server.h"
#include "support/media_fixtures.h"
#include "support/zent_api.h"

namespace {

using zent::test::HttpServer;
using Hostile = HttpServer::Hostile;
using Clock = std::chrono::steady_clock;

struct Origin {
  const char* name;
  Hostile kind;
  std::string hostilePath;  // empty: nothing is opened
  std::string openedPath;
  int32_t mimeType;
};

struct Figures {
  std::vector<double> release, remove, shutdown;
  int leftRunning = 0;  // shutdowns that left a pipeline's teardown to its thread
};

std::atomic<int> gLeftRunning{0};

void countLeftRunning(int32_t, const char* line) {
  if (std::strstr(line, "still being taken down") != nullptr) ++gLeftRunning;
}

double msOf(const std::function<void()>& call) {
  auto start = Clock::now();
  call();
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

void runOnce(const zent::test::ZentApi& api, HttpServer& server, const Origin& origin,
             Figures& figures) {
  api.NativeInit(&eventRecorderListener);
  for (int i = 0; i < 3; ++i) api.NativeAddStream(1);
  if (!origin.openedPath.empty()) {
    int before = server.requestCount(origin.hostilePath);
    std::string url = server.url(origin.openedPath);
    for (int i = 0; i < 3; ++i) api.NativeOpenURI(i, url.c_str(), origin.mimeType);
    server.waitForRequests(origin.hostilePath, before + 3, std::chrono::seconds(20));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
  }
  figures.release.push_back(msOf([&] { api.NativeRemoveVideoContent(0); }));
  figures.remove.push_back(msOf([&] { api.NativeRemoveStream(1); }));
  int before = gLeftRunning.load();
  figures.shutdown.push_back(msOf([&] { api.NativeShutdown(); }));
  figures.leftRunning += gLeftRunning.load() - before;
}

void print(const char* name, const char* call, std::vector<double> values, double idleMedian) {
  std::sort(values.begin(), values.end());
  double median = values[values.size() / 2];
  std::printf("%-26s %-10s median %8.1f ms  worst %8.1f ms   (nothing loading: %6.1f ms)\n", name,
              call, median, values.back(), idleMedian);
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
  int runs = 5;
  for (int i = 1; i + 1 < argc; ++i) {
    if (std::strcmp(argv[i], "--runs") == 0) runs = std::max(1, std::atoi(argv[i + 1]));
  }
  const zent::test::ZentApi* api = zent::test::zentApi();
  if (api == nullptr) {
    std::fprintf(stderr, "cannot load the library: %s\n", zent::test::zentApiError().c_str());
    return 1;
  }
  using namespace zent::test;
  const std::vector<Origin> origins = {
      {"nothing loading", Hostile::None, "", "", 0},
      {"playing a good file", Hostile::None, mp4_720p(), mp4_720p(), 0},
      {"variant never answers", Hostile::NeverAnswer, hls_program_date_time() + "/index.m3u8",
       hls_program_date_time() + "/master.m3u8", 1},
      {"master never answers", Hostile::NeverAnswer, hls_multivariant() + "/master.m3u8",
       hls_multivariant() + "/master.m3u8", 1},
      {"playlist stops after part", Hostile::StopAfterPart, hls_multivariant() + "/master.m3u8",
       hls_multivariant() + "/master.m3u8", 1},
      {"redirect loop", Hostile::RedirectLoop, hls_multivariant() + "/master.m3u8",
       hls_multivariant() + "/master.m3u8", 1},
      {"endless playlist", Hostile::EndlessPlaylist, hls_single_variant() + "/index.m3u8",
       hls_single_variant() + "/index.m3u8", 1},
      {"file at 4 KiB/s", Hostile::Trickle, mp4_720p(), mp4_720p(), 0},
  };
  api->NativeSetLogCallback(&countLeftRunning);  // the library's lines are not printed
  std::printf("shutdown_bench: %d runs per origin; host-thread time of each call\n", runs);
  Figures idle;
  for (const Origin& origin : origins) {
    HttpServer server;
    if (!origin.hostilePath.empty()) server.setHostile(origin.hostilePath, origin.kind);
    Figures figures;
    for (int run = 0; run < runs; ++run) runOnce(*api, server, origin, figures);
    if (origin.openedPath.empty()) idle = figures;
    print(origin.name, "release", figures.release, median(idle.release));
    print(origin.name, "remove", figures.remove, median(idle.remove));
    print(origin.name, "shutdown", figures.shutdown, median(idle.shutdown));
    std::printf("%-26s %d of %d shutdowns left a pipeline's teardown running on its thread\n",
                origin.name, figures.leftRunning, runs);
  }
  return 0;
}
