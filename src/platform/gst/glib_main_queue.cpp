#include <glib.h>

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "platform/gst/main_queue_context.h"
#include "support/main_queue.h"

namespace zent {
namespace {

// The queue's state. Work items live in a deque under a plain mutex; one idle
// GSource at a time is attached to the context to drain it, one item per dispatch,
// so bus watches on the same context interleave with posted work.
struct QueueState {
  std::mutex lifecycleMutex;  // start/stop
  std::thread thread;
  // The running loop's stop request. A flag rather than g_main_loop_quit(): a
  // quit made before the thread has entered g_main_loop_run() is forgotten, and
  // stop() would then wait for ever.
  std::shared_ptr<std::atomic<bool>> quit;
  std::atomic<bool> running{false};
  std::atomic<std::thread::id> threadId{};

  std::mutex workMutex;
  std::deque<std::function<void()>> work;
  GSource* drainSource = nullptr;  // attached while work is queued
};

QueueState& state() {
  // Never destroyed: a queue thread may still be ending while the process exits.
  static QueueState* queue = new QueueState();
  return *queue;
}

gboolean drainOne(gpointer) {
  QueueState& queue = state();
  std::function<void()> item;
  bool more = false;
  {
    std::lock_guard lock(queue.workMutex);
    if (queue.work.empty()) {
      if (queue.drainSource != nullptr) {
        g_source_unref(queue.drainSource);
        queue.drainSource = nullptr;
      }
      return G_SOURCE_REMOVE;
    }
    item = std::move(queue.work.front());
    queue.work.pop_front();
    more = !queue.work.empty();
    if (!more && queue.drainSource != nullptr) {
      g_source_unref(queue.drainSource);
      queue.drainSource = nullptr;
    }
  }
  item();
  return more ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
}

// Drops queued work; the work's captures are destroyed outside the lock.
void dropQueuedWork(QueueState& queue) {
  std::deque<std::function<void()>> dropped;
  GSource* source = nullptr;
  {
    std::lock_guard lock(queue.workMutex);
    dropped.swap(queue.work);
    source = queue.drainSource;
    queue.drainSource = nullptr;
  }
  if (source != nullptr) {
    g_source_destroy(source);
    g_source_unref(source);
  }
}

void runLoop(std::shared_ptr<std::atomic<bool>> quit) {
  GMainContext* context = mainQueueContext();
  g_main_context_push_thread_default(context);
  while (!quit->load()) g_main_context_iteration(context, TRUE);
  g_main_context_pop_thread_default(context);
}

}  // namespace

GMainContext* mainQueueContext() {
  static GMainContext* context = g_main_context_new();
  return context;
}

void MainQueue::start() {
  QueueState& queue = state();
  std::lock_guard lock(queue.lifecycleMutex);
  if (queue.running.load()) return;
  // A loop thread that stopped itself was detached; its context ownership passes to
  // the new loop as soon as it has finished (an iteration waits for it).
  queue.quit = std::make_shared<std::atomic<bool>>(false);
  queue.running.store(true);
  queue.thread = std::thread(runLoop, queue.quit);
  queue.threadId.store(queue.thread.get_id());
}

void MainQueue::stop() {
  QueueState& queue = state();
  std::thread thread;
  {
    std::lock_guard lock(queue.lifecycleMutex);
    if (!queue.running.load()) return;
    queue.running.store(false);
    queue.quit->store(true);
    g_main_context_wakeup(mainQueueContext());
    queue.quit.reset();
    thread = std::move(queue.thread);
    queue.threadId.store(std::thread::id{});
  }
  dropQueuedWork(queue);
  if (thread.get_id() == std::this_thread::get_id()) {
    // Stopped from a work item: the loop ends when that item returns.
    thread.detach();
  } else {
    thread.join();
  }
}

bool MainQueue::post(std::function<void()> work) {
  QueueState& queue = state();
  if (!work) return false;
  std::lock_guard lock(queue.workMutex);
  // Checked under the work lock: stop() clears the flag before it drops the queue,
  // so work is either dropped by stop() or refused here, never left behind.
  if (!queue.running.load()) return false;
  queue.work.push_back(std::move(work));
  if (queue.drainSource == nullptr) {
    GSource* source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    g_source_set_callback(source, drainOne, nullptr, nullptr);
    g_source_attach(source, mainQueueContext());
    queue.drainSource = source;  // our reference; the context holds its own
  }
  return true;
}

bool MainQueue::isRunning() {
  return state().running.load();
}

bool MainQueue::isCurrentThread() {
  return state().running.load() && state().threadId.load() == std::this_thread::get_id();
}

}  // namespace zent
