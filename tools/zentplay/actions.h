#pragma once

// What the viewer can ask for, from a key in the window or a line on stdin.

#include <optional>
#include <string>

namespace zentplay {

enum class Action {
  TogglePause,
  SeekForward,
  SeekBack,
  NextAudio,
  ToggleCaptions,
  NextVariant,
  Quit,
};

// A command line's action: "pause" or " " (space), "seek+" or "+", "seek-" or
// "-", "audio" or "a", "captions" or "c", "variant" or "v", "quit" or "q".
// Surrounding blanks are ignored; anything else gives nothing.
std::optional<Action> parseCommand(const std::string& line);

// Ctrl-C (SIGINT) and SIGTERM ask the render loop to end, so that the
// library is still shut down cleanly.
void installInterruptHandler();
bool interruptRequested();

// Reads commands from standard input without ever blocking the render loop.
class CommandInput {
 public:
  // The next complete command typed so far, if any. Unknown lines are
  // reported on the console and skipped; at end of input nothing more comes.
  std::optional<Action> poll();

 private:
  std::string pending_;
  bool closed_ = false;
};

}  // namespace zentplay
