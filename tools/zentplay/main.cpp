// zentplay: the reference host for libzentplayer.so. See usageText() in
// options.cpp, or run `zentplay --help`.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "actions.h"
#include "console.h"
#include "hosts.h"
#include "options.h"
#include "zent_library.h"

namespace {

bool displayPresent() {
  const char* x11 = std::getenv("DISPLAY");
  const char* wayland = std::getenv("WAYLAND_DISPLAY");
  return (x11 != nullptr && *x11 != '\0') || (wayland != nullptr && *wayland != '\0');
}

}  // namespace

int main(int argc, char** argv) {
  using namespace zentplay;
  const ParsedCommandLine parsed =
      parseCommandLine(std::vector<std::string>(argv + 1, argv + argc));
  if (parsed.showHelp) {
    std::fputs(usageText().c_str(), stdout);
    return kExitOk;
  }
  if (!parsed.error.empty()) {
    std::fprintf(stderr, "zentplay: %s\n\n%s", parsed.error.c_str(), usageText().c_str());
    return kExitUsage;
  }
  const Options& options = parsed.options;

  ZentLibrary library;
  const std::string path = options.library.empty() ? defaultLibraryPath() : options.library;
  if (!library.load(path)) {
    std::fprintf(stderr, "zentplay: cannot load %s: %s\n", path.c_str(), library.error().c_str());
    return kExitUsage;
  }

  installInterruptHandler();
  if (!options.headless && displayPresent()) {
    const int status = runWindow(library, options);
    if (status != kExitNoGraphics) return status;
    printLine("zentplay: no window can be opened; playing off-screen instead");
  } else if (!options.headless) {
    printLine("zentplay: no display (DISPLAY is not set); playing off-screen");
  }
  return runHeadless(library, options);
}
