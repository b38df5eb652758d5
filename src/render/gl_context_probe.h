#pragma once

#include <optional>

namespace zent {

// Identity of a GL context: the window-system API that made it and its handles.
struct GlContextId {
  enum class Api { EGL, GLX } api = Api::EGL;
  const void* display = nullptr;
  const void* context = nullptr;

  bool operator==(const GlContextId&) const = default;
};

// The context current on the calling thread, or nothing. Asks EGL and then GLX,
// each only when its library is already loaded in the process (a host with a
// current context has loaded it), so it never loads a library and never calls into
// the GL dispatch without a context, where libepoxy would abort the process. Cost:
// one or two thread-local reads in the window-system library.
std::optional<GlContextId> currentGlContext();

// Replaces the probe, for tests that need a context identity the real window
// system will not produce on demand (a new context at an old context's address).
// Null restores the real probe.
using GlContextProbe = std::optional<GlContextId> (*)();
void setGlContextProbeForTesting(GlContextProbe probe);

// Whether a GL window-system library (libEGL or libGLX) can be loaded at all. Needs
// no context; used when a renderer is set up on a thread without one.
bool glLibraryAvailable();

}  // namespace zent
