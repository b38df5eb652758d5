// Line-21 caption channels carried in the video as legible options of an item.
#include <string>

#include "platform/gst/gst_player_item.h"
#include "platform/gst/sink_relay.h"
#include "platform/gst/stream_collection.h"
#include "support/deferred_delivery.h"

namespace zent {
namespace {

// "CC1" to "CC4" as 0 to 3; other services (708 "SERVICEn") are not decoded here.
std::optional<int> channelOfInstreamId(const std::string& id) {
  if (id.size() == 3 && id[0] == 'C' && id[1] == 'C' && id[2] >= '1' && id[2] <= '4') {
    return id[2] - '1';
  }
  return std::nullopt;
}

}  // namespace

std::vector<GstPlayerItem::ClosedCaptionOption> GstPlayerItem::closedCaptionOptions() const {
  std::shared_ptr<HlsManifestSnapshot> manifest;
  {
    LibraryLock lock(stateMutex_);
    manifest = manifest_;
  }
  std::vector<ClosedCaptionOption> options;
  if (manifest) {
    for (const RenditionInfo& rendition : manifest->closedCaptionRenditions()) {
      if (auto channel = channelOfInstreamId(rendition.instreamId)) {
        options.push_back({*channel, {rendition.name, rendition.language, rendition.name}});
      }
    }
    return options;
  }
  unsigned withText = relay_->captionChannelsWithText();
  for (int channel = 0; channel < Cea608Decoder::kChannels; ++channel) {
    if (withText & (1u << channel)) {
      options.push_back({channel, {"CC" + std::to_string(channel + 1), "", ""}});
    }
  }
  return options;
}

bool GstPlayerItem::selectClosedCaptionChannel(std::optional<std::size_t> index) {
  if (!index) return false;  // captions off: the text path clears the screen once
  std::size_t textStreams = 0;
  {
    LibraryLock lock(stateMutex_);
    textStreams = streamsOf(streams_, MediaCharacteristic::Legible).size();
  }
  if (*index < textStreams) {
    relay_->setCaptionChannel(std::nullopt);
    return false;
  }
  std::vector<ClosedCaptionOption> options = closedCaptionOptions();
  if (*index - textStreams >= options.size()) return false;
  relay_->setCaptionsOn(true);
  relay_->setCaptionChannel(options[*index - textStreams].channel);
  return true;
}

}  // namespace zent
