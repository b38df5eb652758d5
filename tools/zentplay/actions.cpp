#include "actions.h"

#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <csignal>

#include "console.h"

namespace zentplay {
namespace {

// A process in the background of an interactive shell is stopped (SIGTTIN)
// when it reads the terminal; only read it while in the foreground.
std::atomic<bool> gInterrupted{false};

extern "C" void onInterrupt(int) {
  gInterrupted.store(true);
}

bool mayReadTerminal() {
  if (!isatty(STDIN_FILENO)) return true;
  return tcgetpgrp(STDIN_FILENO) == getpgrp();
}

}  // namespace

void installInterruptHandler() {
  struct sigaction action {};
  action.sa_handler = &onInterrupt;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

bool interruptRequested() {
  return gInterrupted.load();
}

std::optional<Action> parseCommand(const std::string& line) {
  const auto first = line.find_first_not_of(" \t\r");
  if (first == std::string::npos) {
    // A line holding only blanks: the space bar typed on a terminal.
    if (line.find(' ') != std::string::npos) return Action::TogglePause;
    return std::nullopt;
  }
  const auto last = line.find_last_not_of(" \t\r");
  const std::string word = line.substr(first, last - first + 1);
  if (word == "pause" || word == "p") return Action::TogglePause;
  if (word == "seek+" || word == "+") return Action::SeekForward;
  if (word == "seek-" || word == "-") return Action::SeekBack;
  if (word == "audio" || word == "a") return Action::NextAudio;
  if (word == "captions" || word == "c") return Action::ToggleCaptions;
  if (word == "variant" || word == "v") return Action::NextVariant;
  if (word == "quit" || word == "q") return Action::Quit;
  return std::nullopt;
}

std::optional<Action> CommandInput::poll() {
  while (true) {
    const auto newline = pending_.find('\n');
    if (newline != std::string::npos) {
      const std::string line = pending_.substr(0, newline);
      pending_.erase(0, newline + 1);
      if (auto action = parseCommand(line)) return action;
      if (line.find_first_not_of(" \t\r") != std::string::npos) {
        printLine("unknown command \"" + line +
                  "\" (pause, seek+, seek-, audio, captions, variant, quit)");
      }
      continue;
    }
    if (closed_ || !mayReadTerminal()) return std::nullopt;
    pollfd input{STDIN_FILENO, POLLIN, 0};
    if (::poll(&input, 1, 0) <= 0 || (input.revents & (POLLIN | POLLHUP)) == 0) return std::nullopt;
    char buffer[256];
    const ssize_t got = ::read(STDIN_FILENO, buffer, sizeof buffer);
    if (got <= 0) {
      closed_ = true;
      // A last command without its newline still counts.
      if (!pending_.empty()) pending_ += '\n';
      continue;
    }
    pending_.append(buffer, static_cast<size_t>(got));
  }
}

}  // namespace zentplay
