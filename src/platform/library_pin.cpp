#include "platform/library_pin.h"

#include <dlfcn.h>

#include <mutex>

namespace zent {

void keepLibraryLoaded() {
  static std::once_flag once;
  std::call_once(once, [] {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&keepLibraryLoaded), &info) == 0 ||
        info.dli_fname == nullptr) {
      return;
    }
    // The library is loaded already: RTLD_NOLOAD only adds the flag. The handle
    // is kept for ever on purpose.
    [[maybe_unused]] void* self = dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
  });
}

}  // namespace zent
