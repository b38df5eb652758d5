#include <gtest/gtest.h>

#include <atomic>
#include <string>

#include "platform/manifest/hls_media_playlist.h"
#include "platform/manifest/manifest_reader.h"
#include "support/http_server.h"
#include "support/log_recorder.h"
#include "support/logger.h"
#include "support/scoped_temp_dir.h"
#include "support/text_fetcher.h"

namespace zent {
namespace {

using test::HttpServer;
using test::logRecorder;

const char* const kMaster =
    "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1000000,RESOLUTION=640x360\nlow/index.m3u8\n";

bool has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST(Fetch, HttpReadsSendTheExtraHeadersAndFailuresSayWhy) {
  test::ScopedTempDir dir;
  HttpServer server(dir.path());
  dir.write("live/master.m3u8", kMaster);
  dir.write("big", std::string(5000, 'a'));
  dir.write("exact", std::string(4096, 'b'));
  FetchOptions options;
  options.headers = {"X-Zent-Token: abc123"};
  FetchResult ok = fetchText(server.url("live/master.m3u8") + "?s=9", options);
  EXPECT_EQ(ok.body, kMaster) << ok.error;
  EXPECT_EQ(ok.httpStatus, 200);
  EXPECT_EQ(ok.effectiveUrl, server.url("live/master.m3u8") + "?s=9");
  EXPECT_EQ(server.requests().at(0).header("X-Zent-Token"), "abc123");

  FetchResult missing = fetchText(server.url("missing.m3u8"));
  EXPECT_EQ(missing.error, "HTTP 404 Not Found from " + server.url("missing.m3u8"));
  EXPECT_TRUE(missing.body.empty());  // an error page is not the document
  server.setHostile("loop", HttpServer::Hostile::RedirectLoop);
  EXPECT_TRUE(has(fetchText(server.url("loop")).error, "redirect"));
  EXPECT_LE(server.requestCount("loop"), 11);  // the first request and at most ten redirects
  std::atomic<bool> cancel{true};
  options.cancelFlag = &cancel;
  EXPECT_TRUE(has(fetchText(server.url("exact"), options).error, "cancelled"));
  EXPECT_EQ(server.requestCount("exact"), 0);

  // Bodies over the cap are refused, not cut, with or without a length.
  server.setHostile("endless.m3u8", HttpServer::Hostile::EndlessPlaylist);
  FetchOptions capped;
  capped.maxBytes = 4096;
  for (const std::string& source :
       {server.url("big"), server.url("endless.m3u8"), dir.file("big")}) {
    FetchResult result = fetchText(source, capped);
    EXPECT_TRUE(result.body.empty() && has(result.error, "4096-byte limit")) << result.error;
  }
  EXPECT_EQ(fetchText(server.url("exact"), capped).body.size(), 4096u);
}

TEST(Fetch, ManifestsResolveAgainstTheirAddressAndFailuresAreOneErrorLine) {
  test::ScopedTempDir dir;
  HttpServer server(dir.path());
  const std::string path = dir.write("my dir/master.m3u8", kMaster);
  dir.write("my dir/low/index.m3u8",
            "#EXTM3U\n#EXT-X-PROGRAM-DATE-TIME:2024-03-01T00:00:00Z\n#EXTINF:4,\ns1.ts\n");
  Logger::setCallback(logRecorderCallback);
  logRecorder().clear();
  EXPECT_EQ(readManifest(path, 0).videoVariants.at(0).uri, dir.path() + "/my dir/low/index.m3u8");
  EXPECT_EQ(
      readManifest("file://" + dir.path() + "/my%20dir/master.m3u8", 1).videoVariants.at(0).uri,
      "file://" + dir.path() + "/my%20dir/low/index.m3u8");
  auto playlist = readMediaPlaylist(server.url("my dir/master.m3u8"));
  ASSERT_TRUE(playlist.has_value());
  EXPECT_EQ(playlist->segments.at(0).uri, server.url("my dir/low/s1.ts"));
  EXPECT_DOUBLE_EQ(*programDateAt(*playlist, 1.0), 1709251201.0);
  EXPECT_EQ(logRecorder().count("", 2), 0u) << logRecorder().describe();

  for (auto [source, reason] :
       {std::pair{dir.file("absent.mpd"), "No such file"},
        std::pair{server.url("gone.m3u8"), "HTTP 404 Not Found"},
        std::pair{std::string("file://fileserver/a.m3u8"), "remote host"}}) {
    logRecorder().clear();
    EXPECT_EQ(readManifest(source, 1).kind, ManifestInfo::Kind::Unknown);
    EXPECT_EQ(logRecorder().count("", 2), 1u) << logRecorder().describe();
    EXPECT_EQ(logRecorder().count(reason, 3), 1u) << logRecorder().describe();
  }
}

// Media are told by their address or first bytes and not downloaded to find out.
TEST(Fetch, MediaAreNotDownloadedWhenGuessing) {
  test::ScopedTempDir dir;
  HttpServer server(dir.path());
  std::string media(8 * 1024 * 1024, '\x5a');
  media.replace(0, 12, std::string("\0\0\0\x20", 4) + "ftypisom");
  dir.write("movie", media);
  dir.write("movie.mp4", "not really a movie");
  server.setBytesPerSecond(512 * 1024);  // a whole read would show in the byte count
  EXPECT_EQ(readManifest(server.url("movie"), 0).kind, ManifestInfo::Kind::Unknown);
  EXPECT_LT(server.bytesSent(), 1024u * 1024u);
  EXPECT_EQ(readManifest(server.url("movie.mp4") + "?t=1", 0).kind, ManifestInfo::Kind::Unknown);
  EXPECT_EQ(server.requestCount("movie.mp4"), 0);
}

}  // namespace
}  // namespace zent
