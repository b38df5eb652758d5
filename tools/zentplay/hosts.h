#pragma once

// The two ways zentplay shows video. Each returns the process exit status.

#include "options.h"
#include "zent_library.h"

namespace zentplay {

enum ExitStatus {
  kExitOk = 0,
  kExitUsage = 1,  // bad command line, or the library cannot be loaded
  kExitNoGraphics = 2,
  kExitPlayback = 3,  // not ready in time, stalled, or refused by the library
};

// Off-screen: a surfaceless EGL context, frames paced at the video's rate.
int runHeadless(ZentLibrary& library, const Options& options);

// An SDL window with a GL 3.3 core (or GLES 3.0) context, paced by vsync.
// Returns kExitNoGraphics, having played nothing, when no window can be made.
int runWindow(ZentLibrary& library, const Options& options);

}  // namespace zentplay
