#pragma once

#include <memory>

#include "platform/gst/gst_player_item.h"
#include "player/media_player.h"

namespace zent {

// The platform player over one item's pipeline. Making it attaches the item:
// the pipeline goes to PAUSED and loading starts, at rate 0. play() plays at the
// normal rate (or at a rate set while paused), setRate() while playing changes
// the rate at once with a seek that keeps the position.
class GstMediaPlayer final : public MediaPlayer {
 public:
  explicit GstMediaPlayer(std::shared_ptr<GstPlayerItem> item);

  std::shared_ptr<PlayerItem> currentItem() const override { return item_; }
  void play() override { item_->play(); }
  void pause() override { item_->pause(); }
  void setRate(float rate) override { item_->setRate(rate); }
  float rate() const override { return item_->rate(); }
  void seek(int64_t milliseconds, bool exact) override { item_->seek(milliseconds, exact); }
  void setVolume(float volume) override { item_->setVolume(volume); }
  void setMuted(bool muted) override { item_->setMuted(muted); }
  double currentTimeSeconds() const override { return item_->currentTimeSeconds(); }

 private:
  const std::shared_ptr<GstPlayerItem> item_;
};

}  // namespace zent
