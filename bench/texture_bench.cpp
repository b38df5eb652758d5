// Cost of the texture path on a surfaceless EGL context (Mesa llvmpipe, GL 3.3 core):
// a poll with no new frame, and the upload and conversion of new 1080p frames.
//
// Each new-frame iteration ends with a fence that the benchmark waits for, so the
// figures include the rasteriser's work and not only the time to queue it: on
// llvmpipe the "GPU" is the CPU, and queued work would otherwise land on the next
// call. "call" is the time until getTexture returns; "done" until the fence has
// signalled. "process_cpu" is the CPU time of the whole process per frame (every
// thread, the rasteriser's included), the figure that matters on a machine whose
// cores the host's game also needs; it is steadier than wall time on a loaded
// machine. The peers from the same run: a plain memcpy of the frame (the floor of
// touching the bytes once) and the path this design avoids, converting on the CPU
// and uploading RGBA.

#include <benchmark/benchmark.h>
#include <epoxy/gl.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <new>
#include <vector>

#include "render/egl_context.h"
#include "render/gl_texture_backend.h"
#include "render/render_fakes.h"
#include "render/test_frames.h"
#include "render/texture_renderer.h"

// Counts C++ heap allocations, to show the hot path makes none. (GCC takes the
// replacement pair for a mismatch when it inlines them.)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
namespace {
std::atomic<long> allocations{0};
}
void* operator new(std::size_t size) {
  allocations.fetch_add(1, std::memory_order_relaxed);
  if (void* p = std::malloc(size ? size : 1)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept {
  std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
  std::free(p);
}

namespace zent {
namespace {

using Clock = std::chrono::steady_clock;

test::EglContext* context() {
  static std::unique_ptr<test::EglContext> gl =
      test::EglContext::create(test::GlApi::DesktopCore33);
  return gl.get();
}

// A frame source that offers the same decoded frame as new on every poll, or never.
class RepeatingOutput : public VideoOutput {
 public:
  explicit RepeatingOutput(std::shared_ptr<PixelBuffer> frame) : frame_(std::move(frame)) {}
  bool hasNewPixelBuffer(double) override { return frame_ != nullptr; }
  std::shared_ptr<PixelBuffer> copyPixelBuffer(double) override { return frame_; }

 private:
  std::shared_ptr<PixelBuffer> frame_;
};

std::shared_ptr<PixelBuffer> fullHdFrame(PixelFormat format) {
  test::FrameRecipe recipe;
  recipe.format = format;
  recipe.width = 1920;
  recipe.height = 1080;
  recipe.matrix = ColorMatrix::BT709;
  recipe.range = ColorRange::Limited;
  recipe.columns = 4;
  recipe.cells = test::eightColours();
  return std::make_shared<test::TestFrame>(test::makeFrame(recipe));
}

double percentile(std::vector<double> samples, double p) {
  if (samples.empty()) return 0.0;
  std::sort(samples.begin(), samples.end());
  const auto index = static_cast<std::size_t>(p * static_cast<double>(samples.size() - 1));
  return samples[index];
}

// CPU time of every thread of the process, in microseconds.
double processCpuMicros() {
  timespec t{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) * 1e6 + static_cast<double>(t.tv_nsec) / 1e3;
}

double micros(Clock::duration d) {
  return std::chrono::duration<double, std::micro>(d).count();
}

void waitForGpu() {
  GLsync fence = glFenceSync(GL_SYNC_GPU_COMMANDS_COMPLETE, 0);
  glClientWaitSync(fence, GL_SYNC_FLUSH_COMMANDS_BIT, 10'000'000'000ull);
  glDeleteSync(fence);
}

void reportSamples(benchmark::State& state, const char* name, std::vector<double>& samples) {
  state.counters[std::string(name) + "_median_us"] = percentile(samples, 0.5);
  state.counters[std::string(name) + "_p99_us"] = percentile(samples, 0.99);
}

void BM_GetTextureWithoutNewFrame(benchmark::State& state) {
  if (!context()) return state.SkipWithError(test::EglContext::lastError().c_str());
  TextureRenderer renderer([] { return makeGlTextureBackend(); });
  renderer.metalInit();
  test::RecordingPlayerItem item;
  test::VideoOutputEngine engine;
  std::shared_ptr<VideoOutput> output =
      std::make_shared<RepeatingOutput>(fullHdFrame(PixelFormat::I420));
  const uintptr_t handle = renderer.getTexture(1.0, item, output, engine);
  waitForGpu();
  output = std::make_shared<RepeatingOutput>(nullptr);

  std::vector<double> samples;
  samples.reserve(1 << 22);
  const long allocationsBefore = allocations.load();
  for (auto _ : state) {
    const auto start = Clock::now();
    // Under two seconds of playback, so the stall watchdog never replaces the output.
    const uintptr_t got = renderer.getTexture(1.0, item, output, engine);
    const auto end = Clock::now();
    benchmark::DoNotOptimize(got);
    if (samples.size() < samples.capacity()) samples.push_back(micros(end - start));
  }
  const long made = allocations.load() - allocationsBefore;
  if (renderer.getTexture(1.0, item, output, engine) != handle)
    state.SkipWithError("handle changed");
  reportSamples(state, "call", samples);
  state.counters["allocs_per_call"] =
      static_cast<double>(made) / static_cast<double>(std::max<int64_t>(1, state.iterations()));
}

void uploadLoop(benchmark::State& state, PixelFormat format) {
  if (!context()) return state.SkipWithError(test::EglContext::lastError().c_str());
  TextureRenderer renderer([] { return makeGlTextureBackend(); });
  renderer.metalInit();
  test::RecordingPlayerItem item;
  test::VideoOutputEngine engine;
  std::shared_ptr<VideoOutput> output = std::make_shared<RepeatingOutput>(fullHdFrame(format));
  renderer.getTexture(1.0, item, output, engine);  // first frame: objects and programs made
  waitForGpu();

  std::vector<double> call, done;
  call.reserve(100000);
  done.reserve(100000);
  const long allocationsBefore = allocations.load();
  const double cpuBefore = processCpuMicros();
  for (auto _ : state) {
    const auto start = Clock::now();
    const uintptr_t handle = renderer.getTexture(1.0, item, output, engine);
    const auto returned = Clock::now();
    waitForGpu();
    const auto finished = Clock::now();
    benchmark::DoNotOptimize(handle);
    if (call.size() < call.capacity()) {
      call.push_back(micros(returned - start));
      done.push_back(micros(finished - start));
    }
  }
  const double cpu = processCpuMicros() - cpuBefore;
  const long made = allocations.load() - allocationsBefore;
  reportSamples(state, "call", call);
  reportSamples(state, "done", done);
  state.counters["process_cpu_us"] =
      cpu / static_cast<double>(std::max<int64_t>(1, state.iterations()));
  state.counters["allocs_per_frame"] =
      static_cast<double>(made) / static_cast<double>(std::max<int64_t>(1, state.iterations()));
  state.SetBytesProcessed(state.iterations() * 1920 * 1080 * 4);
}

void BM_NewFrame1080pI420(benchmark::State& state) {
  uploadLoop(state, PixelFormat::I420);
}
void BM_NewFrame1080pNV12(benchmark::State& state) {
  uploadLoop(state, PixelFormat::NV12);
}
void BM_NewFrame1080pBGRA(benchmark::State& state) {
  uploadLoop(state, PixelFormat::BGRA);
}

// Peer: copying the I420 frame's bytes once.
void BM_Peer_Memcpy1080pI420(benchmark::State& state) {
  auto frame = fullHdFrame(PixelFormat::I420);
  std::vector<uint8_t> destination(1920 * 1080 * 3 / 2);
  std::vector<double> samples;
  samples.reserve(100000);
  for (auto _ : state) {
    const auto start = Clock::now();
    uint8_t* out = destination.data();
    for (int32_t i = 0; i < 3; ++i) {
      const PlaneView p = frame->plane(i);
      const std::size_t bytes = static_cast<std::size_t>(p.stride) * p.height;
      std::memcpy(out, p.data, bytes);
      out += bytes;
    }
    benchmark::ClobberMemory();
    if (samples.size() < samples.capacity()) samples.push_back(micros(Clock::now() - start));
  }
  reportSamples(state, "call", samples);
}

// Peer: the path not taken, I420 converted to RGBA on the CPU (BT.709 limited, fixed
// point, one thread) and uploaded as RGBA.
void BM_Peer_CpuConvertAndUpload1080pI420(benchmark::State& state) {
  if (!context()) return state.SkipWithError(test::EglContext::lastError().c_str());
  auto frame = fullHdFrame(PixelFormat::I420);
  const int w = 1920, h = 1080;
  std::vector<uint8_t> rgba(static_cast<std::size_t>(w) * h * 4);
  GLuint texture = 0;
  glGenTextures(1, &texture);
  glBindTexture(GL_TEXTURE_2D, texture);
  glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, w, h, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
  std::vector<double> done;
  done.reserve(100000);
  const PlaneView Y = frame->plane(0), U = frame->plane(1), V = frame->plane(2);
  auto clamp8 = [](int v) { return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v); };
  for (auto _ : state) {
    const auto start = Clock::now();
    for (int y = 0; y < h; ++y) {
      const uint8_t* yr = Y.data + static_cast<std::size_t>(y) * Y.stride;
      const uint8_t* ur = U.data + static_cast<std::size_t>(y / 2) * U.stride;
      const uint8_t* vr = V.data + static_cast<std::size_t>(y / 2) * V.stride;
      uint8_t* out = rgba.data() + static_cast<std::size_t>(y) * w * 4;
      for (int x = 0; x < w; ++x) {
        const int c = 298 * (yr[x] - 16), d = ur[x / 2] - 128, e = vr[x / 2] - 128;
        out[4 * x + 0] = clamp8((c + 459 * e + 128) >> 8);
        out[4 * x + 1] = clamp8((c - 55 * d - 136 * e + 128) >> 8);
        out[4 * x + 2] = clamp8((c + 541 * d + 128) >> 8);
        out[4 * x + 3] = 255;
      }
    }
    glBindTexture(GL_TEXTURE_2D, texture);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, w, h, GL_RGBA, GL_UNSIGNED_BYTE, rgba.data());
    waitForGpu();
    if (done.size() < done.capacity()) done.push_back(micros(Clock::now() - start));
  }
  glDeleteTextures(1, &texture);
  reportSamples(state, "done", done);
}

BENCHMARK(BM_GetTextureWithoutNewFrame);
BENCHMARK(BM_NewFrame1080pI420)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_NewFrame1080pNV12)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_NewFrame1080pBGRA)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Peer_Memcpy1080pI420)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Peer_CpuConvertAndUpload1080pI420)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace zent

BENCHMARK_MAIN();
