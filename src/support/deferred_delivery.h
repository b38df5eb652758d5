#pragma once

#include <functional>
#include <mutex>

namespace zent {

// Calls out to the host (log callback, player listener) made while the thread holds
// a library lock are queued and run in order once its outermost library lock is
// released, so host code never runs under one of our locks and may call back in.
class DeferredDelivery {
 public:
  // Runs the call now, or queues it when this thread holds a library lock.
  static void run(std::function<void()> call);
  static bool deferring();

  static void enterLock();
  // Runs the queued calls when the outermost lock has just been released.
  static void leaveLock();
};

// Scoped lock for every mutex of the library: holds the mutex and defers host calls.
template <typename Mutex>
class LibraryLock {
 public:
  explicit LibraryLock(Mutex& mutex) : mutex_(mutex) {
    mutex_.lock();
    DeferredDelivery::enterLock();
  }
  ~LibraryLock() {
    mutex_.unlock();
    DeferredDelivery::leaveLock();
  }
  LibraryLock(const LibraryLock&) = delete;
  LibraryLock& operator=(const LibraryLock&) = delete;

 private:
  Mutex& mutex_;
};

template <typename Mutex>
LibraryLock(Mutex&) -> LibraryLock<Mutex>;

}  // namespace zent
