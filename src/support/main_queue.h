#pragma once

#include <functional>

namespace zent {

// The library's main queue: one library-owned thread running an event loop.
// Ready, end-of-content, caption and network events are raised there, one work
// item at a time, in the order posted. Started with the bridge, stopped at shutdown.
class MainQueue {
 public:
  static void start();  // idempotent
  // Stops the loop and joins its thread; work still queued is dropped.
  static void stop();
  // Queues work; false (and the work is dropped) when the queue is not running.
  static bool post(std::function<void()> work);
  static bool isRunning();
  static bool isCurrentThread();
};

}  // namespace zent
