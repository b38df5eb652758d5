// A live HLS stream made from pre-encoded segments: a sliding-window media
// playlist (no EXT-X-ENDLIST, EXT-X-MEDIA-SEQUENCE advancing) rewritten
// atomically, one segment more every segment duration, under the media cache.
#ifndef ZENT_TESTS_SUPPORT_LIVE_HLS_PLAYLIST_H
#define ZENT_TESTS_SUPPORT_LIVE_HLS_PLAYLIST_H

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace zent::test {

struct HlsSegment {
  double duration = 0;  // EXTINF
  std::string uri;      // as written in the playlist
};

// The segments of a media playlist, in order.
std::vector<HlsSegment> parseMediaSegments(const std::string& playlist);

class LiveHlsPlaylist {
 public:
  // `segmentsDir` holds the source segments and a VOD "index.m3u8" listing them
  // (hls_live_segments() makes one); each playlist lists `windowSegments`.
  explicit LiveHlsPlaylist(std::string segmentsDir, int windowSegments = 6);
  ~LiveHlsPlaylist();  // stops the clock, removes the served directory
  LiveHlsPlaylist(const LiveHlsPlaylist&) = delete;
  LiveHlsPlaylist& operator=(const LiveHlsPlaylist&) = delete;

  void start();  // publishes the first window and starts the clock
  std::string playlistPath() const;

 private:
  void publishLocked();

  std::string segmentsDir_;
  std::string servedDir_;
  int window_;
  std::vector<HlsSegment> source_;
  std::mutex mutex_;
  std::condition_variable changed_;
  int64_t last_ = -1;
  bool stopping_ = false;
  std::thread clock_;
};

}  // namespace zent::test

#endif
