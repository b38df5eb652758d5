#include "support/live_hls_playlist.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <filesystem>
#include <sstream>

#include "support/files.h"
#include "support/media_cache.h"

namespace fs = std::filesystem;

namespace zent::test {

std::vector<HlsSegment> parseMediaSegments(const std::string& playlist) {
  std::vector<HlsSegment> segments;
  std::istringstream lines(playlist);
  double duration = -1;
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.rfind("#EXTINF:", 0) == 0) {
      duration = std::stod(line.substr(8));
    } else if (!line.empty() && line[0] != '#' && duration >= 0) {
      segments.push_back({duration, line});
      duration = -1;
    }
  }
  return segments;
}

LiveHlsPlaylist::LiveHlsPlaylist(std::string segmentsDir, int windowSegments)
    : segmentsDir_(std::move(segmentsDir)), window_(windowSegments) {
  static std::atomic<int> counter{0};
  source_ = parseMediaSegments(readFile(segmentsDir_ + "/index.m3u8"));
  servedDir_ = mediaCacheDir() + "/live/" + std::to_string(getpid()) + "-" +
               std::to_string(counter.fetch_add(1));
  fs::remove_all(servedDir_);  // left by an earlier process with the same id
  fs::create_directories(servedDir_);
}

LiveHlsPlaylist::~LiveHlsPlaylist() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
  }
  changed_.notify_all();
  if (clock_.joinable()) clock_.join();
  std::error_code ec;
  fs::remove_all(servedDir_, ec);
}

void LiveHlsPlaylist::start() {
  std::lock_guard<std::mutex> lock(mutex_);
  last_ = window_ - 1;
  publishLocked();
  clock_ = std::thread([this] {
    std::unique_lock<std::mutex> lock(mutex_);
    for (auto tick = std::chrono::steady_clock::now();;) {
      // The next segment becomes available once its own duration has elapsed.
      tick += std::chrono::duration_cast<std::chrono::steady_clock::duration>(
          std::chrono::duration<double>(source_[(last_ + 1) % source_.size()].duration));
      if (changed_.wait_until(lock, tick, [this] { return stopping_; })) return;
      ++last_;
      publishLocked();
    }
  });
}

std::string LiveHlsPlaylist::playlistPath() const {
  return servedDir_ + "/live.m3u8";
}

void LiveHlsPlaylist::publishLocked() {
  const auto count = static_cast<int64_t>(source_.size());
  const int64_t first = std::max<int64_t>(0, last_ - window_ + 1);
  int target = 1;
  for (const HlsSegment& segment : source_) {
    target = std::max(target, static_cast<int>(std::lround(segment.duration)));
  }
  std::ostringstream text;
  text << "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:" << target
       << "\n#EXT-X-MEDIA-SEQUENCE:" << first << "\n#EXT-X-DISCONTINUITY-SEQUENCE:" << first / count
       << "\n";
  for (int64_t k = first; k <= last_; ++k) {
    const HlsSegment& segment = source_[static_cast<size_t>(k % count)];
    const std::string name = "s" + std::to_string(k) + ".ts";
    if (!fs::exists(servedDir_ + "/" + name)) {
      linkOrCopy(segmentsDir_ + "/" + segment.uri, servedDir_ + "/" + name);
    }
    // The source starts over: its timestamps jump back.
    if (k > first && k % count == 0) text << "#EXT-X-DISCONTINUITY\n";
    text << "#EXTINF:" << segment.duration << ",\n" << name << "\n";
  }
  // Renamed over the old one: a reader sees the old playlist or the new, never a mix.
  writeFile(playlistPath() + ".tmp", text.str());
  fs::rename(playlistPath() + ".tmp", playlistPath());
}

}  // namespace zent::test
