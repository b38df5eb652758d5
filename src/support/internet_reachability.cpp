#include "support/internet_reachability.h"

#include "support/main_queue.h"

namespace zent {

InternetReachability& InternetReachability::shared() {
  // Never destroyed: monitor threads and queued work may outlive static destruction.
  static auto* instance = new InternetReachability();
  return *instance;
}

void InternetReachability::start() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (monitor_) return;
  monitor_ = factory_ ? factory_() : makeSystemPathMonitor();
  if (!monitor_) return;
  monitor_->start([this](bool satisfied) { handlePathUpdate(satisfied); });
}

void InternetReachability::stopMonitor() {
  std::unique_ptr<PathMonitor> monitor;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    monitor.swap(monitor_);
  }
  // Cancelled outside the lock: a path update running now may need it.
  if (monitor) monitor->cancel();
}

bool InternetReachability::hasMonitor() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return monitor_ != nullptr;
}

void InternetReachability::setOnLost(std::function<void()> handler) {
  std::lock_guard<std::mutex> lock(mutex_);
  onLost_ = std::move(handler);
}

void InternetReachability::setOnRestored(std::function<void()> handler) {
  std::lock_guard<std::mutex> lock(mutex_);
  onRestored_ = std::move(handler);
}

void InternetReachability::setPathMonitorFactory(PathMonitorFactory factory) {
  std::lock_guard<std::mutex> lock(mutex_);
  factory_ = std::move(factory);
}

void InternetReachability::resetForTesting() {
  stopMonitor();
  std::lock_guard<std::mutex> lock(mutex_);
  factory_ = nullptr;
  onLost_ = nullptr;
  onRestored_ = nullptr;
  isConnected_.store(true);
}

void InternetReachability::handlePathUpdate(bool satisfied) {
  std::lock_guard<std::mutex> serial(updateMutex_);
  if (satisfied == isConnected_.load()) return;  // only changes are reported
  isConnected_.store(satisfied);
  MainQueue::post([this, satisfied] {
    // The handler is read when the work runs, and called without our lock.
    std::function<void()> handler;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      handler = satisfied ? onRestored_ : onLost_;
    }
    if (handler) handler();
  });
}

}  // namespace zent
