#include "platform/gst/teardown_worker.h"

#include "platform/library_pin.h"
#include "support/logger.h"

namespace zent {

std::shared_ptr<TeardownWorker> TeardownWorker::acquire() {
  static std::mutex mutex;
  static std::weak_ptr<TeardownWorker> current;
  std::lock_guard lock(mutex);
  std::shared_ptr<TeardownWorker> worker = current.lock();
  if (!worker) {
    worker.reset(new TeardownWorker());
    current = worker;
  }
  return worker;
}

TeardownWorker::TeardownWorker() : thread_([queue = queue_] { run(queue); }) {}

TeardownWorker::~TeardownWorker() {
  const bool onOwnThread = thread_.get_id() == std::this_thread::get_id();
  bool exited = false;
  {
    std::unique_lock lock(queue_->mutex);
    queue_->stopping = true;
    queue_->wake.notify_all();
    // Waits as long as jobs keep finishing; gives up on one that does not.
    bool progressed = !onOwnThread;
    while (progressed && !queue_->exited) {
      const uint64_t seen = queue_->finished;
      progressed = queue_->drained.wait_for(
          lock, kStallWait, [&] { return queue_->exited || queue_->finished != seen; });
    }
    exited = queue_->exited;
  }
  if (exited) {
    thread_.join();
    return;
  }
  if (!onOwnThread) {
    keepLibraryLoaded();
    Logger::log(LogLevel::WARNING,
                "Media engine: a released pipeline is still being taken down (a network source "
                "waits on its server); it finishes on its own thread, and the library stays "
                "loaded until the process ends");
  }
  thread_.detach();  // it holds the queue; it ends once the queue is empty
}

void TeardownWorker::retire(GstElement* pipeline) {
  if (pipeline == nullptr) return;
  post([pipeline] {
    // Elements are only unreffed once they are in NULL.
    gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_object_unref(pipeline);
  });
}

void TeardownWorker::post(std::function<void()> job) {
  {
    std::lock_guard lock(queue_->mutex);
    queue_->pending.push_back(std::move(job));
  }
  queue_->wake.notify_one();
}

void TeardownWorker::drain() {
  std::unique_lock lock(queue_->mutex);
  queue_->drained.wait(lock, [this] { return queue_->pending.empty() && !queue_->busy; });
}

void TeardownWorker::run(const std::shared_ptr<Queue>& queue) {
  std::unique_lock lock(queue->mutex);
  for (;;) {
    queue->wake.wait(lock, [&] { return queue->stopping || !queue->pending.empty(); });
    if (queue->pending.empty()) {
      if (queue->stopping) break;
      continue;
    }
    std::function<void()> job = std::move(queue->pending.front());
    queue->pending.pop_front();
    queue->busy = true;
    lock.unlock();
    job();
    job = nullptr;  // captures are released outside the lock too
    lock.lock();
    queue->busy = false;
    ++queue->finished;
    queue->drained.notify_all();
  }
  queue->exited = true;
  queue->drained.notify_all();
}

}  // namespace zent
