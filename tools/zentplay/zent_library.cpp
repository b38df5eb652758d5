#include "zent_library.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

namespace zentplay {

ZentLibrary::~ZentLibrary() {
  // The library keeps GStreamer and GL state alive after NativeShutdown;
  // unloading it under running threads would pull code from under them.
  // dlclose is deliberately not called.
}

bool ZentLibrary::load(const std::string& path) {
  path_ = path;
  handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle_ == nullptr) {
    const char* reason = dlerror();
    error_ = reason != nullptr ? reason : "dlopen failed";
    return false;
  }
#define ZENTPLAY_RESOLVE(name)                                    \
  name = reinterpret_cast<decltype(name)>(dlsym(handle_, #name)); \
  if (name == nullptr) {                                          \
    error_ = std::string("the library does not export ") + #name; \
    return false;                                                 \
  }
  ZENTPLAY_LIBRARY_FUNCTIONS(ZENTPLAY_RESOLVE)
#undef ZENTPLAY_RESOLVE
  return true;
}

std::string defaultLibraryPath() {
  namespace fs = std::filesystem;
  std::error_code ignored;
#ifdef ZENTPLAY_BUILT_LIBRARY
  if (fs::exists(ZENTPLAY_BUILT_LIBRARY, ignored)) return ZENTPLAY_BUILT_LIBRARY;
#endif
  const fs::path self = fs::read_symlink("/proc/self/exe", ignored);
  if (!ignored) {
    const fs::path beside = self.parent_path() / "libzentplayer.so";
    if (fs::exists(beside, ignored)) return beside.string();
  }
  return "libzentplayer.so";
}

std::string takeText(char* text) {
  if (text == nullptr) return {};
  std::string copy(text);
  // The only text that must not be freed is the constant "" returned when no
  // bridge exists; zentplay calls text functions only between NativeInit and
  // NativeShutdown, so every result here is a heap copy.
  std::free(text);
  return copy;
}

}  // namespace zentplay
