// Origins that hang, stop half-way, loop or trickle: the host's calls return at
// once, no ready event comes where none can, the cause is logged where the
// library can tell it, the released player plays good content next, and
// shutdown returns while the origin still hangs.
#include "playback/playback_fixture.h"

namespace zent::test {
namespace {

using Hostile = HttpServer::Hostile;

// Longer than any call of the host may take: only a hang goes past it.
constexpr milliseconds kHang{2500};

struct HostileCase {
  const char* name;
  Hostile kind;
  std::string (*hostile)();  // the file the origin misbehaves on
  std::string (*opened)();   // what the player opens
  int32_t mimeType;
  // The one ERROR line that tells the failure ("" when nothing can tell the
  // library: a slow origin is not a failing one), and the cause it names.
  const char* line;
  const char* cause;
};

std::string variantPlaylist() {
  return hls_program_date_time() + "/index.m3u8";
}
std::string masterOfVariant() {
  return hls_program_date_time() + "/master.m3u8";
}
std::string masterPlaylist() {
  return hls_multivariant() + "/master.m3u8";
}
std::string mediaPlaylist() {
  return hls_single_variant() + "/index.m3u8";
}

const HostileCase kCases[] = {
    {"VariantNeverAnswers", Hostile::NeverAnswer, variantPlaylist, masterOfVariant, 1,
     "| Cannot play", "Couldn't download the playlist"},
    {"PlaylistStopsAfterAPart", Hostile::StopAfterPart, masterPlaylist, masterPlaylist, 1,
     "Manifest not read", "Operation too slow"},
    {"RedirectLoop", Hostile::RedirectLoop, masterPlaylist, masterPlaylist, 1, "| Cannot play",
     "Found (302)"},
    {"EndlessPlaylist", Hostile::EndlessPlaylist, mediaPlaylist, mediaPlaylist, 1,
     "Manifest not read", "larger than the 16777216-byte limit"},
    {"FileTrickles", Hostile::Trickle, mp4_720p, mp4_720p, 0, "", ""},
};

void PrintTo(const HostileCase& c, std::ostream* out) {
  *out << c.name;
}

template <typename F>
milliseconds took(F&& call) {
  auto start = std::chrono::steady_clock::now();
  call();
  return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start);
}

class HostileOriginTest : public PlaybackTest, public ::testing::WithParamInterface<HostileCase> {};

TEST_P(HostileOriginTest, HostCallsReturnAtOnceAndShutdownDoesNotWaitForTheOrigin) {
  const HostileCase& c = GetParam();
  HttpServer server;
  server.setHostile(c.hostile(), c.kind);
  const std::string url = server.url(c.opened());
  ASSERT_EQ(api().NativeAddStream(1), 0);
  size_t logMark = logRecorder().size();
  EXPECT_LT(took([&] { EXPECT_EQ(api().NativeOpenURI(0, url.c_str(), c.mimeType), 0); }), kHang);
  ASSERT_TRUE(server.waitForRequests(c.hostile(), 1, seconds(20))) << describe();
  EXPECT_LT(took([&] {
              api().NativeGetCurrentTime(0);
              api().NativeGetTotalTime(0);
              api().NativeGetTrackCount(0);
              api().NativePause(0);
              api().NativeSeek(0, 1000);
            }),
            kHang);

  if (*c.line != '\0') {
    auto failed = logRecorder().waitFor(c.line, seconds(40), logMark, 3);
    ASSERT_TRUE(failed.has_value()) << describe();
    EXPECT_NE(failed->line.find(c.cause), std::string::npos) << failed->line;
    // No ready event can come once the load has failed.
    EXPECT_EQ(countEvents(0, 0), 0u) << describe();
  }

  EXPECT_LT(took([&] { api().NativeRemoveVideoContent(0); }), kHang);
  size_t mark = eventRecorder().events().size();
  ASSERT_EQ(api().NativeOpenLocalContent(0, mp4_720p().c_str()), 0);
  EXPECT_TRUE(waitForEvent(0, 3, seconds(30), mark)) << describe();
  if (*c.line != '\0') {
    EXPECT_EQ(logRecorder().count(c.line, 3, logMark), 1u) << describe();
  }

  // A second player loads from the origin, which still misbehaves, as the host quits.
  ASSERT_EQ(api().NativeAddStream(1), 0);
  int before = server.requestCount(c.hostile());
  ASSERT_EQ(api().NativeOpenURI(1, url.c_str(), c.mimeType), 0);
  ASSERT_TRUE(server.waitForRequests(c.hostile(), before + 1, seconds(20))) << describe();
  EXPECT_LT(took([&] { api().NativeShutdown(); }), kHang);
}

INSTANTIATE_TEST_SUITE_P(Origins, HostileOriginTest, ::testing::ValuesIn(kCases),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace zent::test
