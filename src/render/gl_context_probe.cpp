#include "render/gl_context_probe.h"

#include <dlfcn.h>

#include <atomic>

namespace zent {
namespace {

using GetCurrent = void* (*)();

struct WindowSystem {
  const char* const* libraries;
  const char* contextSymbol;
  const char* displaySymbol;
  std::atomic<GetCurrent> getContext{nullptr};
  std::atomic<GetCurrent> getDisplay{nullptr};
};

constexpr const char* kEglLibraries[] = {"libEGL.so.1", "libEGL.so", nullptr};
constexpr const char* kGlxLibraries[] = {"libGLX.so.0", "libGL.so.1", "libGL.so", nullptr};

WindowSystem egl{kEglLibraries, "eglGetCurrentContext", "eglGetCurrentDisplay"};
WindowSystem glx{kGlxLibraries, "glXGetCurrentContext", "glXGetCurrentDisplay"};

std::atomic<GlContextProbe> probeOverride{nullptr};

// Which API last had a context, asked first next time.
std::atomic<GlContextId::Api> lastApi{GlContextId::Api::EGL};

// Finds the query functions in a library the process has already loaded. The
// handle is kept open, which pins the library, so the cached pointers stay valid.
bool resolve(WindowSystem& system) {
  if (system.getContext.load(std::memory_order_acquire)) return true;
  for (const char* const* name = system.libraries; *name; ++name) {
    void* handle = dlopen(*name, RTLD_LAZY | RTLD_LOCAL | RTLD_NOLOAD);
    if (!handle) continue;
    auto context = reinterpret_cast<GetCurrent>(dlsym(handle, system.contextSymbol));
    auto display = reinterpret_cast<GetCurrent>(dlsym(handle, system.displaySymbol));
    if (context && display) {
      system.getDisplay.store(display, std::memory_order_release);
      system.getContext.store(context, std::memory_order_release);
      return true;
    }
    dlclose(handle);
  }
  return false;
}

std::optional<GlContextId> query(WindowSystem& system, GlContextId::Api api) {
  if (!resolve(system)) return std::nullopt;
  void* context = system.getContext.load(std::memory_order_acquire)();
  if (!context) return std::nullopt;
  void* display = system.getDisplay.load(std::memory_order_acquire)();
  return GlContextId{api, display, context};
}

}  // namespace

std::optional<GlContextId> currentGlContext() {
  if (GlContextProbe probe = probeOverride.load(std::memory_order_acquire)) return probe();
  const GlContextId::Api first = lastApi.load(std::memory_order_relaxed);
  const GlContextId::Api second =
      first == GlContextId::Api::EGL ? GlContextId::Api::GLX : GlContextId::Api::EGL;
  for (GlContextId::Api api : {first, second}) {
    auto found = query(api == GlContextId::Api::EGL ? egl : glx, api);
    if (found) {
      if (api != first) lastApi.store(api, std::memory_order_relaxed);
      return found;
    }
  }
  return std::nullopt;
}

void setGlContextProbeForTesting(GlContextProbe probe) {
  probeOverride.store(probe, std::memory_order_release);
}

bool glLibraryAvailable() {
  static const bool available = [] {
    for (const char* const* list : {kEglLibraries, kGlxLibraries}) {
      for (const char* const* name = list; *name; ++name) {
        // Kept loaded: the GL path needs it as soon as the host renders.
        if (dlopen(*name, RTLD_LAZY | RTLD_LOCAL)) return true;
      }
    }
    return false;
  }();
  return available;
}

}  // namespace zent
