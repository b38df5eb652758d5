#include "support/live_hls_playlist.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

#include "support/file_util.h"
#include "support/scoped_temp_dir.h"

namespace fs = std::filesystem;

namespace zent::test {
namespace {

using namespace std::chrono_literals;

// Three tiny stand-in segments of `seconds` each; the playlist logic does not
// look inside them.
std::string writeSource(const ScopedTempDir& dir, double seconds) {
  std::string index = "#EXTM3U\n#EXT-X-TARGETDURATION:1\n";
  for (int i = 0; i < 3; ++i) {
    std::string name = "seg_0000" + std::to_string(i) + ".ts";
    dir.write("source/" + name, "segment " + std::to_string(i));
    index += "#EXTINF:" + std::to_string(seconds) + ",\n" + name + "\n";
  }
  index += "#EXT-X-ENDLIST\n";
  dir.write("source/index.m3u8", index);
  return dir.file("source");
}

TEST(LiveHlsPlaylist, SlidesTheWindowAndMarksTheWrapAsADiscontinuity) {
  ScopedTempDir dir;
  LiveHlsOptions options;
  options.windowSegments = 2;
  options.autoAdvance = false;
  options.programDateTimeStartMs = 1714564800000;  // 2024-05-01T12:00:00Z
  LiveHlsPlaylist live(writeSource(dir, 1.0), dir.file("served"), options);
  live.start();
  EXPECT_EQ(live.playlistText(),
            "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:1\n#EXT-X-MEDIA-SEQUENCE:0\n"
            "#EXT-X-DISCONTINUITY-SEQUENCE:0\n"
            "#EXT-X-PROGRAM-DATE-TIME:2024-05-01T12:00:00.000Z\n#EXTINF:1.000000,\ns0.ts\n"
            "#EXT-X-PROGRAM-DATE-TIME:2024-05-01T12:00:01.000Z\n#EXTINF:1.000000,\ns1.ts\n");
  EXPECT_EQ(readFile(live.playlistPath()), live.playlistText());

  live.advance();
  live.advance();  // window s2, s3; s3 is source segment 0 again
  EXPECT_EQ(live.mediaSequence(), 2);
  EXPECT_EQ(live.lastSegment(), 3);
  EXPECT_EQ(live.playlistText(),
            "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:1\n#EXT-X-MEDIA-SEQUENCE:2\n"
            "#EXT-X-DISCONTINUITY-SEQUENCE:0\n"
            "#EXT-X-PROGRAM-DATE-TIME:2024-05-01T12:00:02.000Z\n#EXTINF:1.000000,\ns2.ts\n"
            "#EXT-X-DISCONTINUITY\n"
            "#EXT-X-PROGRAM-DATE-TIME:2024-05-01T12:00:03.000Z\n#EXTINF:1.000000,\ns3.ts\n");
  EXPECT_EQ(readFile(dir.file("served/s3.ts")), "segment 0");

  live.advance();  // window s3, s4: the discontinuity is now before the window
  EXPECT_NE(live.playlistText().find("#EXT-X-DISCONTINUITY-SEQUENCE:1\n"), std::string::npos);
  EXPECT_EQ(live.playlistText().find("#EXT-X-DISCONTINUITY\n"), std::string::npos);

  live.endStream();
  EXPECT_EQ(live.playlistText().substr(live.playlistText().size() - 15), "#EXT-X-ENDLIST\n");
  EXPECT_EQ(readFile(live.playlistPath()), live.playlistText());
  live.advance();  // an ended stream stays as it is
  EXPECT_EQ(live.lastSegment(), 4);
}

TEST(LiveHlsPlaylist, ClockPublishesOneSegmentPerSegmentDuration) {
  ScopedTempDir dir;
  LiveHlsOptions options;
  options.windowSegments = 3;
  LiveHlsPlaylist live(writeSource(dir, 0.05), dir.file("served"), options);
  const auto start = std::chrono::steady_clock::now();
  live.start();
  ASSERT_TRUE(live.waitForMediaSequence(6, 30s));
  // Six segments of 50 ms cannot be published in less than 300 ms.
  EXPECT_GE(std::chrono::steady_clock::now() - start, 290ms);
  live.stop();
  const int64_t stopped = live.lastSegment();
  EXPECT_FALSE(live.waitForMediaSequence(stopped, 200ms));
  EXPECT_EQ(live.lastSegment(), stopped);
  EXPECT_EQ(parseMediaSegments(readFile(live.playlistPath())).size(), 3u);
}

TEST(LiveHlsPlaylist, OwnsAServedDirectoryInTheMediaCacheWhenNoneIsGiven) {
  ScopedTempDir dir;
  std::string served;
  {
    LiveHlsOptions options;
    options.autoAdvance = false;
    LiveHlsPlaylist live(writeSource(dir, 1.0), "", options);
    live.start();
    served = live.servedDir();
    EXPECT_TRUE(fs::exists(live.playlistPath()));
  }
  EXPECT_FALSE(fs::exists(served));
}

}  // namespace
}  // namespace zent::test
