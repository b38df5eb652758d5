#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "manifest/log_capture.h"
#include "manifest/loopback_http_server.h"
#include "platform/manifest/hls_media_playlist.h"
#include "platform/manifest/manifest_reader.h"
#include "support/text_fetcher.h"

namespace zent {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::LogCapture;
using testing::LoopbackHttpServer;
using Clock = std::chrono::steady_clock;

const char* const kMaster =
    "#EXTM3U\n"
    "#EXT-X-STREAM-INF:BANDWIDTH=1000000,RESOLUTION=640x360\nlow/index.m3u8\n"
    "#EXT-X-STREAM-INF:BANDWIDTH=3000000,RESOLUTION=1280x720\nhigh/index.m3u8\n";

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

LoopbackHttpServer::Response ok(std::string body) {
  LoopbackHttpServer::Response response;
  response.body = std::move(body);
  return response;
}

LoopbackHttpServer::Response redirect(int status, std::string location) {
  LoopbackHttpServer::Response response;
  response.status = status;
  response.reason = status == 301 ? "Moved Permanently" : "Found";
  response.headers = {"Location: " + location};
  return response;
}

class HttpFetch : public ::testing::Test {
 protected:
  LoopbackHttpServer server_;
};

TEST_F(HttpFetch, ReadsABodyAndSendsTheExtraHeaders) {
  server_.route("/live/master.m3u8", ok(kMaster));
  FetchOptions options;
  options.headers = {"X-Zent-Token: abc123", "Referer: https://game.example/"};
  FetchResult result = fetchText(server_.url("/live/master.m3u8?session=9"), options);
  ASSERT_TRUE(result.ok) << result.error;
  EXPECT_EQ(result.body, kMaster);
  EXPECT_EQ(result.httpStatus, 200);
  EXPECT_EQ(result.effectiveUrl, server_.url("/live/master.m3u8?session=9"));
  auto requests = server_.requests();
  ASSERT_EQ(requests.size(), 1u);
  EXPECT_TRUE(contains(requests[0].head, "X-Zent-Token: abc123")) << requests[0].head;
  EXPECT_TRUE(contains(requests[0].head, "Referer: https://game.example/"));
}

TEST_F(HttpFetch, HttpErrorsCarryStatusReasonAndUrl) {
  FetchResult missing = fetchText(server_.url("/missing.m3u8"));
  EXPECT_FALSE(missing.ok);
  EXPECT_EQ(missing.httpStatus, 404);
  EXPECT_EQ(missing.error, "HTTP 404 Not Found from " + server_.url("/missing.m3u8"));
  EXPECT_TRUE(missing.body.empty());  // an error page is not the document

  LoopbackHttpServer::Response broken = ok(std::string(4096, 'x'));
  broken.status = 503;
  broken.reason = "Service Unavailable";
  server_.route("/busy.mpd", broken);
  FetchOptions small;
  small.maxBytes = 100;  // the error wins over the size of its page
  FetchResult busy = fetchText(server_.url("/busy.mpd"), small);
  EXPECT_FALSE(busy.ok);
  EXPECT_EQ(busy.error, "HTTP 503 Service Unavailable from " + server_.url("/busy.mpd"));
}

TEST_F(HttpFetch, FollowsRedirectsAndReportsTheFinalAddress) {
  server_.route("/old", redirect(301, "/moved/master.m3u8"));
  server_.route("/moved/master.m3u8", redirect(302, server_.url("/final/master.m3u8")));
  server_.route("/final/master.m3u8", ok(kMaster));
  FetchResult result = fetchText(server_.url("/old"));
  ASSERT_TRUE(result.ok) << result.error;
  EXPECT_EQ(result.effectiveUrl, server_.url("/final/master.m3u8"));
  EXPECT_EQ(result.body, kMaster);
}

TEST_F(HttpFetch, RedirectLoopsStop) {
  server_.route("/loop", redirect(302, "/loop"));
  FetchResult result = fetchText(server_.url("/loop"));
  EXPECT_FALSE(result.ok);
  EXPECT_TRUE(contains(result.error, "redirect")) << result.error;
  EXPECT_LE(server_.requests().size(), 11u);  // the first request and at most ten redirects
}

TEST_F(HttpFetch, BodiesOverTheCapAreRefusedNotTruncated) {
  const std::string big(5000, 'a');
  server_.route("/sized", ok(big));
  LoopbackHttpServer::Response unsized = ok(big);
  unsized.closeDelimited = true;  // no Content-Length: caught while it arrives
  server_.route("/unsized", unsized);
  server_.route("/exact", ok(std::string(4096, 'b')));

  FetchOptions options;
  options.maxBytes = 4096;
  for (const char* path : {"/sized", "/unsized"}) {
    FetchResult result = fetchText(server_.url(path), options);
    EXPECT_FALSE(result.ok) << path;
    EXPECT_TRUE(result.body.empty()) << path;
    EXPECT_TRUE(contains(result.error, "4096-byte limit")) << path << ": " << result.error;
  }
  FetchResult exact = fetchText(server_.url("/exact"), options);
  ASSERT_TRUE(exact.ok) << exact.error;
  EXPECT_EQ(exact.body.size(), 4096u);
}

TEST_F(HttpFetch, TotalTimeoutEndsASilentServer) {
  LoopbackHttpServer::Response silent;
  silent.hang = true;
  server_.route("/silent", silent);
  FetchOptions options;
  options.totalTimeoutSeconds = 1;
  Clock::time_point start = Clock::now();
  FetchResult result = fetchText(server_.url("/silent"), options);
  EXPECT_FALSE(result.ok);
  EXPECT_TRUE(contains(result.error, "timed out")) << result.error;
  EXPECT_LT(Clock::now() - start, seconds(10));
}

TEST_F(HttpFetch, CancelFlagStopsATransferInFlight) {
  LoopbackHttpServer::Response silent;
  silent.hang = true;
  server_.route("/slow", silent);
  std::atomic<bool> cancel{false};
  FetchOptions options;
  options.totalTimeoutSeconds = 60;
  options.cancelFlag = &cancel;
  std::thread canceller([&] {
    // Cancel once the request is surely in flight.
    server_.waitForRequest("/slow", seconds(30));
    cancel.store(true);
  });
  Clock::time_point start = Clock::now();
  FetchResult result = fetchText(server_.url("/slow"), options);
  canceller.join();
  EXPECT_FALSE(result.ok);
  EXPECT_TRUE(contains(result.error, "cancelled")) << result.error;
  EXPECT_LT(Clock::now() - start, seconds(10));
}

TEST_F(HttpFetch, AlreadyCancelledMakesNoRequest) {
  std::atomic<bool> cancel{true};
  FetchOptions options;
  options.cancelFlag = &cancel;
  FetchResult result = fetchText(server_.url("/anything"), options);
  EXPECT_FALSE(result.ok);
  EXPECT_TRUE(contains(result.error, "cancelled"));
  EXPECT_TRUE(server_.requests().empty());
}

TEST(HttpFetchErrors, RefusedConnectionAndUnsupportedSchemes) {
  // A port that was just free: nothing listens there.
  int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
  socklen_t length = sizeof address;
  ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
  ::close(fd);
  std::string url = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/x.m3u8";
  FetchResult refused = fetchText(url);
  EXPECT_FALSE(refused.ok);
  EXPECT_TRUE(contains(refused.error, url)) << refused.error;
  EXPECT_TRUE(contains(refused.error, "onnect")) << refused.error;

  FetchResult ftp = fetchText("ftp://example.com/x.m3u8");
  EXPECT_FALSE(ftp.ok);
  EXPECT_TRUE(contains(ftp.error, "unsupported URL scheme")) << ftp.error;
  EXPECT_FALSE(fetchText("").ok);
}

TEST_F(HttpFetch, ManifestReadThroughARedirectResolvesAgainstTheFinalAddress) {
  server_.route("/play", redirect(302, "/cdn/v2/master.m3u8"));
  server_.route("/cdn/v2/master.m3u8", ok(kMaster));
  ManifestInfo info = readManifest(server_.url("/play"), kManifestSelectorNone);
  ASSERT_EQ(info.videoVariants.size(), 2u);
  EXPECT_EQ(info.baseUrl, server_.url("/cdn/v2/master.m3u8"));
  EXPECT_EQ(info.videoVariants[0].uri, server_.url("/cdn/v2/low/index.m3u8"));
}

TEST_F(HttpFetch, ManifestNotFoundIsOneErrorLine) {
  LogCapture log;
  ManifestInfo info = readManifest(server_.url("/gone.m3u8"), kManifestSelectorHls);
  EXPECT_EQ(info.kind, ManifestInfo::Kind::Unknown);
  auto errors = LogCapture::atLeast(LogLevel::WARNING);
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_EQ(errors[0].level, LogLevel::ERROR);
  EXPECT_TRUE(contains(errors[0].text, "HTTP 404 Not Found")) << errors[0].text;
}

TEST_F(HttpFetch, MediaFileUrlsAreNotFetchedWhenGuessing) {
  server_.route("/movie.mp4", ok("not really a movie"));
  ManifestInfo guessed = readManifest(server_.url("/movie.mp4?t=1"), kManifestSelectorNone);
  EXPECT_EQ(guessed.kind, ManifestInfo::Kind::Unknown);
  EXPECT_TRUE(server_.requests().empty());
  // A declared type is taken at its word.
  readManifest(server_.url("/movie.mp4"), kManifestSelectorHls);
  EXPECT_EQ(server_.requests().size(), 1u);
}

TEST_F(HttpFetch, MediaPlaylistIsFoundThroughItsMaster) {
  server_.route("/ch/master.m3u8", ok(kMaster));
  server_.route("/ch/low/index.m3u8", ok("#EXTM3U\n#EXT-X-TARGETDURATION:4\n"
                                         "#EXT-X-PROGRAM-DATE-TIME:2024-03-01T00:00:00Z\n"
                                         "#EXTINF:4,\ns1.ts\n#EXTINF:4,\ns2.ts\n"));
  auto playlist = readMediaPlaylist(server_.url("/ch/master.m3u8"));
  ASSERT_TRUE(playlist.has_value());
  EXPECT_EQ(playlist->url, server_.url("/ch/low/index.m3u8"));
  ASSERT_EQ(playlist->segments.size(), 2u);
  EXPECT_EQ(playlist->segments[1].uri, server_.url("/ch/low/s2.ts"));
  EXPECT_DOUBLE_EQ(*programDateAt(*playlist, 5.0), 1709251205.0);

  LogCapture log;
  EXPECT_FALSE(readMediaPlaylist(server_.url("/ch/absent.m3u8")).has_value());
  EXPECT_EQ(LogCapture::count(LogLevel::ERROR), 1u);
}

class LocalFetch : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = ::testing::TempDir() + "text_fetcher_" +
           ::testing::UnitTest::GetInstance()->current_test_info()->name();
    std::filesystem::create_directories(dir_);
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }
  std::string write(const std::string& name, const std::string& text) {
    std::string path = dir_ + "/" + name;
    std::ofstream(path, std::ios::binary) << text;
    return path;
  }
  std::string dir_;
};

TEST_F(LocalFetch, PlainPathsAndFileUrls) {
  std::string path = write("my playlist.m3u8", kMaster);
  FetchResult byPath = fetchText(path);
  ASSERT_TRUE(byPath.ok) << byPath.error;
  EXPECT_EQ(byPath.body, kMaster);
  EXPECT_EQ(byPath.httpStatus, 0);
  EXPECT_EQ(byPath.effectiveUrl, path);

  std::string encoded = "file://" + dir_ + "/my%20playlist.m3u8";
  FetchResult byUrl = fetchText(encoded);
  ASSERT_TRUE(byUrl.ok) << byUrl.error;
  EXPECT_EQ(byUrl.body, kMaster);
  EXPECT_EQ(byUrl.effectiveUrl, encoded);

  FetchResult localhost = fetchText("file://localhost" + dir_ + "/my%20playlist.m3u8");
  EXPECT_TRUE(localhost.ok) << localhost.error;
}

TEST_F(LocalFetch, LocalFailuresSayWhy) {
  FetchResult missing = fetchText(dir_ + "/absent.m3u8");
  EXPECT_FALSE(missing.ok);
  EXPECT_TRUE(contains(missing.error, "No such file or directory")) << missing.error;

  FetchResult directory = fetchText(dir_);
  EXPECT_FALSE(directory.ok);
  EXPECT_TRUE(contains(directory.error, "directory")) << directory.error;

  FetchResult remote = fetchText("file://fileserver/share/a.m3u8");
  EXPECT_FALSE(remote.ok);
  EXPECT_TRUE(contains(remote.error, "remote host")) << remote.error;

  FetchOptions small;
  small.maxBytes = 10;
  FetchResult big = fetchText(write("big.m3u8", kMaster), small);
  EXPECT_FALSE(big.ok);
  EXPECT_TRUE(contains(big.error, "10-byte limit")) << big.error;
}

}  // namespace
}  // namespace zent
