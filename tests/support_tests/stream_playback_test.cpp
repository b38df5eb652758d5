// GStreamer's own player (playbin3, as the library uses it) plays the fixtures
// from the loopback server to the end: the media and the server work together.
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>

#include "media_checks.h"
#include "support/http_server.h"
#include "support/live_hls_playlist.h"
#include "support/media_fixtures.h"

namespace zent::test {
namespace {

using namespace std::chrono_literals;

int countWithStatus(const HttpServer& server, int status) {
  int count = 0;
  for (const HttpRequestRecord& record : server.requests()) count += record.status == status;
  return count;
}

std::string requestLog(const HttpServer& server) {
  std::string log = "requests:\n";
  for (const HttpRequestRecord& record : server.requests()) {
    log += "  " + record.method + " " + record.path + " [" + record.header("Range") + "] -> " +
           std::to_string(record.status) + " on connection " + std::to_string(record.connection) +
           "\n";
  }
  return log;
}

void expectPlayedToEnd(const ProcessResult& played, const HttpServer& server) {
  EXPECT_TRUE(played.ok()) << played.describe() << "\nstdout:\n"
                           << played.out << "\n"
                           << requestLog(server);
  EXPECT_NE(played.out.find("Got EOS"), std::string::npos) << played.out;
}

TEST(StreamPlayback, MultivariantHlsPlaysToTheEndOverHttp) {
  const std::string dir = hls_multivariant();
  HttpServer server;
  expectPlayedToEnd(playToEnd(server.url(dir + "/master.m3u8"), 120s), server);
  EXPECT_EQ(server.requestCount(dir + "/master.m3u8"), 1);
  EXPECT_GE(server.requestCount(dir + "/audio_en/index.m3u8"), 1);
  EXPECT_GE(server.requestCount(dir + "/subs_en/index.m3u8"), 1);
  EXPECT_GE(server.requestCount(dir + "/audio_en/seg_004.ts"), 1);
  EXPECT_GE(server.requestCount(dir + "/subs_en/seg_004.vtt"), 1);
  EXPECT_EQ(countWithStatus(server, 200), server.totalRequestCount());
  // souphttpsrc keeps connections alive across segment downloads.
  EXPECT_LT(server.connectionCount(), server.totalRequestCount());
}

TEST(StreamPlayback, DashPlaysToTheEndOverHttp) {
  const std::string dir = dash_vod();
  HttpServer server;
  expectPlayedToEnd(playToEnd(server.url(dir + "/manifest.mpd"), 120s), server);
  EXPECT_GE(server.requestCount(dir + "/init-3.m4s"), 1);
  EXPECT_GE(server.requestCount(dir + "/chunk-3-00005.m4s"), 1);
  EXPECT_EQ(countWithStatus(server, 200), server.totalRequestCount());
}

TEST(StreamPlayback, ProgressiveMp4PlaysOverHttp) {
  const std::string path = mp4_rotated();
  HttpServer server;
  expectPlayedToEnd(playToEnd(server.url(path), 120s), server);
  EXPECT_GE(server.requestCount(path), 1);
}

TEST(StreamPlayback, SingleVariantAndProgramDateTimePlaylistsPlay) {
  HttpServer server;
  expectPlayedToEnd(playToEnd(server.url(hls_single_variant() + "/index.m3u8"), 120s), server);
  expectPlayedToEnd(playToEnd(server.url(hls_program_date_time() + "/master.m3u8"), 120s), server);
}

TEST(StreamPlayback, LivePlaylistIsFollowedUntilTheStreamEnds) {
  HttpServer server;
  LiveHlsPlaylist live(hls_live_segments());
  live.start();
  const std::string playlist = live.playlistPath();
  auto player =
      std::async(std::launch::async, [&] { return playToEnd(server.url(playlist), 120s); });
  // hlsdemux2 reloads a live playlist about once per target duration.
  ASSERT_TRUE(server.waitForRequests(playlist, 3, 60s))
      << "the player did not keep reloading the live playlist";
  ASSERT_TRUE(live.waitForMediaSequence(live.mediaSequence() + 1, 10s));
  live.endStream();
  ProcessResult played = player.get();
  expectPlayedToEnd(played, server);
  EXPECT_EQ(countWithStatus(server, 404), 0);
}

TEST(StreamPlayback, GarbageFileFailsToPlay) {
  HttpServer server;
  ProcessResult played = playToEnd(server.url(garbage_file()), 60s);
  EXPECT_FALSE(played.timedOut);
  EXPECT_NE(played.exitCode, 0);
  EXPECT_NE((played.out + played.err).find("Could not determine type of stream"), std::string::npos)
      << played.out << played.err;
}

}  // namespace
}  // namespace zent::test
