#pragma once

#include <gst/gst.h>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/gst/teardown_worker.h"
#include "platform/manifest/hls_media_playlist.h"
#include "platform/manifest/manifest_info.h"

namespace zent {

// What an HLS item's playlists say beyond what the demuxer tells the pipeline:
// the rendition names (EXT-X-MEDIA NAME, which hlsdemux2 does not put in its
// stream tags) and the program date-times of the media playlist (the first video
// variant's, when the URL is a master playlist). Read once, when loading starts,
// on a worker thread of its own; until then, and for content without them,
// there is nothing to tell.
class HlsManifestSnapshot {
 public:
  // done() runs on the worker thread once the playlists have been read (or could
  // not be); it must not block.
  HlsManifestSnapshot(std::string url, std::shared_ptr<TeardownWorker> teardown,
                      std::function<void()> done);
  // Cancels a read still under way; the worker is joined on the teardown thread,
  // so releasing an item never waits for the network.
  ~HlsManifestSnapshot();
  HlsManifestSnapshot(const HlsManifestSnapshot&) = delete;
  HlsManifestSnapshot& operator=(const HlsManifestSnapshot&) = delete;

  bool finished() const;

  // Seconds since 1970 of the media position, counted from the playlist's first
  // segment as the HLS demuxer counts it.
  std::optional<double> dateAt(double positionSeconds) const;

  // The manifest's rendition behind a stream of the engine's collection: the one
  // whose NAME the demuxer's stream id carries ("audio-<NAME>", "text-<NAME>").
  // Never by place: renditions the demuxer merged or left out would shift it.
  std::optional<RenditionInfo> renditionFor(GstStreamType type, const std::string& streamId) const;

  // The CLOSED-CAPTIONS renditions carried in the video, one per INSTREAM-ID
  // (the same rendition is often declared once per variant group), in order.
  std::vector<RenditionInfo> closedCaptionRenditions() const;

  // True when the URL names an HLS playlist (.m3u8 / .m3u path, any query).
  static bool looksLikeHls(const std::string& url);

 private:
  struct Shared {
    std::atomic<bool> cancel{false};
    mutable std::mutex mutex;
    bool finished = false;
    std::vector<RenditionInfo> renditions;
    std::optional<MediaPlaylist> playlist;
  };
  static void read(const std::shared_ptr<Shared>& shared, const std::string& url);

  const std::shared_ptr<Shared> shared_ = std::make_shared<Shared>();
  const std::shared_ptr<TeardownWorker> teardown_;
  std::thread worker_;
};

}  // namespace zent
