// Cost of reading an SRT file and of the per-frame subtitle lookup, each printed
// next to a peer from the same run: parsing next to merely counting the lines of the
// same text, the lookup next to a plain scan of every cue.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "subtitles/srt_subtitles.h"
#include "support/logger.h"

namespace {

std::string timestamp(int64_t ms) {
  char text[32];
  std::snprintf(text, sizeof text, "%02lld:%02lld:%02lld,%03lld",
                static_cast<long long>(ms / 3'600'000), static_cast<long long>(ms / 60'000 % 60),
                static_cast<long long>(ms / 1000 % 60), static_cast<long long>(ms % 1000));
  return text;
}

// A film-like file: numbered cues every 2 to 4 s, 1 to 3 s long, one or two lines of
// about 40 characters, CR LF line ends.
std::string makeSrt(int cues, int64_t* lastEndMs = nullptr) {
  std::mt19937 random(7);
  std::string content = "\xEF\xBB\xBF";
  int64_t start = 1000;
  int64_t end = 0;
  for (int i = 1; i <= cues; ++i) {
    end = start + std::uniform_int_distribution<int64_t>(1000, 3000)(random);
    content += std::to_string(i) + "\r\n" + timestamp(start) + " --> " + timestamp(end) + "\r\n";
    content += "Line " + std::to_string(i) + " of the dialogue, as long as most are.\r\n";
    if (i % 3 == 0) content += "A second line for this one.\r\n";
    content += "\r\n";
    start = end + std::uniform_int_distribution<int64_t>(200, 1500)(random);
  }
  if (lastEndMs) *lastEndMs = end;
  return content;
}

void quietLogs() {
  zent::Logger::setCurrentLogLevel(zent::LogLevel::NONE);
}

void BM_ParseSrt(benchmark::State& state) {
  quietLogs();
  std::string content = makeSrt(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    zent::SRTSubtitles subs;
    benchmark::DoNotOptimize(subs.parseText(content, "bench.srt"));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * content.size()));
  state.counters["file_bytes"] = static_cast<double>(content.size());
}
BENCHMARK(BM_ParseSrt)->Arg(5000)->Arg(50000)->Unit(benchmark::kMicrosecond);

// Peer: the least any reader of this text does, finding its line ends.
void BM_CountLinesPeer(benchmark::State& state) {
  std::string content = makeSrt(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    benchmark::DoNotOptimize(std::count(content.begin(), content.end(), '\n'));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * content.size()));
}
BENCHMARK(BM_CountLinesPeer)->Arg(5000)->Unit(benchmark::kMicrosecond);

struct LookupFixture {
  zent::SRTSubtitles subs;
  std::vector<int64_t> times;
  explicit LookupFixture(int cues) {
    quietLogs();
    int64_t lastEnd = 0;
    subs.parseText(makeSrt(cues, &lastEnd), "bench.srt");
    std::mt19937 random(11);
    std::uniform_int_distribution<int64_t> anyTime(0, lastEnd + 5000);
    times.resize(4096);
    for (int64_t& t : times) t = anyTime(random);
  }
};

void BM_UpdateSubtitleRandomTime(benchmark::State& state) {
  LookupFixture fixture(static_cast<int>(state.range(0)));
  size_t next = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(fixture.subs.updateSubtitle(fixture.times[next]));
    next = (next + 1) & (fixture.times.size() - 1);
  }
}
BENCHMARK(BM_UpdateSubtitleRandomTime)->Arg(5000)->Repetitions(9)->ReportAggregatesOnly(true);

// Peer: finding the cue by scanning every cue, the way a lookup without an index would.
void BM_ScanAllCuesPeer(benchmark::State& state) {
  LookupFixture fixture(static_cast<int>(state.range(0)));
  const auto& starts = fixture.subs.timesIni();
  const auto& ends = fixture.subs.timesEnd();
  size_t next = 0;
  for (auto _ : state) {
    int64_t t = fixture.times[next];
    std::string text;
    for (size_t i = starts.size(); i-- > 0;) {
      if (starts[i] <= t && t <= ends[i]) {
        text = fixture.subs.subtitleBuffer()[i];
        break;
      }
    }
    benchmark::DoNotOptimize(text);
    next = (next + 1) & (fixture.times.size() - 1);
  }
}
BENCHMARK(BM_ScanAllCuesPeer)->Arg(5000)->Repetitions(9)->ReportAggregatesOnly(true);

}  // namespace

BENCHMARK_MAIN();
