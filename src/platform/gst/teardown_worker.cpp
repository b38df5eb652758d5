#include "platform/gst/teardown_worker.h"

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

TeardownWorker::TeardownWorker() : thread_([this] { run(); }) {}

TeardownWorker::~TeardownWorker() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  if (thread_.get_id() == std::this_thread::get_id()) {
    thread_.detach();  // cannot happen by design; never self-join
  } else {
    thread_.join();
  }
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
    std::lock_guard lock(mutex_);
    pending_.push_back(std::move(job));
  }
  wake_.notify_one();
}

void TeardownWorker::drain() {
  std::unique_lock lock(mutex_);
  drained_.wait(lock, [this] { return pending_.empty() && !busy_; });
}

void TeardownWorker::run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    wake_.wait(lock, [this] { return stopping_ || !pending_.empty(); });
    if (pending_.empty()) {
      if (stopping_) break;
      continue;
    }
    std::function<void()> job = std::move(pending_.front());
    pending_.pop_front();
    busy_ = true;
    lock.unlock();
    job();
    job = nullptr;  // captures are released outside the lock too
    lock.lock();
    busy_ = false;
    if (pending_.empty()) drained_.notify_all();
  }
}

}  // namespace zent
