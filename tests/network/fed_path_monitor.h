#pragma once

// A path source the test feeds by hand, standing in for the system's network
// monitor where a real loss cannot be produced on demand.

#include <functional>
#include <memory>
#include <mutex>

#include "support/path_monitor.h"

namespace zent::testing {

// The test's end: feed(satisfied) reaches the monitor that is attached now, if any.
class FedPathSource : public std::enable_shared_from_this<FedPathSource> {
 public:
  // A factory for InternetReachability::setPathMonitorFactory; each monitor it
  // makes attaches to this source when started and detaches when cancelled.
  PathMonitorFactory factory();

  // Reports one path state, synchronously, as the system source would from its thread.
  void feed(bool satisfied) {
    std::function<void(bool)> handler;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      handler = handler_;
    }
    if (handler) handler(satisfied);
  }

  int monitorsMade() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return made_;
  }
  bool attached() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return static_cast<bool>(handler_);
  }

 private:
  class Monitor;
  mutable std::mutex mutex_;
  std::function<void(bool)> handler_;
  int made_ = 0;
  int attachedId_ = 0;
};

class FedPathSource::Monitor final : public PathMonitor {
 public:
  Monitor(std::shared_ptr<FedPathSource> source, int id) : source_(std::move(source)), id_(id) {}
  ~Monitor() override { cancel(); }
  void start(std::function<void(bool)> handler) override {
    std::lock_guard<std::mutex> lock(source_->mutex_);
    source_->handler_ = std::move(handler);
    source_->attachedId_ = id_;
  }
  void cancel() override {
    std::lock_guard<std::mutex> lock(source_->mutex_);
    // Only the monitor that is attached detaches: an older one cancelled late
    // must not cut off its successor.
    if (source_->attachedId_ != id_) return;
    source_->handler_ = nullptr;
    source_->attachedId_ = 0;
  }

 private:
  std::shared_ptr<FedPathSource> source_;
  int id_;
};

inline PathMonitorFactory FedPathSource::factory() {
  std::weak_ptr<FedPathSource> weakSelf = weak_from_this();
  return [weakSelf]() -> std::unique_ptr<PathMonitor> {
    auto self = weakSelf.lock();
    if (!self) return nullptr;
    int id = 0;
    {
      std::lock_guard<std::mutex> lock(self->mutex_);
      id = ++self->made_;
    }
    return std::make_unique<Monitor>(self, id);
  };
}

}  // namespace zent::testing
