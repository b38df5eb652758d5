// The video texture handed to the host once per rendered frame.
#include "player/zent_player.h"
#include "render/gl_texture_backend.h"
#include "render/texture_renderer.h"
#include "support/invariant.h"
#include "support/logger.h"

namespace zent {

std::shared_ptr<TextureRenderer> ZentPlayer::makeRenderer() {
  return std::make_shared<TextureRenderer>([] { return makeGlTextureBackend(); });
}

uintptr_t ZentPlayer::getTexture() {
  LibraryLock lock(mutex_);
  // Only a playing player hands out frames; a paused one answers null.
  if (!initialized || playerStatus_ != ZentPlayerStatus::PLAY || !renderManager) return 0;
  if (!avPlayer || !avPlayerItem || !output) {
    return brokenInvariant(playerLine(playerIndex_, " | getTexture"),
                           "the player has no item or video output", uintptr_t{0});
  }
  return renderManager->getTexture(avPlayer->currentTimeSeconds(), *avPlayerItem, output, *engine_);
}

void ZentPlayer::cleanVideoTexture() {
  LibraryLock lock(mutex_);
  if (renderManager) renderManager->cleanVideoTexture();
}

}  // namespace zent
