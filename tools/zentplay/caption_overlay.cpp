#include "caption_overlay.h"

#include <SDL.h>
#include <SDL_ttf.h>
#include <epoxy/gl.h>

#include <algorithm>
#include <vector>

#include "console.h"

namespace zentplay {
namespace {

// fonts-dejavu-core's sans face: it covers Latin, Greek, Cyrillic and the
// music and fraction signs of line-21 captions.
constexpr const char* kFontPath = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
constexpr Uint8 kBoxAlpha = 160;

// The lines of a caption; a SubRip cue ends each line with "\n", so a last
// empty line is not one.
std::vector<std::string> splitLines(std::string text) {
  while (!text.empty() && text.back() == '\n') text.pop_back();
  std::vector<std::string> lines;
  std::string::size_type start = 0;
  while (start <= text.size()) {
    auto end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

}  // namespace

CaptionOverlay::~CaptionOverlay() {
  if (texture_ != 0) glDeleteTextures(1, &texture_);
  if (font_ != nullptr) TTF_CloseFont(font_);
  if (fontSize_ != 0) TTF_Quit();
}

bool CaptionOverlay::openFont(int pixelSize) {
  if (font_ != nullptr && fontSize_ == pixelSize) return true;
  if (unavailable_) return false;
  if (fontSize_ == 0 && TTF_Init() != 0) {
    printLine(std::string("zentplay: captions are not drawn: ") + TTF_GetError());
    unavailable_ = true;
    return false;
  }
  if (font_ != nullptr) TTF_CloseFont(font_);
  fontSize_ = pixelSize;
  font_ = TTF_OpenFont(kFontPath, pixelSize);
  text_.clear();  // laid out again in the new size
  if (font_ == nullptr) {
    printLine(std::string("zentplay: captions are not drawn: ") + TTF_GetError());
    unavailable_ = true;
  }
  return font_ != nullptr;
}

// Renders every line, white, onto one translucent box and uploads it.
void CaptionOverlay::layOut(const std::string& text) {
  text_ = text;
  width_ = height_ = 0;
  std::vector<SDL_Surface*> lines;
  const int padding = std::max(2, fontSize_ / 4);
  int lineHeight = TTF_FontLineSkip(font_);
  for (const std::string& line : splitLines(text)) {
    SDL_Surface* rendered = TTF_RenderUTF8_Blended(font_, line.empty() ? " " : line.c_str(),
                                                   SDL_Color{255, 255, 255, 255});
    if (rendered == nullptr) continue;
    width_ = std::max(width_, rendered->w + 2 * padding);
    lines.push_back(rendered);
  }
  height_ = static_cast<int>(lines.size()) * lineHeight + 2 * padding;
  SDL_Surface* box = lines.empty() ? nullptr
                                   : SDL_CreateRGBSurfaceWithFormat(0, width_, height_, 32,
                                                                    SDL_PIXELFORMAT_RGBA32);
  if (box != nullptr) {
    SDL_FillRect(box, nullptr, SDL_MapRGBA(box->format, 0, 0, 0, kBoxAlpha));
    int y = padding;
    for (SDL_Surface* line : lines) {
      SDL_Rect at{(width_ - line->w) / 2, y, line->w, line->h};
      SDL_SetSurfaceBlendMode(line, SDL_BLENDMODE_BLEND);
      SDL_BlitSurface(line, nullptr, box, &at);
      y += lineHeight;
    }
    if (texture_ == 0) glGenTextures(1, &texture_);
    glBindTexture(GL_TEXTURE_2D, texture_);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, width_, height_, 0, GL_RGBA, GL_UNSIGNED_BYTE,
                 box->pixels);
    glBindTexture(GL_TEXTURE_2D, 0);
    SDL_FreeSurface(box);
  } else {
    width_ = height_ = 0;
  }
  for (SDL_Surface* line : lines) SDL_FreeSurface(line);
}

void CaptionOverlay::draw(QuadRenderer& quad, VideoCanvas& canvas, const std::string& text) {
  if (text.empty() || canvas.empty()) return;
  // Captions are about a fifteenth of the picture's height, as on television.
  if (!openFont(std::max(10, canvas.height() / 15))) return;
  if (text != text_ || texture_ == 0) layOut(text);
  if (width_ == 0 || height_ == 0) return;
  const int width = std::min(width_, canvas.width());
  const int height = std::min(height_, canvas.height());
  const PixelRect rect{(canvas.width() - width) / 2, canvas.height() / 20, width, height};
  canvas.drawOverlay(quad, texture_, rect);
}

}  // namespace zentplay
