#pragma once

#include <functional>
#include <memory>

namespace zent {

// Source of network path states. The real one follows GIO's GNetworkMonitor;
// tests install one they feed by hand.
class PathMonitor {
 public:
  virtual ~PathMonitor() = default;
  // Starts reporting; handler(satisfied) runs for every path update, on any thread.
  virtual void start(std::function<void(bool satisfied)> handler) = 0;
  // After cancel() returns, the handler is not called again.
  virtual void cancel() = 0;
};

using PathMonitorFactory = std::function<std::unique_ptr<PathMonitor>()>;

// The monitor that follows the system's network availability.
std::unique_ptr<PathMonitor> makeSystemPathMonitor();

}  // namespace zent
