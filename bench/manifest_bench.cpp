// Cost of reading manifests, each printed next to a peer from the same run:
// an HLS master and a long media playlist next to merely splitting the same
// text into lines, a DASH MPD next to pugixml building its tree alone, and the
// position-to-date lookup next to a linear scan of the segments.
#include <benchmark/benchmark.h>
#include <pugixml.hpp>

#include <cstdio>
#include <string>
#include <vector>

#include "platform/manifest/hls_media_playlist.h"
#include "platform/manifest/manifest_reader.h"
#include "support/logger.h"

namespace {

const std::string kBase = "https://cdn.example.com/live/event/master.m3u8?token=abc";

void quietLogs() {
  zent::Logger::setCurrentLogLevel(zent::LogLevel::NONE);
}

// A typical ladder: `variants` video variants, two audio and two subtitle
// renditions, an audio-only variant and I-frame lists.
std::string makeMaster(int variants) {
  std::string text = "#EXTM3U\n#EXT-X-VERSION:6\n#EXT-X-INDEPENDENT-SEGMENTS\n";
  for (const char* lang : {"en", "fr"}) {
    text += std::string("#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"aac\",NAME=\"Audio ") + lang +
            "\",LANGUAGE=\"" + lang + "\",AUTOSELECT=YES,URI=\"audio/" + lang + ".m3u8\"\n";
    text += std::string("#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID=\"subs\",NAME=\"Subs ") + lang +
            "\",LANGUAGE=\"" + lang + "\",URI=\"subs/" + lang + ".m3u8\"\n";
  }
  for (int i = 0; i < variants; ++i) {
    int height = 144 + i * 96;
    text +=
        "#EXT-X-STREAM-INF:BANDWIDTH=" + std::to_string(300000 + i * 650000) +
        ",AVERAGE-BANDWIDTH=" + std::to_string(250000 + i * 600000) +
        ",RESOLUTION=" + std::to_string(height * 16 / 9) + "x" + std::to_string(height) +
        ",FRAME-RATE=29.970,CODECS=\"avc1.64001f,mp4a.40.2\",AUDIO=\"aac\",SUBTITLES=\"subs\"\n";
    text += "video/" + std::to_string(height) + "p/index.m3u8\n";
    text += "#EXT-X-I-FRAME-STREAM-INF:BANDWIDTH=90000,RESOLUTION=640x360,URI=\"video/" +
            std::to_string(height) + "p/iframes.m3u8\"\n";
  }
  text += "#EXT-X-STREAM-INF:BANDWIDTH=128000,CODECS=\"mp4a.40.2\",AUDIO=\"aac\"\naudio.m3u8\n";
  return text;
}

// A two-hour programme in 4 s segments with a program date-time every minute.
std::string makeMediaPlaylist(int segments) {
  std::string text = "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:4\n";
  text += "#EXT-X-MEDIA-SEQUENCE:1000\n#EXT-X-PLAYLIST-TYPE:EVENT\n";
  char date[64];
  for (int i = 0; i < segments; ++i) {
    if (i % 15 == 0) {
      int seconds = i * 4;
      std::snprintf(date, sizeof date, "#EXT-X-PROGRAM-DATE-TIME:2024-03-01T%02d:%02d:%02d.000Z\n",
                    seconds / 3600 % 24, seconds / 60 % 60, seconds % 60);
      text += date;
    }
    text += "#EXTINF:4.000,\nsegment_" + std::to_string(1000 + i) + ".ts\n";
  }
  return text;
}

std::string makeMpd(int representations) {
  std::string text =
      "<?xml version=\"1.0\"?>\n<MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" type=\"static\">\n"
      "<Period id=\"0\">\n<AdaptationSet contentType=\"video\" mimeType=\"video/mp4\" "
      "frameRate=\"30000/1001\" segmentAlignment=\"true\">\n"
      "<SegmentTemplate media=\"$RepresentationID$/$Number$.m4s\" "
      "initialization=\"$RepresentationID$/init.mp4\" timescale=\"90000\" duration=\"360000\"/>\n";
  for (int i = 0; i < representations; ++i) {
    int height = 144 + i * 96;
    text += "<Representation id=\"v" + std::to_string(i) + "\" bandwidth=\"" +
            std::to_string(300000 + i * 650000) + "\" width=\"" + std::to_string(height * 16 / 9) +
            "\" height=\"" + std::to_string(height) + "\" codecs=\"avc1.64001f\"/>\n";
  }
  text += "</AdaptationSet>\n";
  for (const char* lang : {"en", "fr", "de"}) {
    text += std::string("<AdaptationSet contentType=\"audio\" mimeType=\"audio/mp4\" lang=\"") +
            lang + "\"><Label>Audio " + lang +
            "</Label><Representation id=\"a\" bandwidth=\"128000\" codecs=\"mp4a.40.2\"/>"
            "</AdaptationSet>\n";
  }
  text += "</Period>\n</MPD>\n";
  return text;
}

std::size_t countLines(const std::string& text) {
  std::size_t lines = 0;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    lines += end > start ? 1 : 0;
    start = end + 1;
  }
  return lines;
}

void BM_ParseHlsMaster(benchmark::State& state) {
  quietLogs();
  std::string text = makeMaster(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    benchmark::DoNotOptimize(zent::parseManifest(text, kBase, zent::kManifestSelectorNone));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_ParseHlsMaster)->Arg(12)->Unit(benchmark::kMicrosecond);

void BM_ParseMediaPlaylist(benchmark::State& state) {
  quietLogs();
  std::string text = makeMediaPlaylist(static_cast<int>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(zent::parseMediaPlaylist(text, kBase));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_ParseMediaPlaylist)->Arg(1800)->Unit(benchmark::kMicrosecond);

// Peer: the least any reader of these texts does, finding the lines.
void BM_SplitLinesPeer(benchmark::State& state) {
  std::string text = makeMediaPlaylist(static_cast<int>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(countLines(text));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_SplitLinesPeer)->Arg(1800)->Unit(benchmark::kMicrosecond);

void BM_ParseDashMpd(benchmark::State& state) {
  quietLogs();
  std::string text = makeMpd(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    benchmark::DoNotOptimize(zent::parseManifest(text, kBase, zent::kManifestSelectorDash));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_ParseDashMpd)->Arg(12)->Unit(benchmark::kMicrosecond);

// Peer: pugixml building the same document's tree, with nothing read from it.
void BM_PugixmlLoadPeer(benchmark::State& state) {
  std::string text = makeMpd(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    pugi::xml_document document;
    benchmark::DoNotOptimize(document.load_buffer(text.data(), text.size()));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_PugixmlLoadPeer)->Arg(12)->Unit(benchmark::kMicrosecond);

struct DateFixture {
  zent::MediaPlaylist playlist;
  std::vector<double> offsets;
  explicit DateFixture(int segments) {
    quietLogs();
    playlist = *zent::parseMediaPlaylist(makeMediaPlaylist(segments), kBase);
    double total = playlist.totalDurationSeconds();
    for (int i = 0; i < 4096; ++i) offsets.push_back(total * ((i * 2654435761u) % 4096) / 4096.0);
  }
};

void BM_ProgramDateAt(benchmark::State& state) {
  DateFixture fixture(static_cast<int>(state.range(0)));
  std::size_t next = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(zent::programDateAt(fixture.playlist, fixture.offsets[next]));
    next = (next + 1) & 4095;
  }
}
BENCHMARK(BM_ProgramDateAt)->Arg(1800);

// Peer: finding the segment by walking the list from the start.
void BM_ScanSegmentsPeer(benchmark::State& state) {
  DateFixture fixture(static_cast<int>(state.range(0)));
  std::size_t next = 0;
  for (auto _ : state) {
    double offset = fixture.offsets[next];
    const auto& segments = fixture.playlist.segments;
    std::size_t found = 0;
    while (found + 1 < segments.size() && segments[found + 1].startSeconds <= offset) ++found;
    benchmark::DoNotOptimize(*segments[found].programDateTime + offset -
                             segments[found].startSeconds);
    next = (next + 1) & 4095;
  }
}
BENCHMARK(BM_ScanSegmentsPeer)->Arg(1800);

}  // namespace

BENCHMARK_MAIN();
