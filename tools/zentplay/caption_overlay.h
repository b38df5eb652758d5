#pragma once

// The caption on screen drawn over the picture, as a viewer would see it:
// white DejaVu Sans (SDL2_ttf) on a translucent black box, bottom-centred,
// one line per "\n". The text is laid out again only when it changes.
//
// Works in the GL context current on the calling thread, like VideoCanvas.

#include <string>

#include "video_canvas.h"

struct _TTF_Font;

namespace zentplay {

class CaptionOverlay {
 public:
  CaptionOverlay() = default;
  ~CaptionOverlay();
  CaptionOverlay(const CaptionOverlay&) = delete;
  CaptionOverlay& operator=(const CaptionOverlay&) = delete;

  // Draws `text` over the canvas ("" draws nothing). Without SDL2_ttf or the
  // font, prints why once and draws nothing.
  void draw(QuadRenderer& quad, VideoCanvas& canvas, const std::string& text);

 private:
  bool openFont(int pixelSize);
  void layOut(const std::string& text);

  _TTF_Font* font_ = nullptr;
  int fontSize_ = 0;
  bool unavailable_ = false;
  std::string text_;  // what texture_ shows
  unsigned texture_ = 0;
  int width_ = 0;
  int height_ = 0;
};

}  // namespace zentplay
