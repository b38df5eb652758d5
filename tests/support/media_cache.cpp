#include "support/media_cache.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "support/subprocess.h"

namespace fs = std::filesystem;

namespace zent::test {
namespace {

// Generous: a cold 60 s 1080p encode on a busy 2-core machine.
constexpr std::chrono::minutes kToolTimeout{10};

bool usableDirectory(const fs::path& dir) {
  std::error_code ec;
  fs::create_directories(dir, ec);
  return fs::is_directory(dir, ec) && access(dir.c_str(), W_OK | X_OK) == 0;
}

std::string chooseCacheDir() {
  if (const char* env = std::getenv("ZENT_TEST_MEDIA_DIR"); env && *env) {
    if (usableDirectory(env)) return fs::absolute(env).string();
  }
#ifdef ZENT_BINARY_DIR
  fs::path inBuild = fs::path(ZENT_BINARY_DIR) / "test-media";
  if (usableDirectory(inBuild)) return inBuild.string();
#endif
  fs::path inTemp = fs::temp_directory_path() / ("zent-test-media-" + std::to_string(getuid()));
  if (usableDirectory(inTemp)) return inTemp.string();
  throw std::runtime_error("no writable directory for test media (tried " + inTemp.string() + ")");
}

// An exclusive flock held for the lifetime of the object.
class FileLock {
 public:
  explicit FileLock(const fs::path& path) {
    fd_ = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (fd_ < 0) {
      throw std::runtime_error("cannot open lock file " + path.string() + ": " +
                               std::strerror(errno));
    }
    while (flock(fd_, LOCK_EX) != 0) {
      if (errno != EINTR) {
        int error = errno;
        close(fd_);
        throw std::runtime_error("flock " + path.string() + ": " + std::strerror(error));
      }
    }
  }
  ~FileLock() {
    flock(fd_, LOCK_UN);
    close(fd_);
  }
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

 private:
  int fd_ = -1;
};

}  // namespace

const std::string& mediaCacheDir() {
  static const std::string dir = chooseCacheDir();
  return dir;
}

std::string cachedMedia(const std::string& key, const MediaMaker& make) {
  if (key.empty() || key.find('/') != std::string::npos || key[0] == '.') {
    throw std::invalid_argument("bad media cache key: \"" + key + "\"");
  }
  const fs::path root = mediaCacheDir();
  const fs::path item = root / key;
  std::error_code ec;
  if (fs::exists(item, ec)) return item.string();

  fs::create_directories(root / ".locks");
  fs::create_directories(root / ".partial");
  FileLock lock(root / ".locks" / (key + ".lock"));
  if (fs::exists(item, ec)) return item.string();  // made while we waited

  // Whatever is in .partial under this key was left by a process that died
  // while holding the lock; start afresh.
  const fs::path partial = root / ".partial" / key;
  fs::remove_all(partial, ec);
  try {
    make(partial.string());
    if (!fs::exists(partial)) {
      throw std::runtime_error("the recipe for " + key + " wrote nothing at " + partial.string());
    }
    fs::rename(partial, item);
  } catch (...) {
    fs::remove_all(partial, ec);
    throw;
  }
  return item.string();
}

void runFfmpeg(const std::vector<std::string>& args) {
  std::vector<std::string> argv = {"ffmpeg",    "-hide_banner", "-nostdin",
                                   "-loglevel", "error",        "-y"};
  argv.insert(argv.end(), args.begin(), args.end());
  runChecked(argv, kToolTimeout);
}

std::string runFfprobe(const std::vector<std::string>& args) {
  std::vector<std::string> argv = {"ffprobe", "-v", "error"};
  argv.insert(argv.end(), args.begin(), args.end());
  return runChecked(argv, kToolTimeout).out;
}

std::string probeValue(const std::string& path, const std::string& entries,
                       const std::string& stream) {
  std::vector<std::string> args;
  if (!stream.empty()) {
    args.push_back("-select_streams");
    args.push_back(stream);
  }
  args.insert(args.end(),
              {"-show_entries", entries, "-of", "default=noprint_wrappers=1:nokey=1", path});
  std::string out = runFfprobe(args);
  size_t end = out.find('\n');
  std::string first = out.substr(0, end);
  while (!first.empty() && (first.back() == '\r' || first.back() == ' ')) first.pop_back();
  return first;
}

}  // namespace zent::test
