#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "player/media_player.h"
#include "render/texture_backend.h"
#include "render/video_output.h"
#include "render/video_size_info.h"

namespace zent {

// Makes the graphics backend of one renderer; returns null when the system has no
// usable graphics API. Called from metalInit(), which may run on a thread without a
// current context, so a factory must not touch the graphics API itself.
using TextureBackendFactory = std::function<std::unique_ptr<TextureBackend>()>;

// Turns the frames of a player item's video output into the texture handed to the
// host, keeps the decoded frame size, and replaces a video output that has stalled.
//
// Not synchronised: the owning player serialises every call (its lock). getTexture
// runs on the host's render thread; the others may run on any thread.
class TextureRenderer {
 public:
  // Misses in a row after which a stalled output is replaced (once playback has
  // reached kStallMinimumSeconds).
  static constexpr int64_t kStallMisses = 101;
  static constexpr double kStallMinimumSeconds = 2.0;

  explicit TextureRenderer(TextureBackendFactory backendFactory);
  ~TextureRenderer();
  TextureRenderer(const TextureRenderer&) = delete;
  TextureRenderer& operator=(const TextureRenderer&) = delete;

  // Size of the last frame converted; present (0 x 0) from metalInit() on.
  std::optional<VideoSizeInfo> videoSize;

  // Resets the per-stream state and makes the graphics backend. Needs no current
  // context. Returns 0, or 1 when the system has no usable graphics API.
  int64_t metalInit();

  // End of the stream: the backend is retired, videoSize reads 0 x 0 and the time
  // zero. The last texture stays valid until cleanVideoTexture(), the next frame or
  // the destruction of the renderer.
  void release();

  // Once per host frame, with the host's context current. Converts the newest frame
  // when the output has one, else counts the miss and replaces a stalled output
  // (the new one is stored in `output`). Returns the texture handle (the GL texture
  // name), or 0 when there is none.
  uintptr_t getTexture(double currentTimeSeconds, PlayerItem& item,
                       std::shared_ptr<VideoOutput>& output, MediaEngine& engine);

  // Stops handing out the current texture: a call without a new frame returns 0.
  void cleanVideoTexture();

  int64_t failedFrame() const { return failedFrame_; }
  std::optional<double> curTime() const { return curTime_; }
  uintptr_t currentHandle() const { return handle_; }

 private:
  void dropHandle();
  void retireBackend();
  void replaceStalledOutput(PlayerItem& item, std::shared_ptr<VideoOutput>& output,
                            MediaEngine& engine);
  bool contextUsable();

  TextureBackendFactory backendFactory_;
  std::unique_ptr<TextureBackend> backend_;
  // Backends of earlier streams, kept while the handle they made may still be held.
  std::vector<std::unique_ptr<TextureBackend>> retired_;
  uintptr_t handle_ = 0;
  int64_t failedFrame_ = 0;
  std::optional<double> curTime_;
  bool nonFiniteTimeReported_ = false;
};

}  // namespace zent
