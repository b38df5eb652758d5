#pragma once

#include <gst/gst.h>

#include <chrono>
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
// joins the thread, unless a job makes no progress for kStallWait.
class TeardownWorker {
 public:
  // GStreamer 1.22's adaptivedemux2 fetches playlists with a blocking request
  // that its NULL transition cannot cancel: taking such a pipeline down waits
  // out the download helper's 10 s socket timeout when the origin never answers.
  // A job that has not finished after this long is taken to be such a wait;
  // jobs that keep finishing (many pipelines on a busy machine) are waited for.
  static constexpr std::chrono::milliseconds kStallWait{800};

  static std::shared_ptr<TeardownWorker> acquire();
  // Finishes the queue and joins the thread while its jobs keep finishing. When
  // one runs for kStallWait, the thread finishes the queue on its own and the
  // library stays loaded until the process ends, since that thread still runs
  // its code (a WARNING says so).
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
  // Shared with the thread, which may outlive this object.
  struct Queue {
    std::mutex mutex;
    std::condition_variable wake;
    std::condition_variable drained;
    std::deque<std::function<void()>> pending;
    bool busy = false;
    uint64_t finished = 0;  // jobs done so far
    bool stopping = false;
    bool exited = false;
  };

  TeardownWorker();
  static void run(const std::shared_ptr<Queue>& queue);

  const std::shared_ptr<Queue> queue_ = std::make_shared<Queue>();
  std::thread thread_;
};

}  // namespace zent
