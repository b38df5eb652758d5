// The system's network path source: GIO's GNetworkMonitor, watched from a thread
// of its own.
//
// GNetworkMonitor emits "network-changed" on the main context that was the
// thread default when the instance was made, and g_network_monitor_get_default()
// hands out one instance for the whole process, bound for good to whichever
// context its first caller had. Neither the library's main queue (stopped and
// started again by NativeShutdown / NativeInit) nor the host's contexts can be
// relied on for that. So each PathMonitor owns a thread that runs a private
// GMainContext and a private monitor instance living on it: nothing else in the
// process sees that instance, and tearing it down takes nothing with it.
#include <gio/gio.h>
#include <pthread.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>

#include "support/logger.h"
#include "support/path_monitor.h"

namespace zent {
namespace {

// What the monitor thread shares with its owner. The thread holds its own
// reference, so a thread that could not be joined still finds it valid.
struct MonitorState {
  MonitorState() : context(g_main_context_new()) {}
  ~MonitorState() { g_main_context_unref(context); }
  MonitorState(const MonitorState&) = delete;
  MonitorState& operator=(const MonitorState&) = delete;

  // Calls the handler unless the monitor has been cancelled. Runs only on the
  // monitor thread; the handler is called without the lock, so it may cancel.
  void report(bool available) {
    std::function<void(bool)> current;
    {
      std::lock_guard<std::mutex> lock(mutex);
      current = handler;
    }
    if (current) current(available);
  }

  GMainContext* const context;  // iterated only by the monitor thread
  std::atomic<bool> stopRequested{false};
  std::mutex mutex;                   // guards handler
  std::function<void(bool)> handler;  // emptied by cancel()
};

void networkChanged(GNetworkMonitor*, gboolean available, gpointer data) {
  static_cast<MonitorState*>(data)->report(available != FALSE);
}

// The implementation GIO itself would use: GIO_USE_NETWORK_MONITOR if set, else
// the highest-priority one that initialises (netlink on a plain Linux machine).
// Asking for the default instance is also what registers GIO's built-in
// implementations. It is asked with no context of ours pushed, so that shared
// instance binds to the global default context, as it would for any other caller.
GType systemMonitorType() {
  GNetworkMonitor* shared = g_network_monitor_get_default();
  return shared != nullptr ? G_OBJECT_TYPE(shared) : G_TYPE_INVALID;
}

// A monitor instance of our own, created on the calling thread's default context.
GNetworkMonitor* newPrivateMonitor(GType type, std::string& reason) {
  if (type == G_TYPE_INVALID) {
    reason = "GIO offers no network monitor";
    return nullptr;
  }
  if (!g_type_is_a(type, G_TYPE_INITABLE)) {
    return G_NETWORK_MONITOR(g_object_new(type, nullptr));
  }
  GError* error = nullptr;
  gpointer monitor = g_initable_new(type, nullptr, &error, nullptr);
  if (monitor == nullptr) {
    reason = error != nullptr ? error->message : "it could not be initialised";
    reason = std::string(g_type_name(type)) + ": " + reason;
  }
  if (error != nullptr) g_error_free(error);
  return monitor != nullptr ? G_NETWORK_MONITOR(monitor) : nullptr;
}

void runMonitor(std::shared_ptr<MonitorState> state) {
  pthread_setname_np(pthread_self(), "zent-netmonitor");
  GType type = systemMonitorType();

  g_main_context_push_thread_default(state->context);
  std::string reason;
  GNetworkMonitor* monitor = newPrivateMonitor(type, reason);
  if (monitor == nullptr) {
    Logger::log(LogLevel::WARNING, "Cannot watch the network path (" + reason +
                                       "); network loss and return will not be reported");
  } else {
    gulong changed =
        g_signal_connect(monitor, "network-changed", G_CALLBACK(networkChanged), state.get());
    // The state at start counts as the first update.
    state->report(g_network_monitor_get_network_available(monitor) != FALSE);
    while (!state->stopRequested.load()) g_main_context_iteration(state->context, TRUE);
    g_signal_handler_disconnect(monitor, changed);
    // Finalising the instance destroys the sources it attached to our context.
    g_object_unref(monitor);
  }
  g_main_context_pop_thread_default(state->context);
}

class GioPathMonitor final : public PathMonitor {
 public:
  GioPathMonitor() : state_(std::make_shared<MonitorState>()) {}

  ~GioPathMonitor() override {
    cancel();
    // Destroyed from inside the handler, on the monitor thread itself: that
    // thread cannot be joined; it ends on its own once the handler returns and
    // holds its own reference to the state.
    std::lock_guard<std::mutex> lock(lifecycle_);
    if (thread_.joinable()) thread_.detach();
  }

  // One start per monitor: a second start, or a start after cancel, does nothing.
  void start(std::function<void(bool satisfied)> handler) override {
    std::lock_guard<std::mutex> lock(lifecycle_);
    if (started_) return;
    started_ = true;
    {
      std::lock_guard<std::mutex> stateLock(state_->mutex);
      state_->handler = std::move(handler);
    }
    try {
      thread_ = std::thread(runMonitor, state_);
    } catch (const std::system_error& error) {
      std::lock_guard<std::mutex> stateLock(state_->mutex);
      state_->handler = nullptr;
      Logger::log(LogLevel::WARNING,
                  std::string("Cannot start the network monitor thread: ") + error.what());
    }
  }

  // From any thread but the monitor's, returns once the monitor thread has
  // ended. From inside the handler, it only stops further reports; the thread is
  // joined by the next cancel() or the destructor on another thread.
  void cancel() override {
    std::thread thread;
    {
      std::lock_guard<std::mutex> lock(lifecycle_);
      started_ = true;  // a cancelled monitor is not started again
      if (thread_.joinable() && thread_.get_id() != std::this_thread::get_id()) {
        thread = std::move(thread_);
      }
    }
    std::function<void(bool)> dropped;
    {
      std::lock_guard<std::mutex> stateLock(state_->mutex);
      dropped.swap(state_->handler);
    }
    state_->stopRequested.store(true);
    g_main_context_wakeup(state_->context);
    if (thread.joinable()) thread.join();
  }

 private:
  std::shared_ptr<MonitorState> state_;
  std::mutex lifecycle_;  // guards started_ and thread_
  bool started_ = false;
  std::thread thread_;
};

}  // namespace

std::unique_ptr<PathMonitor> makeSystemPathMonitor() {
  return std::make_unique<GioPathMonitor>();
}

}  // namespace zent
