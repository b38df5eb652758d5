#pragma once

// Key presses on an X display through the XTEST extension, as if typed: what
// the window tests use to press zentplay's keys. libX11 and libXtst are loaded
// at run time, so building the tests needs no X development headers.

#include <memory>
#include <string>

namespace zent::test {

class XKeyboard {
 public:
  // Connects to `display`; null with the reason in `error` when libXtst or
  // the display is missing.
  static std::unique_ptr<XKeyboard> open(const std::string& display, std::string& error);
  ~XKeyboard();
  XKeyboard(const XKeyboard&) = delete;
  XKeyboard& operator=(const XKeyboard&) = delete;

  // Moves the pointer (keyboard focus follows it on a server without a
  // window manager).
  void movePointer(int x, int y);
  // Presses and releases the key of an X keysym (XK_space is 0x20, XK_Right 0xff53, ...).
  void tap(unsigned long keysym);

  static constexpr unsigned long kSpace = 0x20;
  static constexpr unsigned long kRight = 0xff53;
  static constexpr unsigned long kLeft = 0xff51;
  static constexpr unsigned long kLetterA = 0x61;
  static constexpr unsigned long kLetterC = 0x63;
  static constexpr unsigned long kLetterQ = 0x71;
  static constexpr unsigned long kLetterV = 0x76;

 private:
  struct Api;
  XKeyboard(std::unique_ptr<Api> api, void* display);
  std::unique_ptr<Api> api_;
  void* display_;
};

}  // namespace zent::test
