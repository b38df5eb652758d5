#include "support/http_request.h"

#include <gtest/gtest.h>

namespace zent::test {
namespace {

TEST(HttpRequestParse, ReadsRequestLineHeadersAndDecodedPath) {
  auto request = parseHttpRequest(
      "GET /a%20b/seg_001.ts?token=x HTTP/1.1\r\nHost: 127.0.0.1\r\nRange:  bytes=0-99 \r\n"
      "Connection: close");
  ASSERT_TRUE(request);
  EXPECT_EQ(request->method, "GET");
  EXPECT_EQ(request->target, "/a%20b/seg_001.ts?token=x");
  EXPECT_EQ(request->path, "/a b/seg_001.ts");
  EXPECT_EQ(request->header("range"), "bytes=0-99");
  EXPECT_EQ(request->header("Absent"), "");
  EXPECT_FALSE(request->keepAlive());
}

TEST(HttpRequestParse, KeepAliveFollowsTheProtocolVersion) {
  EXPECT_TRUE(parseHttpRequest("GET / HTTP/1.1\r\nHost: x")->keepAlive());
  EXPECT_FALSE(parseHttpRequest("GET / HTTP/1.0\r\nHost: x")->keepAlive());
  EXPECT_TRUE(parseHttpRequest("GET / HTTP/1.0\r\nConnection: Keep-Alive")->keepAlive());
}

TEST(HttpRequestParse, AcceptsAbsoluteFormTargets) {
  auto request = parseHttpRequest("GET http://127.0.0.1:8080/x/y.m3u8 HTTP/1.1\r\nHost: a");
  ASSERT_TRUE(request);
  EXPECT_EQ(request->path, "/x/y.m3u8");
}

TEST(HttpRequestParse, RejectsMalformedHeads) {
  EXPECT_FALSE(parseHttpRequest(""));
  EXPECT_FALSE(parseHttpRequest("GET /"));
  EXPECT_FALSE(parseHttpRequest("GET / HTTP/2"));
  EXPECT_FALSE(parseHttpRequest("GET relative HTTP/1.1"));
  EXPECT_FALSE(parseHttpRequest("GET /%zz HTTP/1.1"));
  EXPECT_FALSE(parseHttpRequest("GET /%00 HTTP/1.1"));
  EXPECT_FALSE(parseHttpRequest("GET / HTTP/1.1\r\nno colon here"));
}

TEST(HttpRange, ResolvesAgainstTheFileSize) {
  ByteRange range;
  EXPECT_EQ(parseRange("bytes=0-0", 10, &range), RangeResult::Satisfiable);
  EXPECT_EQ(range.first, 0u);
  EXPECT_EQ(range.last, 0u);
  EXPECT_EQ(parseRange("bytes=-3", 10, &range), RangeResult::Satisfiable);
  EXPECT_EQ(range.first, 7u);
  EXPECT_EQ(range.last, 9u);
  EXPECT_EQ(parseRange("bytes=-30", 10, &range), RangeResult::Satisfiable);
  EXPECT_EQ(range.first, 0u);
  EXPECT_EQ(parseRange("bytes=4-", 10, &range), RangeResult::Satisfiable);
  EXPECT_EQ(range.last, 9u);
  EXPECT_EQ(parseRange("bytes=10-", 10, &range), RangeResult::Unsatisfiable);
  EXPECT_EQ(parseRange("bytes=-0", 10, &range), RangeResult::Unsatisfiable);
  EXPECT_EQ(parseRange("bytes=0-", 0, &range), RangeResult::Unsatisfiable);
  EXPECT_EQ(parseRange("bytes=5-2", 10, &range), RangeResult::None);
  EXPECT_EQ(parseRange("items=0-1", 10, &range), RangeResult::None);
  EXPECT_EQ(parseRange("bytes=1-2,4-5", 10, &range), RangeResult::None);
  EXPECT_EQ(parseRange("bytes=x-", 10, &range), RangeResult::None);
}

TEST(HttpContentType, FollowsTheExtension) {
  EXPECT_EQ(contentTypeFor("/a/master.m3u8"), "application/vnd.apple.mpegurl");
  EXPECT_EQ(contentTypeFor("/manifest.mpd"), "application/dash+xml");
  EXPECT_EQ(contentTypeFor("/clip.MP4"), "video/mp4");
  EXPECT_EQ(contentTypeFor("/chunk-0-00001.m4s"), "video/iso.segment");
  EXPECT_EQ(contentTypeFor("/seg_000.ts"), "video/mp2t");
  EXPECT_EQ(contentTypeFor("/seg_000.vtt"), "text/vtt");
  EXPECT_EQ(contentTypeFor("/subs.srt"), "application/x-subrip");
  EXPECT_EQ(contentTypeFor("/audio.aac"), "audio/aac");
  EXPECT_EQ(contentTypeFor("/dir.d/noextension"), "application/octet-stream");
}

}  // namespace
}  // namespace zent::test
