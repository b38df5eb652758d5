#include "frame_loop.h"

#include <cstdio>
#include <filesystem>
#include <thread>

#include "console.h"
#include "png_file.h"

namespace zentplay {

bool SnapshotWriter::prepare(std::string& error) {
  if (options_.snapshotEvery <= 0) return true;
  std::error_code failure;
  std::filesystem::create_directories(options_.outDir, failure);
  if (failure) {
    error = "cannot create " + options_.outDir + ": " + failure.message();
    return false;
  }
  return true;
}

void SnapshotWriter::afterFrame(int frame, const VideoCanvas& canvas) {
  if (options_.snapshotEvery <= 0 || frame % options_.snapshotEvery != 0 || canvas.empty()) return;
  char name[32];
  std::snprintf(name, sizeof name, "frame_%06d.png", frame);
  const std::string path = (std::filesystem::path(options_.outDir) / name).string();
  std::string error;
  if (writePngRgba(path, canvas.width(), canvas.height(), canvas.readPixels(), error)) {
    ++written_;
    printLine("snapshot: " + path + " (" + std::to_string(canvas.width()) + "x" +
              std::to_string(canvas.height()) + ")");
  } else {
    printLine("zentplay: snapshot failed: " + error);
  }
}

void FramePacer::wait(double framesPerSecond) {
  using namespace std::chrono;
  const auto period =
      duration_cast<steady_clock::duration>(duration<double>(1.0 / framesPerSecond));
  const auto now = steady_clock::now();
  if (next_ == steady_clock::time_point{} || now > next_ + 4 * period) {
    next_ = now + period;
  } else {
    next_ += period;
  }
  std::this_thread::sleep_until(next_);
}

bool StatusTicker::due() {
  const auto now = std::chrono::steady_clock::now();
  if (now - last_ < period_) return false;
  last_ = now;
  return true;
}

}  // namespace zentplay
