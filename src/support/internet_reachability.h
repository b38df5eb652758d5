#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>

#include "support/path_monitor.h"

namespace zent {

// Watches whether the machine has a usable network path and turns changes into
// onLost / onRestored, delivered on the main queue, once per change. One
// instance per process (shared()).
class InternetReachability {
 public:
  static InternetReachability& shared();

  // Starts the path monitor; does nothing when one is already running.
  void start();
  // Cancels the running monitor, if any, and forgets it (StopNetworkMonitor).
  // The handlers and isConnected are left as they are.
  void stopMonitor();
  bool hasMonitor() const;

  // The last state reported; starts true and is not reset by stop or start.
  bool isConnected() const { return isConnected_.load(); }

  void setOnLost(std::function<void()> handler);
  void setOnRestored(std::function<void()> handler);

  // The source of path states used by the next start(); the system's by default.
  void setPathMonitorFactory(PathMonitorFactory factory);
  // Back to the defaults: no monitor, connected, no handlers, the system source.
  void resetForTesting();

  // One path update (what the monitor reports), handled one at a time.
  void handlePathUpdate(bool satisfied);

 private:
  InternetReachability() = default;

  mutable std::mutex mutex_;  // guards monitor_, factory_ and the handlers
  std::mutex updateMutex_;    // makes path updates one-at-a-time
  std::unique_ptr<PathMonitor> monitor_;
  PathMonitorFactory factory_;
  std::function<void()> onLost_;
  std::function<void()> onRestored_;
  std::atomic<bool> isConnected_{true};
};

}  // namespace zent
