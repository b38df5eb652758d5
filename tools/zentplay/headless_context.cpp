#include "headless_context.h"

#include <dlfcn.h>
#include <epoxy/egl.h>
#include <epoxy/gl.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace zentplay {
namespace {

bool hasExtension(const char* list, const char* name) {
  const size_t length = std::strlen(name);
  for (const char* p = list != nullptr ? std::strstr(list, name) : nullptr; p != nullptr;
       p = std::strstr(p + 1, name)) {
    const bool starts = p == list || p[-1] == ' ';
    const bool ends = p[length] == '\0' || p[length] == ' ';
    if (starts && ends) return true;
  }
  return false;
}

std::string eglErrorText() {
  char text[32];
  std::snprintf(text, sizeof text, "EGL error 0x%04x", static_cast<unsigned>(eglGetError()));
  return text;
}

EGLDisplay openSurfacelessDisplay(std::string& error) {
  if (!hasExtension(eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS),
                    "EGL_MESA_platform_surfaceless")) {
    error = "EGL offers no surfaceless platform (EGL_MESA_platform_surfaceless)";
    return EGL_NO_DISPLAY;
  }
  auto getPlatformDisplay = reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(
      eglGetProcAddress("eglGetPlatformDisplayEXT"));
  if (getPlatformDisplay == nullptr) {
    error = "EGL has no eglGetPlatformDisplayEXT";
    return EGL_NO_DISPLAY;
  }
  EGLDisplay display =
      getPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
  EGLint major = 0;
  EGLint minor = 0;
  if (display == EGL_NO_DISPLAY || eglInitialize(display, &major, &minor) != EGL_TRUE) {
    error = "the surfaceless EGL display does not initialise (" + eglErrorText() + ")";
    return EGL_NO_DISPLAY;
  }
  return display;
}

EGLContext makeContext(EGLDisplay display, bool gles) {
  if (eglBindAPI(gles ? EGL_OPENGL_ES_API : EGL_OPENGL_API) != EGL_TRUE) return EGL_NO_CONTEXT;
  const EGLint desktop[] = {EGL_CONTEXT_MAJOR_VERSION,
                            3,
                            EGL_CONTEXT_MINOR_VERSION,
                            3,
                            EGL_CONTEXT_OPENGL_PROFILE_MASK,
                            EGL_CONTEXT_OPENGL_CORE_PROFILE_BIT,
                            EGL_NONE};
  const EGLint es[] = {EGL_CONTEXT_MAJOR_VERSION, 3, EGL_CONTEXT_MINOR_VERSION, 0, EGL_NONE};
  return eglCreateContext(display, EGL_NO_CONFIG_KHR, EGL_NO_CONTEXT, gles ? es : desktop);
}

}  // namespace

std::unique_ptr<HeadlessContext> HeadlessContext::create(std::string& error) {
  // libepoxy aborts the process when libEGL is missing; look for it first.
  if (dlopen("libEGL.so.1", RTLD_LAZY | RTLD_LOCAL) == nullptr) {
    error = "libEGL.so.1 cannot be loaded (install libegl1 and libegl-mesa0)";
    return nullptr;
  }
  EGLDisplay display = openSurfacelessDisplay(error);
  if (display == EGL_NO_DISPLAY && std::getenv("LIBGL_ALWAYS_SOFTWARE") == nullptr) {
    // No usable GPU: Mesa's software rasteriser always works.
    setenv("LIBGL_ALWAYS_SOFTWARE", "1", 1);
    display = openSurfacelessDisplay(error);
  }
  if (display == EGL_NO_DISPLAY) return nullptr;
  const char* extensions = eglQueryString(display, EGL_EXTENSIONS);
  if (!hasExtension(extensions, "EGL_KHR_surfaceless_context") ||
      !hasExtension(extensions, "EGL_KHR_no_config_context")) {
    error = "EGL cannot make contexts without a surface or config";
    eglTerminate(display);
    return nullptr;
  }
  bool gles = false;
  EGLContext context = makeContext(display, gles);
  if (context == EGL_NO_CONTEXT) {
    gles = true;
    context = makeContext(display, gles);
  }
  if (context == EGL_NO_CONTEXT) {
    error = "neither an OpenGL 3.3 core nor an OpenGL ES 3.0 context can be made (" +
            eglErrorText() + ")";
    eglTerminate(display);
    return nullptr;
  }
  if (eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, context) != EGL_TRUE) {
    error = "the context cannot be made current (" + eglErrorText() + ")";
    eglDestroyContext(display, context);
    eglTerminate(display);
    return nullptr;
  }
  std::unique_ptr<HeadlessContext> made(new HeadlessContext(display, context));
  const char* renderer = reinterpret_cast<const char*>(glGetString(GL_RENDERER));
  made->description_ = std::string(gles ? "OpenGL ES 3.0" : "OpenGL 3.3 core") + " on " +
                       (renderer != nullptr ? renderer : "an unknown renderer");
  return made;
}

HeadlessContext::~HeadlessContext() {
  auto display = static_cast<EGLDisplay>(display_);
  eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
  eglDestroyContext(display, static_cast<EGLContext>(context_));
  // The display is left initialised: the library may still hold GL objects of
  // this context's share group until it has shut down.
}

}  // namespace zentplay
