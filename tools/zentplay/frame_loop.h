#pragma once

// Pieces shared by the window and the off-screen loops.

#include <chrono>
#include <string>

#include "options.h"
#include "video_canvas.h"

namespace zentplay {

// Writes every K-th frame of the canvas as <out>/frame_000030.png and so on.
class SnapshotWriter {
 public:
  explicit SnapshotWriter(const Options& options) : options_(options) {}
  // Creates the output directory; false with the reason in `error`.
  bool prepare(std::string& error);
  // Call after frame number `frame` (1, 2, ...) was drawn into the canvas.
  void afterFrame(int frame, const VideoCanvas& canvas);
  int written() const { return written_; }

 private:
  const Options& options_;
  int written_ = 0;
};

// Holds a loop to a frame rate by the monotonic clock: each wait ends one
// period after the previous one did, so N frames take N periods however long
// each frame's work was; a loop that fell far behind starts afresh.
class FramePacer {
 public:
  void wait(double framesPerSecond);

 private:
  std::chrono::steady_clock::time_point next_{};
};

// Prints a status line at most once per `period`.
class StatusTicker {
 public:
  explicit StatusTicker(std::chrono::milliseconds period) : period_(period) {}
  bool due();

 private:
  std::chrono::milliseconds period_;
  std::chrono::steady_clock::time_point last_{};
};

}  // namespace zentplay
