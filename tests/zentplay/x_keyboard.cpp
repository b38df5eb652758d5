#include "x_keyboard.h"

#include <dlfcn.h>

#include <type_traits>

namespace zent::test {

// The few Xlib and XTEST entry points used, by their C signatures.
struct XKeyboard::Api {
  void* x11 = nullptr;
  void* xtst = nullptr;
  void* (*openDisplay)(const char*) = nullptr;
  int (*closeDisplay)(void*) = nullptr;
  int (*flush)(void*) = nullptr;
  int (*sync)(void*, int) = nullptr;
  unsigned char (*keysymToKeycode)(void*, unsigned long) = nullptr;
  int (*fakeKey)(void*, unsigned, int, unsigned long) = nullptr;
  int (*fakeMotion)(void*, int, int, int, unsigned long) = nullptr;
  ~Api() {
    if (xtst != nullptr) dlclose(xtst);
    if (x11 != nullptr) dlclose(x11);
  }
};

std::unique_ptr<XKeyboard> XKeyboard::open(const std::string& display, std::string& error) {
  auto api = std::make_unique<Api>();
  api->x11 = dlopen("libX11.so.6", RTLD_NOW | RTLD_LOCAL);
  api->xtst = dlopen("libXtst.so.6", RTLD_NOW | RTLD_LOCAL);
  if (api->x11 == nullptr || api->xtst == nullptr) {
    error = "libX11.so.6 or libXtst.so.6 cannot be loaded (Debian packages libx11-6, libxtst6)";
    return nullptr;
  }
  auto load = [](void* library, const char* name, auto& pointer) {
    pointer = reinterpret_cast<std::remove_reference_t<decltype(pointer)>>(dlsym(library, name));
    return pointer != nullptr;
  };
  if (!load(api->x11, "XOpenDisplay", api->openDisplay) ||
      !load(api->x11, "XCloseDisplay", api->closeDisplay) ||
      !load(api->x11, "XFlush", api->flush) || !load(api->x11, "XSync", api->sync) ||
      !load(api->x11, "XKeysymToKeycode", api->keysymToKeycode) ||
      !load(api->xtst, "XTestFakeKeyEvent", api->fakeKey) ||
      !load(api->xtst, "XTestFakeMotionEvent", api->fakeMotion)) {
    error = "libX11 or libXtst lacks a function the tests need";
    return nullptr;
  }
  void* connection = api->openDisplay(display.c_str());
  if (connection == nullptr) {
    error = "cannot connect to X display " + display;
    return nullptr;
  }
  return std::unique_ptr<XKeyboard>(new XKeyboard(std::move(api), connection));
}

XKeyboard::XKeyboard(std::unique_ptr<Api> api, void* display)
    : api_(std::move(api)), display_(display) {}

XKeyboard::~XKeyboard() {
  api_->closeDisplay(display_);
}

void XKeyboard::movePointer(int x, int y) {
  api_->fakeMotion(display_, -1, x, y, 0);
  api_->sync(display_, 0);
}

void XKeyboard::tap(unsigned long keysym) {
  const unsigned keycode = api_->keysymToKeycode(display_, keysym);
  api_->fakeKey(display_, keycode, 1, 0);
  api_->fakeKey(display_, keycode, 0, 0);
  api_->sync(display_, 0);
}

}  // namespace zent::test
