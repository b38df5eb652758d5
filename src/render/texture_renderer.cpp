#include "render/texture_renderer.h"

#include <cmath>
#include <utility>

#include "support/invariant.h"
#include "support/logger.h"

namespace zent {

TextureRenderer::TextureRenderer(TextureBackendFactory backendFactory)
    : backendFactory_(std::move(backendFactory)) {}

TextureRenderer::~TextureRenderer() = default;

int64_t TextureRenderer::metalInit() {
  curTime_ = 0.0;
  failedFrame_ = 0;
  videoSize = VideoSizeInfo{0, 0};
  nonFiniteTimeReported_ = false;
  retireBackend();
  if (backendFactory_) backend_ = backendFactory_();
  if (!backend_) {
    Logger::log(LogLevel::ERROR, "System does not support OpenGL");
    return 1;
  }
  return 0;
}

void TextureRenderer::release() {
  retireBackend();
  if (videoSize) {
    videoSize->width = 0;
    videoSize->height = 0;
  }
  curTime_ = 0.0;
}

void TextureRenderer::cleanVideoTexture() {
  dropHandle();
}

uintptr_t TextureRenderer::getTexture(double currentTimeSeconds, PlayerItem& item,
                                      std::shared_ptr<VideoOutput>& output, MediaEngine& engine) {
  curTime_ = currentTimeSeconds;
  if (!output)
    return brokenInvariant("getTexture", "the player item has no video output", uintptr_t{0});

  if (output->hasNewPixelBuffer(currentTimeSeconds)) {
    failedFrame_ = 0;
    nonFiniteTimeReported_ = false;
    dropHandle();
    std::shared_ptr<PixelBuffer> frame = output->copyPixelBuffer(currentTimeSeconds);
    if (!frame) return 0;
    if (videoSize) {
      videoSize->width = frame->width();
      videoSize->height = frame->height();
    }
    if (backend_) {
      handle_ = backend_->upload(*frame);
      output->setRgbaWanted(backend_->wantsRgbaFrames());
    }
    return handle_;
  }

  ++failedFrame_;
  if (failedFrame_ >= kStallMisses) {
    if (!std::isfinite(currentTimeSeconds)) {
      // Reported once per stretch of such calls: the host polls every frame.
      if (nonFiniteTimeReported_) return 0;
      nonFiniteTimeReported_ = true;
      return brokenInvariant("getTexture", "the current time is not finite", uintptr_t{0});
    }
    nonFiniteTimeReported_ = false;
    // Whole seconds, truncated toward zero.
    if (std::trunc(currentTimeSeconds) >= kStallMinimumSeconds) {
      replaceStalledOutput(item, output, engine);
    }
  }
  return contextUsable() ? handle_ : 0;
}

void TextureRenderer::replaceStalledOutput(PlayerItem& item, std::shared_ptr<VideoOutput>& output,
                                           MediaEngine& engine) {
  std::shared_ptr<VideoOutput> fresh = engine.makeVideoOutput();
  failedFrame_ = 0;
  if (!fresh) {
    Logger::log(LogLevel::ERROR,
                "getTexture: the video output stalled and the engine could not make a new one");
    return;
  }
  item.removeOutput(output);
  output = fresh;
  item.addOutput(std::move(fresh));
}

bool TextureRenderer::contextUsable() {
  if (backend_) return backend_->contextReady();
  if (!retired_.empty()) return retired_.back()->contextReady();
  return true;
}

void TextureRenderer::dropHandle() {
  handle_ = 0;
  // The handle was the last thing an earlier stream's backend was kept for.
  retired_.clear();
}

void TextureRenderer::retireBackend() {
  if (backend_) retired_.push_back(std::move(backend_));
}

}  // namespace zent
