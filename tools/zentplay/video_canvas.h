#pragma once

// Drawing the library's texture. Each frame's texture is drawn into a canvas
// (an RGBA8 framebuffer of the video's size) owned by zentplay; the window
// shows the canvas and snapshots are read from it. The canvas keeps the last
// picture while the library hands out none (paused, seeking, stopped).
//
// Works in a GL 3.3 core or GLES 3.0 context current on the calling thread.

#include <cstdint>
#include <string>
#include <vector>

namespace zentplay {

struct PixelRect {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
};

// The largest rectangle of the video's shape inside a view, centred (letter-
// or pillar-boxed). Empty when either size is empty.
PixelRect fitRect(int64_t videoWidth, int64_t videoHeight, int viewWidth, int viewHeight);

// One textured quad: a program, an empty vertex array and a sampler.
class QuadRenderer {
 public:
  QuadRenderer() = default;
  ~QuadRenderer();
  QuadRenderer(const QuadRenderer&) = delete;
  QuadRenderer& operator=(const QuadRenderer&) = delete;

  // Builds the program for the current context (GLSL 330 core or 300 es).
  bool init(std::string& error);

  // Draws `texture` over `rect` of the bound framebuffer. With `topRowFirst`
  // the texture's row 0 is the picture's top row (the library's textures);
  // otherwise row 0 is the bottom, as in anything GL rendered. `blended` draws
  // the texture's alpha over what is there; otherwise the quad is opaque.
  void draw(unsigned texture, bool topRowFirst, const PixelRect& rect, bool blended = false);

 private:
  unsigned program_ = 0;
  unsigned vertexArray_ = 0;
  unsigned sampler_ = 0;
  int flipLocation_ = -1;
  int blendedLocation_ = -1;
};

class VideoCanvas {
 public:
  VideoCanvas() = default;
  ~VideoCanvas();
  VideoCanvas(const VideoCanvas&) = delete;
  VideoCanvas& operator=(const VideoCanvas&) = delete;

  // Draws the library's texture into the canvas, (re)sizing it to the video.
  void drawFrame(QuadRenderer& quad, unsigned libraryTexture, int width, int height);

  // Blends a texture (row 0 on top) over a rectangle of the canvas, whose
  // y counts from the bottom, as GL does.
  void drawOverlay(QuadRenderer& quad, unsigned texture, const PixelRect& rect);

  bool empty() const { return texture_ == 0; }
  int width() const { return width_; }
  int height() const { return height_; }
  unsigned texture() const { return texture_; }

  // The canvas as RGBA rows, top row first.
  std::vector<uint8_t> readPixels() const;

 private:
  unsigned framebuffer_ = 0;
  unsigned texture_ = 0;
  int width_ = 0;
  int height_ = 0;
};

}  // namespace zentplay
