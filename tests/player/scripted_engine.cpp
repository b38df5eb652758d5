#include "player/scripted_engine.h"

#include <chrono>
#include <future>

#include "support/main_queue.h"

namespace zent::testing {

bool drainMainQueue() {
  auto done = std::make_shared<std::promise<void>>();
  std::future<void> ran = done->get_future();
  if (!MainQueue::post([done] { done->set_value(); })) return false;
  return ran.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
}

void ScriptedItem::resolve(ItemStatus status) {
  set(status_, status);
  resolved_.notify_all();
  MainQueue::post([self = shared_from_this(), status] {
    if (auto d = self->get(self->delegate_).lock()) d->itemStatusChanged(*self, status);
  });
}

ItemStatus ScriptedItem::waitUntilResolved(double timeoutSeconds, const std::atomic<bool>* cancel) {
  std::unique_lock<std::mutex> lock(mutex);
  auto deadline = std::chrono::steady_clock::now() +
                  std::chrono::milliseconds(static_cast<int64_t>(timeoutSeconds * 1000));
  while (status_ == ItemStatus::Unknown && !(cancel && cancel->load()) &&
         std::chrono::steady_clock::now() < deadline) {
    resolved_.wait_for(lock, std::chrono::milliseconds(20));
  }
  return status_;
}

void ScriptedPlayer::record(std::string call, std::optional<float> rate) {
  std::lock_guard<std::mutex> lock(mutex);
  calls_.push_back(std::move(call));
  if (rate) rate_ = *rate;
}

std::vector<std::string> ScriptedPlayer::calls(const std::string& prefix) const {
  std::vector<std::string> found;
  for (const auto& call : get(calls_)) {
    if (call.rfind(prefix, 0) == 0) found.push_back(call);
  }
  return found;
}

std::shared_ptr<PlayerItem> ScriptedEngine::makeItem(const std::string& url) {
  auto item = std::make_shared<ScriptedItem>(url);
  std::lock_guard<std::mutex> lock(mutex);
  items_.push_back(item);
  made_.notify_all();
  return item;
}

std::shared_ptr<MediaPlayer> ScriptedEngine::makePlayer(std::shared_ptr<PlayerItem> item) {
  auto created = std::make_shared<ScriptedPlayer>(std::static_pointer_cast<ScriptedItem>(item));
  std::lock_guard<std::mutex> lock(mutex);
  players_.push_back(created);
  made_.notify_all();
  return created;
}

std::shared_ptr<VideoOutput> ScriptedEngine::makeVideoOutput() {
  struct NoFrames : VideoOutput {
    bool hasNewPixelBuffer(double) override { return false; }
    std::shared_ptr<PixelBuffer> copyPixelBuffer(double) override { return nullptr; }
  };
  return std::make_shared<NoFrames>();
}

class FedPathSource::Monitor final : public PathMonitor {
 public:
  Monitor(std::shared_ptr<FedPathSource> source, int id) : source_(std::move(source)), id_(id) {}
  ~Monitor() override { cancel(); }
  void start(std::function<void(bool)> handler) override {
    std::lock_guard<std::mutex> lock(source_->mutex);
    source_->handler_ = std::move(handler);
    source_->attachedId_ = id_;
  }
  void cancel() override {
    std::lock_guard<std::mutex> lock(source_->mutex);
    // An older monitor cancelled late must not cut off its successor.
    if (source_->attachedId_ == id_) source_->handler_ = nullptr;
  }

 private:
  std::shared_ptr<FedPathSource> source_;
  int id_;
};

PathMonitorFactory FedPathSource::factory() {
  return [weakSelf = weak_from_this()]() -> std::unique_ptr<PathMonitor> {
    auto self = weakSelf.lock();
    if (!self) return nullptr;
    std::lock_guard<std::mutex> lock(self->mutex);
    return std::make_unique<Monitor>(self, ++self->made_);
  };
}

}  // namespace zent::testing
