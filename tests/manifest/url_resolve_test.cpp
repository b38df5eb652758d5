#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "support/text_fetcher.h"

namespace zent {
namespace {

// RFC 3986, 5.4.1 and 5.4.2: every normal and abnormal example.
TEST(ResolveUrl, Rfc3986Examples) {
  const std::string base = "http://a/b/c/d;p?q";
  const std::pair<const char*, const char*> examples[] = {
      {"g:h", "g:h"},
      {"g", "http://a/b/c/g"},
      {"./g", "http://a/b/c/g"},
      {"g/", "http://a/b/c/g/"},
      {"/g", "http://a/g"},
      {"//g", "http://g"},
      {"?y", "http://a/b/c/d;p?y"},
      {"g?y", "http://a/b/c/g?y"},
      {"#s", "http://a/b/c/d;p?q#s"},
      {"g#s", "http://a/b/c/g#s"},
      {"g?y#s", "http://a/b/c/g?y#s"},
      {";x", "http://a/b/c/;x"},
      {"g;x", "http://a/b/c/g;x"},
      {"g;x?y#s", "http://a/b/c/g;x?y#s"},
      {"", "http://a/b/c/d;p?q"},
      {".", "http://a/b/c/"},
      {"./", "http://a/b/c/"},
      {"..", "http://a/b/"},
      {"../", "http://a/b/"},
      {"../g", "http://a/b/g"},
      {"../..", "http://a/"},
      {"../../", "http://a/"},
      {"../../g", "http://a/g"},
      {"../../../g", "http://a/g"},
      {"../../../../g", "http://a/g"},
      {"/./g", "http://a/g"},
      {"/../g", "http://a/g"},
      {"g.", "http://a/b/c/g."},
      {".g", "http://a/b/c/.g"},
      {"g..", "http://a/b/c/g.."},
      {"..g", "http://a/b/c/..g"},
      {"./../g", "http://a/b/g"},
      {"./g/.", "http://a/b/c/g/"},
      {"g/./h", "http://a/b/c/g/h"},
      {"g/../h", "http://a/b/c/h"},
      {"g;x=1/./y", "http://a/b/c/g;x=1/y"},
      {"g;x=1/../y", "http://a/b/c/y"},
      {"g?y/./x", "http://a/b/c/g?y/./x"},
      {"g?y/../x", "http://a/b/c/g?y/../x"},
      {"g#s/./x", "http://a/b/c/g#s/./x"},
      {"g#s/../x", "http://a/b/c/g#s/../x"},
      {"http:g", "http:g"},
  };
  for (const auto& [reference, expected] : examples) {
    EXPECT_EQ(resolveUrl(base, reference), expected) << "reference \"" << reference << "\"";
  }
}

TEST(ResolveUrl, ManifestShapedReferences) {
  EXPECT_EQ(resolveUrl("https://cdn.example.com:8443/live/master.m3u8?sig=1", "v1/index.m3u8"),
            "https://cdn.example.com:8443/live/v1/index.m3u8");
  EXPECT_EQ(resolveUrl("https://cdn.example.com/live/", "seg.ts"),
            "https://cdn.example.com/live/seg.ts");
  EXPECT_EQ(resolveUrl("http://host", "a.m3u8"), "http://host/a.m3u8");
  EXPECT_EQ(resolveUrl("https://x.example/a/b.mpd", "//y.example/c.mp4"),
            "https://y.example/c.mp4");
  EXPECT_EQ(resolveUrl("file:///srv/hls/master.m3u8", "../media/v.m3u8"),
            "file:///srv/media/v.m3u8");
}

TEST(ResolveUrl, LocalPathBases) {
  EXPECT_EQ(resolveUrl("/srv/hls/master.m3u8", "v1/index.m3u8"), "/srv/hls/v1/index.m3u8");
  EXPECT_EQ(resolveUrl("/srv/hls/master.m3u8", "../x/./v.m3u8"), "/srv/x/v.m3u8");
  EXPECT_EQ(resolveUrl("/srv/hls/master.m3u8", "/abs/v.m3u8"), "/abs/v.m3u8");
  EXPECT_EQ(resolveUrl("media/master.m3u8", "../v.m3u8"), "v.m3u8");
  EXPECT_EQ(resolveUrl("master.m3u8", "v.m3u8"), "v.m3u8");
  EXPECT_EQ(resolveUrl("/srv/hls/master.m3u8", "http://h/v.m3u8"), "http://h/v.m3u8");
  EXPECT_EQ(resolveUrl("", "v.m3u8"), "v.m3u8");
}

}  // namespace
}  // namespace zent
