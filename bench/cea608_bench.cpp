// CPU time of the line-21 caption decoder for an hour of captioned video, printed
// next to a peer from the same run: merely checking the parity of the same bytes.
//
// The hour is 29.97 frames a second, each frame carrying one byte pair of each
// field, as broadcast cc_data does: pop-on captions every two seconds on CC1, and
// roll-up lines every second on CC3; padding fills the rest.
#include <benchmark/benchmark.h>

#include <bit>
#include <string>
#include <vector>

#include "subtitles/cea608_decoder.h"
#include "support/cea608_pairs.h"

namespace {

using namespace zent::testing;

constexpr int kFramesPerHour = 107'892;

struct Frame {
  CcPair field1;
  CcPair field2;
};

std::vector<Frame> makeHour() {
  const CcPair padding{0x80, 0x80};
  std::vector<Frame> frames(kFramesPerHour, Frame{padding, padding});
  CcPairs field1;
  CcPairs field2;
  for (int second = 0; second < 3600; ++second) {
    if (second % 2 == 0) {
      std::string line = "Caption " + std::to_string(second) + ", a line of dialogue.";
      field1 = field1 + misc(0, 0x20) + preamble(0, 14) + text(line) + preamble(0, 15) +
               text("And a second row.") + misc(0, 0x2F) + misc(0, 0x2E);
    }
    field2 =
        field2 + misc(0, 0x25) + misc(0, 0x2D) + text("Roll-up line " + std::to_string(second));
  }
  for (size_t i = 0; i < frames.size(); ++i) {
    if (i < field1.size()) frames[i].field1 = field1[i];
    if (i < field2.size()) frames[i].field2 = field2[i];
  }
  return frames;
}

void BM_DecodeAnHourOfCaptions(benchmark::State& state) {
  const std::vector<Frame> frames = makeHour();
  size_t changes = 0;
  for (auto _ : state) {
    zent::Cea608Decoder decoder;
    for (const Frame& frame : frames) {
      decoder.feedTriplet(0xFC, frame.field1.first, frame.field1.second);
      decoder.feedTriplet(0xFD, frame.field2.first, frame.field2.second);
      changes += std::popcount(decoder.takeChangedChannels());
    }
  }
  benchmark::DoNotOptimize(changes);
  state.counters["screen_changes"] =
      static_cast<double>(changes) / static_cast<double>(state.iterations());
}
BENCHMARK(BM_DecodeAnHourOfCaptions)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();

// Peer: the least any decoder does with these bytes, checking each one's parity.
void BM_ParityCheckPeer(benchmark::State& state) {
  const std::vector<Frame> frames = makeHour();
  for (auto _ : state) {
    unsigned odd = 0;
    for (const Frame& frame : frames) {
      odd += std::popcount(frame.field1.first) & 1;
      odd += std::popcount(frame.field1.second) & 1;
      odd += std::popcount(frame.field2.first) & 1;
      odd += std::popcount(frame.field2.second) & 1;
    }
    benchmark::DoNotOptimize(odd);
  }
}
BENCHMARK(BM_ParityCheckPeer)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();

}  // namespace

BENCHMARK_MAIN();
