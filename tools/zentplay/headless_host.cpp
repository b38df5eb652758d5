// Off-screen playback: each frame's texture drawn into the canvas, paced at the
// video's frame rate, with PNG snapshots and the status on the console.
#include <string>

#include "caption_overlay.h"
#include "console.h"
#include "frame_loop.h"
#include "headless_context.h"
#include "hosts.h"
#include "player_session.h"
#include "video_canvas.h"

namespace zentplay {

int runHeadless(ZentLibrary& library, const Options& options) {
  std::string error;
  auto context = HeadlessContext::create(error);
  if (!context) {
    printLine("zentplay: no off-screen GL context: " + error);
    return kExitNoGraphics;
  }
  printLine("zentplay: headless, " + context->description());
  SnapshotWriter snapshots(options);
  if (!snapshots.prepare(error)) {
    printLine("zentplay: " + error);
    return kExitUsage;
  }
  // Declared after the context and destroyed before it: GL objects go while
  // the context is still current.
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
  FramePacer pacer;
  StatusTicker ticker(std::chrono::seconds(1));
  int frames = 0;
  while (status == kExitOk) {
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
      canvas.drawFrame(quad, texture, static_cast<int>(session.videoWidth()),
                       static_cast<int>(session.videoHeight()));
      captions.draw(quad, canvas, session.captionText());
      ++frames;
      snapshots.afterFrame(frames, canvas);
    }
    if (session.ready() && ticker.due()) {
      printLine("status: " + session.statusText() + ", " + std::to_string(frames) + " frames");
    }
    if (options.frames > 0 && frames >= options.frames) {
      printLine("zentplay: " + std::to_string(frames) + " frames rendered");
      break;
    }
    // Off-screen there is nothing to look at after the end.
    if (session.ended()) break;
    pacer.wait(session.frameRate());
  }
  session.shutdown();
  printLine("zentplay: done, " + std::to_string(frames) + " frames, " +
            std::to_string(snapshots.written()) + " snapshots");
  return status;
}

}  // namespace zentplay
