#include "support/live_hls_playlist.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "support/file_util.h"
#include "support/media_cache.h"

namespace fs = std::filesystem;

namespace zent::test {
namespace {

std::string freshServedDir() {
  static std::atomic<int> counter{0};
  fs::path dir = fs::path(mediaCacheDir()) / "live" /
                 (std::to_string(getpid()) + "-" + std::to_string(counter.fetch_add(1)));
  std::error_code ec;
  fs::remove_all(dir, ec);  // left by an earlier process with the same id
  return dir.string();
}

std::string segmentName(int64_t number) {
  return "s" + std::to_string(number) + ".ts";
}

}  // namespace

LiveHlsPlaylist::LiveHlsPlaylist(std::string segmentsDir, std::string servedDir,
                                 LiveHlsOptions options)
    : segmentsDir_(std::move(segmentsDir)), servedDir_(std::move(servedDir)), options_(options) {
  source_ = parseMediaSegments(readFile(segmentsDir_ + "/index.m3u8"));
  if (source_.empty()) throw std::runtime_error("no segments listed in " + segmentsDir_);
  if (options_.windowSegments < 1) throw std::invalid_argument("windowSegments must be >= 1");
  for (const HlsSegment& segment : source_) {
    targetDuration_ = std::max(targetDuration_, static_cast<int>(std::lround(segment.duration)));
  }
  if (servedDir_.empty()) {
    servedDir_ = freshServedDir();
    ownsServedDir_ = true;
  }
  fs::create_directories(servedDir_);
}

LiveHlsPlaylist::~LiveHlsPlaylist() {
  stop();
  if (ownsServedDir_) {
    std::error_code ec;
    fs::remove_all(servedDir_, ec);
  }
}

void LiveHlsPlaylist::start() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (last_ < 0) {
      last_ = options_.windowSegments - 1;
      publishLocked();
    }
    if (!options_.autoAdvance || clock_.joinable()) return;
    stopping_ = false;
  }
  clock_ = std::thread([this] { clockLoop(); });
}

void LiveHlsPlaylist::stop() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
  }
  changed_.notify_all();
  if (clock_.joinable()) clock_.join();
}

void LiveHlsPlaylist::advance() {
  std::lock_guard<std::mutex> lock(mutex_);
  ++last_;
  publishLocked();
}

std::string LiveHlsPlaylist::playlistPath() const {
  return servedDir_ + "/" + options_.playlistName;
}

int64_t LiveHlsPlaylist::mediaSequence() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return std::max<int64_t>(0, last_ - options_.windowSegments + 1);
}

int64_t LiveHlsPlaylist::lastSegment() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return last_;
}

void LiveHlsPlaylist::publishLocked() {
  const int64_t count = static_cast<int64_t>(source_.size());
  const int64_t first = std::max<int64_t>(0, last_ - options_.windowSegments + 1);

  // Start time of segment k, for the program date-time: whole passes through
  // the source plus the durations before k's place in it.
  double cycle = 0;
  for (const HlsSegment& segment : source_) cycle += segment.duration;
  auto startOf = [&](int64_t k) {
    double at = static_cast<double>(k / count) * cycle;
    for (int64_t i = 0; i < k % count; ++i) at += source_[static_cast<size_t>(i)].duration;
    return at;
  };

  std::ostringstream text;
  text << "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:" << targetDuration_
       << "\n#EXT-X-MEDIA-SEQUENCE:" << first << "\n#EXT-X-DISCONTINUITY-SEQUENCE:" << first / count
       << "\n";
  for (int64_t k = first; k <= last_; ++k) {
    const HlsSegment& segment = source_[static_cast<size_t>(k % count)];
    const std::string name = segmentName(k);
    const std::string link = servedDir_ + "/" + name;
    std::error_code ec;
    if (!fs::exists(link, ec)) linkOrCopy(segmentsDir_ + "/" + segment.uri, link);
    // The source starts over: its timestamps jump back.
    if (k > first && k % count == 0) text << "#EXT-X-DISCONTINUITY\n";
    if (options_.programDateTimeStartMs) {
      text << "#EXT-X-PROGRAM-DATE-TIME:"
           << iso8601Utc(*options_.programDateTimeStartMs + std::llround(startOf(k) * 1000))
           << "\n";
    }
    char extinf[48];
    std::snprintf(extinf, sizeof extinf, "#EXTINF:%.6f,\n", segment.duration);
    text << extinf << name << "\n";
  }
  writeFileAtomically(playlistPath(), text.str());
  changed_.notify_all();
}

void LiveHlsPlaylist::clockLoop() {
  std::unique_lock<std::mutex> lock(mutex_);
  auto tick = std::chrono::steady_clock::now();
  while (!stopping_) {
    // The next segment becomes available once its own duration has elapsed.
    const HlsSegment& next = source_[static_cast<size_t>((last_ + 1) % source_.size())];
    tick += std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::chrono::duration<double>(next.duration));
    if (changed_.wait_until(lock, tick, [this] { return stopping_; })) break;
    ++last_;
    publishLocked();
  }
}

}  // namespace zent::test
