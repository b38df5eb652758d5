#pragma once

#include <atomic>
#include <functional>
#include <memory>

namespace zent {

// An asynchronous load running on its own worker thread. Cancellation is
// cooperative: long steps (downloads, waits for the engine) poll isCancelled().
class LoadTask {
 public:
  bool isCancelled() const { return cancelled_.load(); }
  void cancel() { cancelled_.store(true); }
  const std::atomic<bool>& cancelFlag() const { return cancelled_; }
  bool isFinished() const { return finished_.load(); }
  int result() const { return result_.load(); }

  // Starts body(task) on a worker; its integer result is kept in result().
  static std::shared_ptr<LoadTask> start(std::function<int(LoadTask&)> body);
  // Cancels every running task and waits for all workers to end (library shutdown).
  static void cancelAndJoinAll();

 private:
  std::atomic<bool> cancelled_{false};
  std::atomic<bool> finished_{false};
  std::atomic<int> result_{0};
};

}  // namespace zent
