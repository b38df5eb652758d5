#pragma once

#include <gst/gst.h>

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace zent {

// Takes released pipelines to NULL off the host's thread: the NULL transition
// joins the streaming threads and can wait on network sources. Other slow
// releases (joining a worker that is still reading a playlist) go the same way.
// One worker thread per process, shared by the engine and every item (each holds
// a reference); the last holder to let go, at shutdown, finishes the queue and
// joins the thread.
class TeardownWorker {
 public:
  static std::shared_ptr<TeardownWorker> acquire();
  ~TeardownWorker();
  TeardownWorker(const TeardownWorker&) = delete;
  TeardownWorker& operator=(const TeardownWorker&) = delete;

  // Takes over one reference to the pipeline: it is set to NULL, then unreffed.
  void retire(GstElement* pipeline);
  // Runs job on the teardown thread, after the work queued before it.
  void post(std::function<void()> job);
  // Blocks until every pipeline retired so far has been released.
  void drain();

 private:
  TeardownWorker();
  void run();

  std::mutex mutex_;
  std::condition_variable wake_;
  std::condition_variable drained_;
  std::deque<std::function<void()>> pending_;
  bool busy_ = false;
  bool stopping_ = false;
  std::thread thread_;
};

}  // namespace zent
