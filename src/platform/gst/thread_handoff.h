#pragma once

// Marks data handed from one thread to another through GStreamer's or GLib's own
// synchronisation (appsink callback data, clock waits). That synchronisation is
// compiled without ThreadSanitizer, so the sanitizer cannot see that the hand-off
// orders the two threads; these marks tell it. They compile to nothing otherwise.

#if defined(__SANITIZE_THREAD__)
#define ZENT_TSAN 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define ZENT_TSAN 1
#endif
#endif

#include <utility>

#ifdef ZENT_TSAN
extern "C" void __tsan_acquire(void* address);
extern "C" void __tsan_release(void* address);
#endif

namespace zent {

// The sending thread, after it has written the data at `address`.
inline void handOff([[maybe_unused]] void* address) {
#ifdef ZENT_TSAN
  __tsan_release(address);
#endif
}

// The receiving thread, before it reads the data at `address`.
inline void takeOver([[maybe_unused]] void* address) {
#ifdef ZENT_TSAN
  __tsan_acquire(address);
#endif
}

// User data of a C callback: a heap copy of value, made on the thread that
// installs the callback and read on the threads that call it.
template <typename T>
void* newCallbackData(T value) {
  auto* data = new T(std::move(value));
  handOff(data);
  return data;
}

template <typename T>
T& callbackData(void* data) {
  takeOver(data);
  return *static_cast<T*>(data);
}

template <typename T>
void deleteCallbackData(void* data) {
  takeOver(data);
  delete static_cast<T*>(data);
}

}  // namespace zent
