#pragma once

// A windowless GL context for tests: Mesa's surfaceless EGL platform on llvmpipe
// (LIBGL_ALWAYS_SOFTWARE=1 unless set), so results do not depend on the machine's GPU.

#include <dlfcn.h>
#include <epoxy/egl.h>
#include <epoxy/gl.h>

#include <cstdlib>
#include <memory>
#include <string>

namespace zent::test {

enum class GlApi { DesktopCore33, Gles30 };

struct EglContext {
  // A new context made current on the calling thread, or null (see lastError()).
  static std::unique_ptr<EglContext> create(GlApi api) {
    lastError_ = "no EGL device: ";
    setenv("LIBGL_ALWAYS_SOFTWARE", "1", 0);
    // libepoxy aborts when it cannot load libEGL, so look first.
    if (!dlopen("libEGL.so.1", RTLD_LAZY | RTLD_LOCAL)) return fail("libEGL.so.1 not loadable");
    auto getDisplay = reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(
        eglGetProcAddress("eglGetPlatformDisplayEXT"));
    EGLDisplay display =
        getDisplay ? getDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr)
                   : EGL_NO_DISPLAY;
    if (display == EGL_NO_DISPLAY || !eglInitialize(display, nullptr, nullptr))
      return fail("no surfaceless display");
    const bool gles = api == GlApi::Gles30;
    if (!eglBindAPI(gles ? EGL_OPENGL_ES_API : EGL_OPENGL_API)) return fail("no API to bind");
    const EGLint minor = gles ? 0 : 3, profile = gles ? EGL_NONE : EGL_CONTEXT_OPENGL_PROFILE_MASK;
    const EGLint attributes[] = {
        EGL_CONTEXT_MAJOR_VERSION,           3,       EGL_CONTEXT_MINOR_VERSION, minor, profile,
        EGL_CONTEXT_OPENGL_CORE_PROFILE_BIT, EGL_NONE};
    EGLContext context = eglCreateContext(display, EGL_NO_CONFIG_KHR, EGL_NO_CONTEXT, attributes);
    if (context == EGL_NO_CONTEXT) return fail("no configless surfaceless context");
    std::unique_ptr<EglContext> made(new EglContext{display, context, gles});
    if (!made->makeCurrent()) return fail("the context cannot be made current");
    lastError_.clear();
    return made;
  }
  static const std::string& lastError() { return lastError_; }

  ~EglContext() {
    if (eglGetCurrentContext() == context_) releaseCurrent();
    eglDestroyContext(display_, context_);
  }

  bool makeCurrent() {
    eglBindAPI(gles_ ? EGL_OPENGL_ES_API : EGL_OPENGL_API);
    return eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, context_) == EGL_TRUE;
  }
  static void releaseCurrent() {  // with no current display, a harmless EGL_BAD_DISPLAY
    eglMakeCurrent(eglGetCurrentDisplay(), EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
  }
  bool gles() const { return gles_; }

  static std::unique_ptr<EglContext> fail(const std::string& why) {
    lastError_ += why + " (EGL error " + std::to_string(eglGetError()) + ")";
    return nullptr;
  }
  static inline std::string lastError_;
  EGLDisplay display_;
  EGLContext context_;
  bool gles_;
};

}  // namespace zent::test
