#pragma once

// A GL context without any window: EGL on Mesa's surfaceless platform (on a
// machine without a GPU, the llvmpipe software rasteriser). Rendering goes
// into framebuffer objects only.

#include <memory>
#include <string>

namespace zentplay {

class HeadlessContext {
 public:
  // A context current on the calling thread: OpenGL 3.3 core, or OpenGL ES
  // 3.0 when desktop GL is not offered. Null with the reason in `error`.
  static std::unique_ptr<HeadlessContext> create(std::string& error);
  ~HeadlessContext();
  HeadlessContext(const HeadlessContext&) = delete;
  HeadlessContext& operator=(const HeadlessContext&) = delete;

  // "OpenGL 3.3 core" or "OpenGL ES 3.0", and the renderer's name.
  const std::string& description() const { return description_; }

 private:
  HeadlessContext(void* display, void* context) : display_(display), context_(context) {}
  void* display_;
  void* context_;
  std::string description_;
};

}  // namespace zentplay
