#include "platform/gst/hls_manifest_snapshot.h"

#include <algorithm>
#include <cctype>

#include "platform/manifest/manifest_reader.h"

namespace zent {
namespace {

bool renditionMatches(const RenditionInfo& rendition, GstStreamType type) {
  if (type & GST_STREAM_TYPE_AUDIO) return rendition.type == RenditionInfo::Type::Audio;
  if (type & GST_STREAM_TYPE_TEXT) return rendition.type == RenditionInfo::Type::Subtitles;
  return false;
}

}  // namespace

HlsManifestSnapshot::HlsManifestSnapshot(std::string url, std::shared_ptr<TeardownWorker> teardown,
                                         std::function<void()> done)
    : teardown_(std::move(teardown)),
      worker_([shared = shared_, url = std::move(url), done = std::move(done)] {
        read(shared, url);
        if (done) done();
      }) {}

HlsManifestSnapshot::~HlsManifestSnapshot() {
  shared_->cancel.store(true);
  if (!worker_.joinable()) return;
  if (finished()) {
    worker_.join();  // at most the tail of the done() callback
  } else {
    teardown_->post(
        [worker = std::make_shared<std::thread>(std::move(worker_))] { worker->join(); });
  }
}

void HlsManifestSnapshot::read(const std::shared_ptr<Shared>& shared, const std::string& url) {
  FetchOptions options;
  options.cancelFlag = &shared->cancel;
  options.auxiliary = true;  // the load's own read and the engine report a failure
  ManifestInfo manifest = readManifest(url, kManifestSelectorHls, options);
  std::optional<MediaPlaylist> playlist;
  if (!shared->cancel.load()) {
    // The demuxer starts with the first variant; its playlist carries the dates.
    std::string playlistUrl = url;
    if (manifest.kind == ManifestInfo::Kind::HlsMaster && !manifest.videoVariants.empty()) {
      playlistUrl = manifest.videoVariants.front().uri;
    }
    if (manifest.kind != ManifestInfo::Kind::Unknown) {
      playlist = readMediaPlaylist(playlistUrl, options);
    }
  }
  std::lock_guard lock(shared->mutex);
  shared->renditions = std::move(manifest.renditions);
  if (playlist && playlist->hasProgramDateTime()) shared->playlist = std::move(playlist);
  shared->finished = true;
}

bool HlsManifestSnapshot::finished() const {
  std::lock_guard lock(shared_->mutex);
  return shared_->finished;
}

std::optional<double> HlsManifestSnapshot::dateAt(double positionSeconds) const {
  std::lock_guard lock(shared_->mutex);
  if (!shared_->playlist) return std::nullopt;
  return programDateAt(*shared_->playlist, positionSeconds);
}

std::vector<RenditionInfo> HlsManifestSnapshot::closedCaptionRenditions() const {
  std::lock_guard lock(shared_->mutex);
  std::vector<RenditionInfo> found;
  for (const auto& rendition : shared_->renditions) {
    if (rendition.type != RenditionInfo::Type::ClosedCaptions) continue;
    bool seen = false;
    for (const auto& known : found) seen = seen || known.instreamId == rendition.instreamId;
    if (!seen) found.push_back(rendition);
  }
  return found;
}

std::optional<RenditionInfo> HlsManifestSnapshot::renditionFor(GstStreamType type,
                                                               const std::string& streamId) const {
  std::lock_guard lock(shared_->mutex);
  const char* prefix = (type & GST_STREAM_TYPE_AUDIO) ? "audio-" : "text-";
  for (const auto& rendition : shared_->renditions) {
    if (renditionMatches(rendition, type) && streamId == prefix + rendition.name) {
      return rendition;
    }
  }
  return std::nullopt;
}

bool HlsManifestSnapshot::looksLikeHls(const std::string& url) {
  std::string path = url.substr(0, url.find_first_of("?#"));
  std::transform(path.begin(), path.end(), path.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  auto endsWith = [&](const std::string& suffix) {
    return path.size() >= suffix.size() &&
           path.compare(path.size() - suffix.size(), suffix.size(), suffix) == 0;
  };
  return endsWith(".m3u8") || endsWith(".m3u");
}

}  // namespace zent
