// A live HLS stream made from pre-encoded segments: a sliding-window media
// playlist (no EXT-X-ENDLIST, EXT-X-MEDIA-SEQUENCE advancing) rewritten
// atomically in a directory that an HttpServer serves.
#ifndef ZENT_TESTS_SUPPORT_LIVE_HLS_PLAYLIST_H
#define ZENT_TESTS_SUPPORT_LIVE_HLS_PLAYLIST_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "support/hls_text.h"

namespace zent::test {

struct LiveHlsOptions {
  int windowSegments = 6;   // segments listed in each playlist
  bool autoAdvance = true;  // start() runs a clock thread
  std::string playlistName = "live.m3u8";
  // When set, every segment carries EXT-X-PROGRAM-DATE-TIME: this value (ms
  // since 1970, UTC) for segment 0, plus the durations before it.
  std::optional<int64_t> programDateTimeStartMs;
};

class LiveHlsPlaylist {
 public:
  // `segmentsDir` holds the source segments and a VOD "index.m3u8" listing them
  // with their durations (hls_live_segments() makes one). The stream is
  // published in `servedDir`, created when missing; when empty, in a fresh
  // directory under the media cache, removed again by the destructor.
  explicit LiveHlsPlaylist(std::string segmentsDir, std::string servedDir = "",
                           LiveHlsOptions options = {});
  ~LiveHlsPlaylist();  // stops
  LiveHlsPlaylist(const LiveHlsPlaylist&) = delete;
  LiveHlsPlaylist& operator=(const LiveHlsPlaylist&) = delete;

  // Publishes the first window (segments 0 .. window-1) and, with autoAdvance,
  // starts the clock: one more segment every segment duration.
  void start();
  // Stops the clock (joins its thread). The playlist stays as it is.
  void stop();
  // Publishes the next segment now and drops the oldest from the window.
  void advance();

  // The playlist file (absolute path).
  std::string playlistPath() const;

  int64_t mediaSequence() const;  // EXT-X-MEDIA-SEQUENCE now (first listed segment)
  int64_t lastSegment() const;    // number of the newest listed segment, -1 before start()

 private:
  void publishLocked();
  void clockLoop();

  std::string segmentsDir_;
  std::string servedDir_;
  bool ownsServedDir_ = false;
  LiveHlsOptions options_;
  std::vector<HlsSegment> source_;
  int targetDuration_ = 1;

  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  int64_t last_ = -1;
  bool stopping_ = false;
  std::thread clock_;
};

}  // namespace zent::test

#endif
