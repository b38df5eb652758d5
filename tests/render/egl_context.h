#pragma once

// A real GL context with no window, for tests: Mesa's surfaceless EGL platform on
// the llvmpipe software rasteriser. Include as "render/egl_context.h".
//
//   auto gl = zent::test::EglContext::create(zent::test::GlApi::DesktopCore33);
//   if (!gl) GTEST_SKIP() << zent::test::EglContext::lastError();
//
// LIBGL_ALWAYS_SOFTWARE is set to 1 (unless already set) so results do not depend on
// the machine's GPU.

#include <dlfcn.h>
#include <epoxy/egl.h>
#include <epoxy/gl.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

namespace zent::test {

enum class GlApi { DesktopCore33, Gles30 };

inline const char* glApiName(GlApi api) {
  return api == GlApi::DesktopCore33 ? "OpenGL 3.3 core" : "OpenGL ES 3.0";
}

class EglContext {
 public:
  // A new context made current on the calling thread, or null (see lastError()).
  // Contexts made here share nothing with each other.
  static std::unique_ptr<EglContext> create(GlApi api) {
    std::string& error = lastErrorStorage();
    error.clear();
    setenv("LIBGL_ALWAYS_SOFTWARE", "1", 0);
    // libepoxy aborts when it cannot load libEGL, so look first.
    if (!dlopen("libEGL.so.1", RTLD_LAZY | RTLD_LOCAL)) {
      error = "no EGL device: libEGL.so.1 cannot be loaded";
      return nullptr;
    }
    const char* clientExtensions = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
    if (!clientExtensions || !hasWord(clientExtensions, "EGL_MESA_platform_surfaceless")) {
      error = "no EGL device: EGL_MESA_platform_surfaceless is not offered";
      return nullptr;
    }
    auto getPlatformDisplay = reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(
        eglGetProcAddress("eglGetPlatformDisplayEXT"));
    if (!getPlatformDisplay) {
      error = "no EGL device: eglGetPlatformDisplayEXT is missing";
      return nullptr;
    }
    EGLDisplay display =
        getPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
    EGLint major = 0, minor = 0;
    if (display == EGL_NO_DISPLAY || !eglInitialize(display, &major, &minor)) {
      error = "no EGL device: the surfaceless display does not initialise (EGL error " +
              hex(eglGetError()) + ")";
      return nullptr;
    }
    const char* extensions = eglQueryString(display, EGL_EXTENSIONS);
    if (!extensions || !hasWord(extensions, "EGL_KHR_surfaceless_context") ||
        !hasWord(extensions, "EGL_KHR_no_config_context")) {
      error = "no EGL device: surfaceless or configless contexts are not supported";
      return nullptr;
    }
    const bool gles = api == GlApi::Gles30;
    if (!eglBindAPI(gles ? EGL_OPENGL_ES_API : EGL_OPENGL_API)) {
      error = std::string("no EGL device: ") + glApiName(api) + " cannot be bound";
      return nullptr;
    }
    const EGLint desktopAttributes[] = {EGL_CONTEXT_MAJOR_VERSION,
                                        3,
                                        EGL_CONTEXT_MINOR_VERSION,
                                        3,
                                        EGL_CONTEXT_OPENGL_PROFILE_MASK,
                                        EGL_CONTEXT_OPENGL_CORE_PROFILE_BIT,
                                        EGL_NONE};
    const EGLint glesAttributes[] = {EGL_CONTEXT_MAJOR_VERSION, 3, EGL_CONTEXT_MINOR_VERSION, 0,
                                     EGL_NONE};
    EGLContext context = eglCreateContext(display, EGL_NO_CONFIG_KHR, EGL_NO_CONTEXT,
                                          gles ? glesAttributes : desktopAttributes);
    if (context == EGL_NO_CONTEXT) {
      error = std::string("no EGL device: a ") + glApiName(api) +
              " context cannot be made (EGL error " + hex(eglGetError()) + ")";
      return nullptr;
    }
    std::unique_ptr<EglContext> made(new EglContext(display, context, gles));
    if (!made->makeCurrent()) {
      error = "no EGL device: the context cannot be made current (EGL error " + hex(eglGetError()) +
              ")";
      return nullptr;
    }
    return made;
  }

  static const std::string& lastError() { return lastErrorStorage(); }

  ~EglContext() {
    if (eglGetCurrentContext() == context_) releaseCurrent();
    eglDestroyContext(display_, context_);
  }
  EglContext(const EglContext&) = delete;
  EglContext& operator=(const EglContext&) = delete;

  bool makeCurrent() {
    eglBindAPI(gles_ ? EGL_OPENGL_ES_API : EGL_OPENGL_API);
    return eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, context_) == EGL_TRUE;
  }
  // Leaves the calling thread with no current context.
  static void releaseCurrent() {
    EGLDisplay display = eglGetCurrentDisplay();
    if (display != EGL_NO_DISPLAY) {
      eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    }
  }

  bool gles() const { return gles_; }
  EGLDisplay display() const { return display_; }
  EGLContext context() const { return context_; }

 private:
  EglContext(EGLDisplay display, EGLContext context, bool gles)
      : display_(display), context_(context), gles_(gles) {}

  static bool hasWord(const char* list, const char* word) {
    const std::size_t length = std::strlen(word);
    for (const char* p = std::strstr(list, word); p; p = std::strstr(p + 1, word)) {
      const bool starts = p == list || p[-1] == ' ';
      const bool ends = p[length] == '\0' || p[length] == ' ';
      if (starts && ends) return true;
    }
    return false;
  }
  static std::string hex(EGLint value) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%04x", static_cast<unsigned>(value));
    return text;
  }
  static std::string& lastErrorStorage() {
    static std::string error;
    return error;
  }

  EGLDisplay display_;
  EGLContext context_;
  bool gles_;
};

}  // namespace zent::test
