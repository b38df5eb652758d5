#include "support/http_server.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "raw_http_client.h"
#include "support/scoped_temp_dir.h"

namespace zent::test {
namespace {

using namespace std::chrono_literals;

// Bytes 0..n-1 with a recognisable pattern, so slices can be checked.
std::string numberedBytes(size_t n) {
  std::string bytes(n, '\0');
  for (size_t i = 0; i < n; ++i) bytes[i] = static_cast<char>('a' + (i * 7 + i / 251) % 26);
  return bytes;
}

class HttpServerTest : public ::testing::Test {
 protected:
  HttpServerTest() {
    body_ = numberedBytes(100);
    dir_.write("hls/master.m3u8", "#EXTM3U\n");
    dir_.write("data.bin", body_);
    dir_.write("big.bin", numberedBytes(4 * 1024 * 1024));
    dir_.write("with space.ts", "ts");
  }

  ScopedTempDir dir_;
  std::string body_;
};

TEST_F(HttpServerTest, ServesFilesWithLengthTypeAndRangeSupport) {
  HttpServer server(dir_.path());
  auto response = RawHttpClient::fetch(server.port(), "/data.bin");
  ASSERT_TRUE(response);
  EXPECT_EQ(response->status, 200);
  EXPECT_EQ(response->body, body_);
  EXPECT_EQ(response->header("content-length"), "100");
  EXPECT_EQ(response->header("content-type"), "application/octet-stream");
  EXPECT_EQ(response->header("accept-ranges"), "bytes");
  EXPECT_EQ(response->header("cache-control"), "no-cache");

  auto playlist = RawHttpClient::fetch(server.port(), "/hls/master.m3u8?token=1");
  ASSERT_TRUE(playlist);
  EXPECT_EQ(playlist->status, 200);
  EXPECT_EQ(playlist->body, "#EXTM3U\n");
  EXPECT_EQ(playlist->header("content-type"), "application/vnd.apple.mpegurl");

  auto escaped = RawHttpClient::fetch(server.port(), "/with%20space.ts");
  ASSERT_TRUE(escaped);
  EXPECT_EQ(escaped->status, 200);
  EXPECT_EQ(escaped->header("content-type"), "video/mp2t");
}

TEST_F(HttpServerTest, HeadAnswersHeadersOnlyAndKeepsTheConnectionUsable) {
  HttpServer server(dir_.path());
  RawHttpClient client(server.port());
  ASSERT_TRUE(client.sendRequest("HEAD", "/data.bin"));
  auto head = client.readResponse(5s, /*head=*/true);
  ASSERT_TRUE(head);
  EXPECT_EQ(head->status, 200);
  EXPECT_EQ(head->header("content-length"), "100");
  // If HEAD leaked a body, this response would start with it.
  ASSERT_TRUE(client.sendRequest("GET", "/data.bin"));
  auto get = client.readResponse(5s);
  ASSERT_TRUE(get);
  EXPECT_EQ(get->status, 200);
  EXPECT_EQ(get->body, body_);
  EXPECT_EQ(server.connectionCount(), 1);
  EXPECT_EQ(server.requestCount("data.bin"), 2);
}

TEST_F(HttpServerTest, MissingFilesAndEscapesFromTheRootAreNotServed) {
  HttpServer server(dir_.path());
  auto missing = RawHttpClient::fetch(server.port(), "/nothing.mp4");
  ASSERT_TRUE(missing);
  EXPECT_EQ(missing->status, 404);
  auto directory = RawHttpClient::fetch(server.port(), "/hls");
  ASSERT_TRUE(directory);
  EXPECT_EQ(directory->status, 404);
  auto escape = RawHttpClient::fetch(server.port(), "/hls/../../etc/passwd");
  ASSERT_TRUE(escape);
  EXPECT_EQ(escape->status, 403);
  auto post = RawHttpClient::fetch(server.port(), "/data.bin", "", "POST");
  ASSERT_TRUE(post);
  EXPECT_EQ(post->status, 405);
}

TEST_F(HttpServerTest, StatusOverridesReplaceTheFileForAsLongAsAsked) {
  HttpServer server(dir_.path());
  const std::string file = dir_.file("data.bin");  // absolute path under the root

  server.setStatusFor(file, 404);
  EXPECT_EQ(RawHttpClient::fetch(server.port(), "/data.bin")->status, 404);
  EXPECT_EQ(RawHttpClient::fetch(server.port(), "/data.bin")->status, 404);
  server.clearStatusFor("/data.bin");
  EXPECT_EQ(RawHttpClient::fetch(server.port(), "/data.bin")->status, 200);

  server.setStatusFor("data.bin", 503, /*times=*/2);
  EXPECT_EQ(RawHttpClient::fetch(server.port(), "/data.bin")->status, 503);
  EXPECT_EQ(RawHttpClient::fetch(server.port(), "/data.bin")->status, 503);
  EXPECT_EQ(RawHttpClient::fetch(server.port(), "/data.bin")->status, 200);

  std::vector<HttpRequestRecord> log = server.requests();
  ASSERT_EQ(log.size(), 6u);
  std::vector<int> statuses;
  for (const auto& record : log) statuses.push_back(record.status);
  EXPECT_EQ(statuses, (std::vector<int>{404, 404, 200, 503, 503, 200}));
  EXPECT_EQ(server.requestCount(file), 6);
}

TEST_F(HttpServerTest, RangeRequestsAnswerTheRequestedBytes) {
  HttpServer server(dir_.path());
  struct Case {
    const char* range;
    int status;
    const char* contentRange;
    size_t first;
    size_t length;
  };
  const Case cases[] = {
      {"bytes=10-19", 206, "bytes 10-19/100", 10, 10},
      {"bytes=90-", 206, "bytes 90-99/100", 90, 10},
      {"bytes=-5", 206, "bytes 95-99/100", 95, 5},
      {"bytes=95-500", 206, "bytes 95-99/100", 95, 5},
      {"bytes=0-0", 206, "bytes 0-0/100", 0, 1},
      {"bytes=100-", 416, "bytes */100", 0, 0},
      {"bytes=abc", 200, "", 0, 100},      // malformed: the whole file
      {"bytes=0-1,5-6", 200, "", 0, 100},  // several ranges: the whole file
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.range);
    auto response =
        RawHttpClient::fetch(server.port(), "/data.bin", std::string("Range: ") + c.range + "\r\n");
    ASSERT_TRUE(response);
    EXPECT_EQ(response->status, c.status);
    EXPECT_EQ(response->header("content-range"), c.contentRange);
    if (c.status != 416) {
      EXPECT_EQ(response->body, body_.substr(c.first, c.length));
    }
  }
}

TEST_F(HttpServerTest, ConnectionsPersistUnlessTheClientAsksToClose) {
  HttpServer server(dir_.path());
  RawHttpClient client(server.port());
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(client.sendRequest("GET", "/data.bin"));
    auto response = client.readResponse(5s);
    ASSERT_TRUE(response);
    EXPECT_EQ(response->header("connection"), "keep-alive");
  }
  ASSERT_TRUE(client.sendRequest("GET", "/data.bin", "Connection: close\r\n"));
  auto last = client.readResponse(5s);
  ASSERT_TRUE(last);
  EXPECT_EQ(last->header("connection"), "close");
  EXPECT_EQ(client.waitForClose(5s), 0);
  EXPECT_EQ(server.connectionCount(), 1);
  EXPECT_EQ(server.totalRequestCount(), 4);
}

TEST_F(HttpServerTest, UrlsNameFilesUnderTheRoot) {
  HttpServer server(dir_.path());
  const std::string base = "http://127.0.0.1:" + std::to_string(server.port());
  EXPECT_EQ(server.url(dir_.file("hls/master.m3u8")), base + "/hls/master.m3u8");
  EXPECT_EQ(server.url("hls/master.m3u8"), base + "/hls/master.m3u8");
  EXPECT_EQ(server.url("/hls/master.m3u8"), base + "/hls/master.m3u8");
  EXPECT_EQ(server.url("with space.ts"), base + "/with%20space.ts");
  EXPECT_EQ(server.requestPath(base + "/with%20space.ts?x=1"), "/with space.ts");
}

TEST_F(HttpServerTest, RecordsRequestHeadersForTheTestToInspect) {
  HttpServer server(dir_.path());
  std::thread client(
      [&] { RawHttpClient::fetch(server.port(), "/data.bin", "X-Player-Token: abc 123\r\n"); });
  ASSERT_TRUE(server.waitForRequests("data.bin", 1, 10s));
  client.join();
  std::vector<HttpRequestRecord> log = server.requests();
  ASSERT_EQ(log.size(), 1u);
  EXPECT_EQ(log[0].method, "GET");
  EXPECT_EQ(log[0].path, "/data.bin");
  EXPECT_EQ(log[0].header("x-player-token"), "abc 123");
  server.resetCounters();
  EXPECT_EQ(server.totalRequestCount(), 0);
  EXPECT_TRUE(server.requests().empty());
}

TEST_F(HttpServerTest, PausedServerHoldsRequestsUntilResumed) {
  HttpServer server(dir_.path());
  server.setPaused(true);
  RawHttpClient client(server.port());
  ASSERT_TRUE(client.sendRequest("GET", "/data.bin"));
  ASSERT_TRUE(server.waitForStalled(1, 10s));
  EXPECT_FALSE(client.readable()) << "a paused server must not answer";
  EXPECT_EQ(server.requestCount("data.bin"), 1);

  server.setPaused(false);
  auto response = client.readResponse(10s);
  ASSERT_TRUE(response);
  EXPECT_EQ(response->status, 200);
  EXPECT_EQ(response->body, body_);
  EXPECT_EQ(server.stalledCount(), 0);
}

TEST_F(HttpServerTest, PauseCapEndsAHangingRequestWithoutAResponse) {
  HttpServer::Options options;
  options.pauseCap = 100ms;
  HttpServer server(dir_.path(), options);
  server.setPaused(true);
  RawHttpClient client(server.port());
  ASSERT_TRUE(client.sendRequest("GET", "/data.bin"));
  EXPECT_FALSE(client.readResponse(10s));  // closed without a byte
  EXPECT_EQ(server.requests().at(0).status, 0);
}

TEST_F(HttpServerTest, PauseStallsATransferInProgress) {
  HttpServer server(dir_.path());
  server.setBytesPerSecond(512 * 1024);  // slow enough to pause mid-body
  RawHttpClient client(server.port());
  ASSERT_TRUE(client.sendRequest("GET", "/big.bin"));
  auto head = client.readResponse(10s, /*head=*/true);
  ASSERT_TRUE(head);
  ASSERT_EQ(head->header("content-length"), std::to_string(4 * 1024 * 1024));
  std::string received = client.readSome(64 * 1024, 10s);
  ASSERT_EQ(received.size(), 64u * 1024);

  server.setPaused(true);
  ASSERT_TRUE(server.waitForStalled(1, 10s)) << "the transfer did not stop at the pause";
  server.setBytesPerSecond(0);
  server.setPaused(false);
  received += client.readSome(4 * 1024 * 1024 - received.size(), 30s);
  EXPECT_EQ(received, numberedBytes(4 * 1024 * 1024));
}

TEST_F(HttpServerTest, RateLimitPacesTheBody) {
  HttpServer server(dir_.path());
  server.setBytesPerSecond(1000 * 1000);
  const auto start = std::chrono::steady_clock::now();
  RawHttpClient client(server.port());
  ASSERT_TRUE(client.sendRequest("GET", "/big.bin", "Range: bytes=0-299999\r\n"));
  auto response = client.readResponse(30s);
  ASSERT_TRUE(response);
  EXPECT_EQ(response->body.size(), 300000u);
  // 300 kB at 1 MB/s cannot arrive in less than about 0.3 s.
  EXPECT_GE(std::chrono::steady_clock::now() - start, 250ms);
}

TEST_F(HttpServerTest, RefusingClosesThePortAndReopensTheSameOne) {
  HttpServer server(dir_.path());
  const uint16_t port = server.port();
  server.setRefuseConnections(true);
  RawHttpClient refused(port);
  EXPECT_FALSE(refused.connected());
  EXPECT_EQ(refused.connectError(), ECONNREFUSED);

  server.setRefuseConnections(false);
  EXPECT_EQ(server.port(), port);
  auto response = RawHttpClient::fetch(port, "/data.bin");
  ASSERT_TRUE(response);
  EXPECT_EQ(response->status, 200);
}

TEST_F(HttpServerTest, DropConnectionsResetsOpenConnections) {
  HttpServer server(dir_.path());
  RawHttpClient idle(server.port());
  ASSERT_TRUE(idle.sendRequest("GET", "/data.bin"));
  ASSERT_TRUE(idle.readResponse(5s));
  server.setPaused(true);
  RawHttpClient hanging(server.port());
  ASSERT_TRUE(hanging.sendRequest("GET", "/data.bin"));
  ASSERT_TRUE(server.waitForStalled(1, 10s));

  server.dropConnections();
  EXPECT_EQ(idle.waitForClose(10s), ECONNRESET);
  EXPECT_EQ(hanging.waitForClose(10s), ECONNRESET);
  // The server itself keeps serving.
  server.setPaused(false);
  EXPECT_EQ(RawHttpClient::fetch(server.port(), "/data.bin")->status, 200);
}

TEST_F(HttpServerTest, StopEndsHangingAndIdleClientsPromptly) {
  HttpServer server(dir_.path());
  RawHttpClient idle(server.port());
  ASSERT_TRUE(idle.sendRequest("GET", "/data.bin"));
  ASSERT_TRUE(idle.readResponse(5s));

  server.setBytesPerSecond(64 * 1024);
  RawHttpClient transferring(server.port());
  ASSERT_TRUE(transferring.sendRequest("GET", "/big.bin"));
  ASSERT_TRUE(transferring.readResponse(10s, /*head=*/true));

  server.setPaused(true);
  std::vector<std::unique_ptr<RawHttpClient>> hanging;
  for (int i = 0; i < 3; ++i) {
    hanging.push_back(std::make_unique<RawHttpClient>(server.port()));
    ASSERT_TRUE(hanging.back()->sendRequest("GET", "/data.bin"));
  }
  ASSERT_TRUE(server.waitForStalled(4, 10s));

  const auto start = std::chrono::steady_clock::now();
  server.stop();
  // Every thread is joined when stop() returns; none waited for a timeout.
  EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
  EXPECT_EQ(server.openConnectionCount(), 0);
  EXPECT_GE(idle.waitForClose(5s), 0);
  for (auto& client : hanging) EXPECT_GE(client->waitForClose(5s), 0);
  EXPECT_GE(transferring.waitForClose(5s), 0);
  RawHttpClient late(server.port());
  EXPECT_FALSE(late.connected());
  server.stop();  // again: nothing happens
}

TEST_F(HttpServerTest, ConnectionsBeyondTheLimitAreTurnedAway) {
  HttpServer::Options options;
  options.maxConnections = 2;
  HttpServer server(dir_.path(), options);
  RawHttpClient first(server.port());
  RawHttpClient second(server.port());
  ASSERT_TRUE(first.sendRequest("GET", "/data.bin"));
  ASSERT_TRUE(second.sendRequest("GET", "/data.bin"));
  ASSERT_TRUE(first.readResponse(5s));
  ASSERT_TRUE(second.readResponse(5s));
  auto third = RawHttpClient::fetch(server.port(), "/data.bin");
  ASSERT_TRUE(third);
  EXPECT_EQ(third->status, 503);
}

TEST_F(HttpServerTest, ServesManyClientsAtOnce) {
  HttpServer server(dir_.path());
  std::atomic<int> good{0};
  std::vector<std::thread> clients;
  for (int t = 0; t < 8; ++t) {
    clients.emplace_back([&] {
      RawHttpClient client(server.port());
      for (int i = 0; i < 20; ++i) {
        if (!client.sendRequest("GET", "/data.bin")) return;
        auto response = client.readResponse(10s);
        if (response && response->status == 200 && response->body == body_) ++good;
      }
    });
  }
  for (auto& client : clients) client.join();
  EXPECT_EQ(good.load(), 160);
  EXPECT_EQ(server.requestCount("data.bin"), 160);
  EXPECT_EQ(server.connectionCount(), 8);
}

}  // namespace
}  // namespace zent::test
