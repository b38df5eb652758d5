#include "support/media_cache.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <stdexcept>

#include "support/subprocess.h"

namespace fs = std::filesystem;

namespace zent::test {
namespace {

// Generous: a cold 60 s 1080p encode on a busy 2-core machine.
constexpr std::chrono::minutes kToolTimeout{10};

}  // namespace

const std::string& mediaCacheDir() {
  static const std::string dir = [] {
    fs::path path = fs::path(ZENT_BINARY_DIR) / "test-media";
    fs::create_directories(path / ".partial");
    return path.string();
  }();
  return dir;
}

std::string cachedMedia(const std::string& key, const MediaMaker& make) {
  const fs::path root = mediaCacheDir();
  const fs::path item = root / key;
  if (fs::exists(item)) return item.string();
  // Test processes running side by side make each item once: the first holds
  // the lock, the others find the item made when they get it.
  const int lock =
      open((root / ".partial" / (key + ".lock")).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (lock < 0 || flock(lock, LOCK_EX) != 0) throw std::runtime_error("cannot lock " + key);
  const fs::path partial = root / ".partial" / key;
  try {
    if (!fs::exists(item)) {
      fs::remove_all(partial);  // left by a process that died while making it
      make(partial.string());
      fs::rename(partial, item);
    }
  } catch (...) {
    close(lock);
    throw;
  }
  close(lock);
  return item.string();
}

void runFfmpeg(const std::vector<std::string>& args) {
  std::vector<std::string> argv = {"ffmpeg",    "-hide_banner", "-nostdin",
                                   "-loglevel", "error",        "-y"};
  argv.insert(argv.end(), args.begin(), args.end());
  runChecked(argv, kToolTimeout);
}

std::string probeValue(const std::string& path, const std::string& entries,
                       const std::string& stream) {
  std::string out =
      runChecked({"ffprobe", "-v", "error", "-select_streams", stream, "-show_entries", entries,
                  "-of", "default=noprint_wrappers=1:nokey=1", path},
                 kToolTimeout)
          .out;
  return out.substr(0, out.find_first_of("\r\n"));
}

}  // namespace zent::test
