// Playback in an SDL window: the canvas drawn to fit the window, keys for the
// viewer, time and state in the title bar.
#include <SDL.h>
#include <epoxy/gl.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <thread>

#include "caption_overlay.h"
#include "console.h"
#include "frame_loop.h"
#include "hosts.h"
#include "player_session.h"
#include "video_canvas.h"

namespace zentplay {
namespace {

constexpr int kInitialWidth = 1280;
constexpr int kInitialHeight = 720;
constexpr auto kShortestFrame = std::chrono::milliseconds(15);

std::optional<Action> actionForKey(SDL_Keycode key) {
  switch (key) {
    case SDLK_SPACE:
      return Action::TogglePause;
    case SDLK_RIGHT:
      return Action::SeekForward;
    case SDLK_LEFT:
      return Action::SeekBack;
    case SDLK_a:
      return Action::NextAudio;
    case SDLK_c:
      return Action::ToggleCaptions;
    case SDLK_v:
      return Action::NextVariant;
    case SDLK_q:
    case SDLK_ESCAPE:
      return Action::Quit;
    default:
      return std::nullopt;
  }
}

// An SDL window with a current GL context; everything released in reverse.
class GlWindow {
 public:
  ~GlWindow() {
    if (context_ != nullptr) SDL_GL_DeleteContext(context_);
    if (window_ != nullptr) SDL_DestroyWindow(window_);
    if (videoStarted_) SDL_QuitSubSystem(SDL_INIT_VIDEO);
  }

  bool open(std::string& error) {
    if (SDL_InitSubSystem(SDL_INIT_VIDEO) != 0) {
      error = std::string("SDL cannot start its video: ") + SDL_GetError();
      return false;
    }
    videoStarted_ = true;
    // Desktop GL 3.3 core first, GLES 3.0 where that is all there is.
    for (const bool gles : {false, true}) {
      SDL_GL_SetAttribute(SDL_GL_CONTEXT_PROFILE_MASK,
                          gles ? SDL_GL_CONTEXT_PROFILE_ES : SDL_GL_CONTEXT_PROFILE_CORE);
      SDL_GL_SetAttribute(SDL_GL_CONTEXT_MAJOR_VERSION, 3);
      SDL_GL_SetAttribute(SDL_GL_CONTEXT_MINOR_VERSION, gles ? 0 : 3);
      SDL_GL_SetAttribute(SDL_GL_DOUBLEBUFFER, 1);
      window_ = SDL_CreateWindow("zentplay", SDL_WINDOWPOS_CENTERED, SDL_WINDOWPOS_CENTERED,
                                 kInitialWidth, kInitialHeight,
                                 SDL_WINDOW_OPENGL | SDL_WINDOW_RESIZABLE | SDL_WINDOW_SHOWN);
      if (window_ == nullptr) {
        error = std::string("SDL cannot open a window: ") + SDL_GetError();
        continue;
      }
      context_ = SDL_GL_CreateContext(window_);
      if (context_ != nullptr) {
        description_ = std::string(gles ? "OpenGL ES 3.0" : "OpenGL 3.3 core") + " on " +
                       reinterpret_cast<const char*>(glGetString(GL_RENDERER));
        return true;
      }
      error = std::string("no GL 3.3 core or GLES 3.0 context: ") + SDL_GetError();
      SDL_DestroyWindow(window_);
      window_ = nullptr;
    }
    return false;
  }

  // Grows or shrinks the window to the video, within 90% of the display.
  void fitToVideo(int videoWidth, int videoHeight) {
    SDL_Rect usable{0, 0, kInitialWidth, kInitialHeight};
    SDL_GetDisplayUsableBounds(SDL_GetWindowDisplayIndex(window_), &usable);
    const PixelRect fit = fitRect(videoWidth, videoHeight, std::min(videoWidth, usable.w * 9 / 10),
                                  std::min(videoHeight, usable.h * 9 / 10));
    if (fit.width <= 0) return;
    SDL_SetWindowSize(window_, fit.width, fit.height);
    SDL_SetWindowPosition(window_, SDL_WINDOWPOS_CENTERED, SDL_WINDOWPOS_CENTERED);
  }

  SDL_Window* window() const { return window_; }
  const std::string& description() const { return description_; }

 private:
  bool videoStarted_ = false;
  SDL_Window* window_ = nullptr;
  SDL_GLContext context_ = nullptr;
  std::string description_;
};

}  // namespace

int runWindow(ZentLibrary& library, const Options& options) {
  std::string error;
  GlWindow window;
  if (!window.open(error)) {
    printLine("zentplay: " + error);
    return kExitNoGraphics;
  }
  printLine("zentplay: window, " + window.description());
  // Vsync paces the loop; where the display ignores it (a virtual X server),
  // the limiter below keeps the loop from spinning.
  SDL_GL_SetSwapInterval(1);
  SnapshotWriter snapshots(options);
  if (!snapshots.prepare(error)) {
    printLine("zentplay: " + error);
    return kExitUsage;
  }
  QuadRenderer quad;
  if (!quad.init(error)) {
    printLine("zentplay: " + error);
    return kExitNoGraphics;
  }
  VideoCanvas canvas;
  CaptionOverlay captions;
  PlayerSession session(library, options);
  int status = kExitOk;
  if (!session.start()) {
    printLine("zentplay: " + session.failure());
    status = kExitPlayback;
  }
  CommandInput commands;
  StatusTicker titleTicker(std::chrono::milliseconds(250));
  int frames = 0;
  bool sizedToVideo = false;
  bool announcedPicture = false;
  while (status == kExitOk) {
    const auto iterationStart = std::chrono::steady_clock::now();
    SDL_Event event;
    while (SDL_PollEvent(&event)) {
      if (event.type == SDL_QUIT) session.apply(Action::Quit);
      if (event.type == SDL_KEYDOWN && event.key.repeat == 0) {
        if (auto action = actionForKey(event.key.keysym.sym)) session.apply(*action);
      }
    }
    session.handleEvents();
    while (auto action = commands.poll()) session.apply(*action);
    session.poll();
    if (session.quitRequested() || interruptRequested()) break;
    if (session.failed()) {
      printLine("zentplay: " + session.failure());
      status = kExitPlayback;
      break;
    }

    if (const unsigned texture = session.texture(); texture != 0) {
      const int width = static_cast<int>(session.videoWidth());
      const int height = static_cast<int>(session.videoHeight());
      if (!sizedToVideo && width > 0 && height > 0) {
        window.fitToVideo(width, height);
        sizedToVideo = true;
      }
      canvas.drawFrame(quad, texture, width, height);
      captions.draw(quad, canvas, session.captionText());
      ++frames;
      snapshots.afterFrame(frames, canvas);
    }
    int drawableWidth = 0;
    int drawableHeight = 0;
    SDL_GL_GetDrawableSize(window.window(), &drawableWidth, &drawableHeight);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glViewport(0, 0, drawableWidth, drawableHeight);
    glDisable(GL_SCISSOR_TEST);
    glClearColor(0.0f, 0.0f, 0.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    PixelRect shown;
    if (!canvas.empty()) {
      shown = fitRect(canvas.width(), canvas.height(), drawableWidth, drawableHeight);
      quad.draw(canvas.texture(), false, shown);
    }
    SDL_GL_SwapWindow(window.window());

    if (!announcedPicture && !canvas.empty()) {
      // Said once the first picture is on screen; the window tests wait for it.
      glFinish();
      int x = 0;
      int y = 0;
      SDL_GetWindowPosition(window.window(), &x, &y);
      printLine("window: showing " + std::to_string(canvas.width()) + "x" +
                std::to_string(canvas.height()) + " video in a " + std::to_string(drawableWidth) +
                "x" + std::to_string(drawableHeight) + " window at " + std::to_string(x) + "," +
                std::to_string(y) + ", picture " + std::to_string(shown.width) + "x" +
                std::to_string(shown.height) + " at " + std::to_string(shown.x) + "," +
                std::to_string(drawableHeight - shown.y - shown.height));
      announcedPicture = true;
    }
    if (titleTicker.due()) {
      const std::string title =
          "zentplay - " + (session.ready() ? session.statusText() : std::string("opening"));
      SDL_SetWindowTitle(window.window(), title.c_str());
    }
    if (options.frames > 0 && frames >= options.frames) {
      printLine("zentplay: " + std::to_string(frames) + " frames shown");
      break;
    }
    if (options.quitAtEnd && session.ended()) break;
    // Where the swap is not held by vsync (a virtual X server), keep each
    // frame to about 60 Hz; a real vsync already takes longer than this.
    std::this_thread::sleep_until(iterationStart + kShortestFrame);
  }
  session.shutdown();
  printLine("zentplay: done, " + std::to_string(frames) + " frames");
  return status;
}

}  // namespace zentplay
