#pragma once

// A real GL context with no window, for tests: Mesa's surfaceless EGL platform on the
// llvmpipe software rasteriser (LIBGL_ALWAYS_SOFTWARE=1 unless set), so results do not
// depend on the machine's GPU.
//
//   auto gl = zent::test::EglContext::create(zent::test::GlApi::DesktopCore33);
//   if (!gl) GTEST_SKIP() << zent::test::EglContext::lastError();

#include <dlfcn.h>
#include <epoxy/egl.h>
#include <epoxy/gl.h>

#include <cstdlib>
#include <memory>
#include <string>

namespace zent::test {

enum class GlApi { DesktopCore33, Gles30 };

class EglContext {
 public:
  // A new context made current on the calling thread, or null (see lastError()).
  // Contexts made here share nothing with each other.
  static std::unique_ptr<EglContext> create(GlApi api) {
    std::string& error = lastErrorStorage();
    error = "no EGL device: ";
    setenv("LIBGL_ALWAYS_SOFTWARE", "1", 0);
    // libepoxy aborts when it cannot load libEGL, so look first.
    if (!dlopen("libEGL.so.1", RTLD_LAZY | RTLD_LOCAL)) {
      error += "libEGL.so.1 cannot be loaded";
      return nullptr;
    }
    if (!hasWord(eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS), "EGL_MESA_platform_surfaceless"))
      return fail("EGL_MESA_platform_surfaceless is not offered");
    auto getDisplay = reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(
        eglGetProcAddress("eglGetPlatformDisplayEXT"));
    EGLDisplay display =
        getDisplay ? getDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr)
                   : EGL_NO_DISPLAY;
    if (display == EGL_NO_DISPLAY || !eglInitialize(display, nullptr, nullptr))
      return fail("the surfaceless display does not initialise");
    const char* extensions = eglQueryString(display, EGL_EXTENSIONS);
    if (!hasWord(extensions, "EGL_KHR_surfaceless_context") ||
        !hasWord(extensions, "EGL_KHR_no_config_context"))
      return fail("surfaceless or configless contexts are not supported");
    const bool gles = api == GlApi::Gles30;
    if (!eglBindAPI(gles ? EGL_OPENGL_ES_API : EGL_OPENGL_API)) return fail("no API to bind");
    const EGLint attributes[] = {EGL_CONTEXT_MAJOR_VERSION,
                                 3,
                                 EGL_CONTEXT_MINOR_VERSION,
                                 gles ? 0 : 3,
                                 gles ? EGL_NONE : EGL_CONTEXT_OPENGL_PROFILE_MASK,
                                 EGL_CONTEXT_OPENGL_CORE_PROFILE_BIT,
                                 EGL_NONE};
    EGLContext context = eglCreateContext(display, EGL_NO_CONFIG_KHR, EGL_NO_CONTEXT, attributes);
    if (context == EGL_NO_CONTEXT) return fail("the context cannot be made");
    std::unique_ptr<EglContext> made(new EglContext(display, context, gles));
    if (!made->makeCurrent()) return fail("the context cannot be made current");
    error.clear();
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
    if (display != EGL_NO_DISPLAY)
      eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
  }

  bool gles() const { return gles_; }

 private:
  EglContext(EGLDisplay display, EGLContext context, bool gles)
      : display_(display), context_(context), gles_(gles) {}

  static std::unique_ptr<EglContext> fail(const std::string& why) {
    lastErrorStorage() += why + " (EGL error " + std::to_string(eglGetError()) + ")";
    return nullptr;
  }
  static bool hasWord(const char* list, const std::string& word) {
    return list && (" " + std::string(list) + " ").find(" " + word + " ") != std::string::npos;
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
