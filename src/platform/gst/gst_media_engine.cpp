// makeGstMediaEngine: the MediaEngine of this platform, on GStreamer.

#include "platform/gst/gst_media_player.h"
#include "platform/gst/gst_player_item.h"
#include "platform/gst/gst_runtime.h"
#include "platform/gst/teardown_worker.h"
#include "player/media_player.h"
#include "support/logger.h"

namespace zent {
namespace {

class GstMediaEngine final : public MediaEngine {
 public:
  GstMediaEngine() : teardown_(TeardownWorker::acquire()) {}

  std::shared_ptr<PlayerItem> makeItem(const std::string& url) override {
    ensureGstreamer();
    return GstPlayerItem::create(url, teardown_);
  }

  std::shared_ptr<MediaPlayer> makePlayer(std::shared_ptr<PlayerItem> item) override {
    auto ours = std::dynamic_pointer_cast<GstPlayerItem>(item);
    if (!ours) {
      Logger::log(LogLevel::ERROR, "Media engine: cannot play an item not made by this engine");
      return nullptr;
    }
    return std::make_shared<GstMediaPlayer>(std::move(ours));
  }

  std::shared_ptr<VideoOutput> makeVideoOutput() override {
    return std::make_shared<GstVideoOutput>();
  }

  std::shared_ptr<MetadataOutput> makeMetadataOutput(MetadataOutput::Sink sink) override {
    return std::make_shared<GstMetadataOutput>(std::move(sink));
  }

  std::shared_ptr<LegibleOutput> makeLegibleOutput(LegibleOutput::Sink sink) override {
    return std::make_shared<GstLegibleOutput>(std::move(sink));
  }

 private:
  const std::shared_ptr<TeardownWorker> teardown_;
};

}  // namespace

std::shared_ptr<MediaEngine> makeGstMediaEngine() {
  ensureGstreamer();
  return std::make_shared<GstMediaEngine>();
}

}  // namespace zent
