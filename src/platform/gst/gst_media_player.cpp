#include "platform/gst/gst_media_player.h"

namespace zent {

GstMediaPlayer::GstMediaPlayer(std::shared_ptr<GstPlayerItem> item) : item_(std::move(item)) {
  item_->attach();
}

}  // namespace zent
