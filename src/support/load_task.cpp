#include "support/load_task.h"

#include <mutex>
#include <thread>
#include <vector>

namespace zent {
namespace {

struct Worker {
  std::shared_ptr<LoadTask> task;
  std::thread thread;
};

std::mutex gWorkersMutex;
std::vector<Worker> gWorkers;

// Joins workers whose body has returned, so finished threads do not pile up.
void reapFinishedLocked() {
  for (auto it = gWorkers.begin(); it != gWorkers.end();) {
    if (it->task->isFinished()) {
      it->thread.join();
      it = gWorkers.erase(it);
    } else {
      ++it;
    }
  }
}

}  // namespace

std::shared_ptr<LoadTask> LoadTask::start(std::function<int(LoadTask&)> body) {
  auto task = std::make_shared<LoadTask>();
  std::lock_guard<std::mutex> lock(gWorkersMutex);
  reapFinishedLocked();
  std::thread thread([task, body = std::move(body)] {
    task->result_.store(body(*task));
    task->finished_.store(true);
  });
  gWorkers.push_back({task, std::move(thread)});
  return task;
}

void LoadTask::cancelAndJoinAll() {
  std::vector<Worker> workers;
  {
    std::lock_guard<std::mutex> lock(gWorkersMutex);
    workers.swap(gWorkers);
  }
  for (auto& worker : workers) worker.task->cancel();
  for (auto& worker : workers) {
    if (worker.thread.get_id() == std::this_thread::get_id()) {
      worker.thread.detach();  // shutdown requested from inside a load: it ends on its own
    } else {
      worker.thread.join();
    }
  }
}

}  // namespace zent
