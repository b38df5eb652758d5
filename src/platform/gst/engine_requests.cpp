#include "platform/gst/engine_requests.h"

#include <algorithm>
#include <array>

#include "support/logger.h"

namespace zent {

struct EngineRequests::State {
  struct Entry {
    bool flushing = false;
    Kind kind = Kind::Seek;
    Slot slot = Slot::State;
    Flushing flush;
    Plain plain;
  };

  std::string name;
  std::chrono::milliseconds settleWait;
  Settled settled;

  mutable std::mutex mutex;
  std::condition_variable wake;
  std::deque<Entry> waiting;
  std::optional<Kind> inFlight;
  uint64_t flight = 0;  // counts flushing requests sent, to tell a late report from a new one
  std::optional<std::chrono::steady_clock::time_point> deadline;
  std::array<bool, 2> settlePending{false, false};
  bool stopping = false;
  std::optional<std::chrono::steady_clock::time_point> runningSince;
  uint64_t generation = 0;  // a thread of an older generation ends after its request

  bool waitingOf(Kind kind) const {
    return std::any_of(waiting.begin(), waiting.end(),
                       [&](const Entry& e) { return e.flushing && e.kind == kind; });
  }
  // The request in flight is over; its kind has settled unless another waits.
  void endFlight() {
    if (!inFlight) return;
    Kind kind = *inFlight;
    inFlight.reset();
    deadline.reset();
    if (!waitingOf(kind)) settlePending[static_cast<std::size_t>(kind)] = true;
  }
};

EngineRequests::EngineRequests(std::string name, std::chrono::milliseconds settleWait,
                               Settled settled)
    : state_(std::make_shared<State>()) {
  state_->name = std::move(name);
  state_->settleWait = settleWait;
  state_->settled = std::move(settled);
  threads_.emplace_back([state = state_] { run(state, 0); });
}

EngineRequests::~EngineRequests() {
  {
    std::lock_guard lock(state_->mutex);
    state_->stopping = true;
    state_->waiting.clear();
  }
  state_->wake.notify_all();
  std::lock_guard threadsLock(threadsMutex_);
  for (std::thread& each : threads_) {
    if (joiner_) {
      auto thread = std::make_shared<std::thread>(std::move(each));
      joiner_([thread] {
        if (thread->joinable()) thread->join();
      });
    } else {
      each.detach();
    }
  }
}

std::optional<std::chrono::milliseconds> EngineRequests::replaceStuckThread(
    std::chrono::milliseconds stuck) {
  uint64_t generation;
  std::chrono::milliseconds running;
  {
    std::lock_guard lock(state_->mutex);
    if (state_->stopping || !state_->runningSince) return std::nullopt;
    running = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - *state_->runningSince);
    if (running < stuck) return std::nullopt;
    generation = ++state_->generation;
    state_->runningSince.reset();
    state_->endFlight();
  }
  std::lock_guard threadsLock(threadsMutex_);
  threads_.emplace_back([state = state_, generation] { run(state, generation); });
  return running;
}

void EngineRequests::setJoiner(std::function<void(std::function<void()>)> joiner) {
  joiner_ = std::move(joiner);
}

void EngineRequests::submit(Kind kind, Flushing request) {
  {
    std::lock_guard lock(state_->mutex);
    if (state_->stopping) return;
    auto& waiting = state_->waiting;
    auto same = std::find_if(waiting.begin(), waiting.end(),
                             [&](const State::Entry& e) { return e.flushing && e.kind == kind; });
    if (same != waiting.end()) {
      same->flush = std::move(request);
    } else {
      waiting.push_back({true, kind, Slot::State, std::move(request), nullptr});
    }
    state_->settlePending[static_cast<std::size_t>(kind)] = false;
  }
  state_->wake.notify_all();
}

void EngineRequests::submit(Slot slot, Plain request) {
  {
    std::lock_guard lock(state_->mutex);
    if (state_->stopping) return;
    auto& waiting = state_->waiting;
    auto same = std::find_if(waiting.begin(), waiting.end(),
                             [&](const State::Entry& e) { return !e.flushing && e.slot == slot; });
    if (same != waiting.end()) {
      same->plain = std::move(request);
    } else {
      waiting.push_back({false, Kind::Seek, slot, nullptr, std::move(request)});
    }
  }
  state_->wake.notify_all();
}

void EngineRequests::completed(Kind kind) {
  {
    std::lock_guard lock(state_->mutex);
    if (state_->inFlight != kind) return;
    state_->endFlight();
  }
  state_->wake.notify_all();
}

void EngineRequests::abandonInFlight() {
  {
    std::lock_guard lock(state_->mutex);
    state_->endFlight();
  }
  state_->wake.notify_all();
}

bool EngineRequests::busy(Kind kind) const {
  std::lock_guard lock(state_->mutex);
  return state_->inFlight == kind || state_->waitingOf(kind);
}

void EngineRequests::run(const std::shared_ptr<State>& state, uint64_t generation) {
  using Clock = std::chrono::steady_clock;
  std::unique_lock lock(state->mutex);
  while (!state->stopping && state->generation == generation) {
    // Settled kinds are reported first, outside the lock.
    for (Kind kind : {Kind::Seek, Kind::Selection}) {
      bool& pending = state->settlePending[static_cast<std::size_t>(kind)];
      if (!pending) continue;
      pending = false;
      lock.unlock();
      if (state->settled) state->settled(kind);
      lock.lock();
    }
    if (state->stopping || state->generation != generation) break;

    auto& waiting = state->waiting;
    auto next = std::find_if(waiting.begin(), waiting.end(), [&](const State::Entry& e) {
      return !e.flushing || !state->inFlight;
    });
    if (next != waiting.end()) {
      State::Entry entry = std::move(*next);
      waiting.erase(next);
      state->runningSince = Clock::now();
      if (!entry.flushing) {
        lock.unlock();
        entry.plain();
        entry.plain = nullptr;  // its captures are released outside the lock too
        lock.lock();
        if (state->generation != generation) break;  // replaced while it ran
        state->runningSince.reset();
        continue;
      }
      state->inFlight = entry.kind;
      uint64_t flight = ++state->flight;
      lock.unlock();
      bool sent = entry.flush();
      entry.flush = nullptr;
      lock.lock();
      if (state->generation != generation) break;  // replaced while it ran
      state->runningSince.reset();
      // The report may have come while the request was being sent.
      if (state->inFlight == entry.kind && state->flight == flight) {
        if (sent) {
          state->deadline = Clock::now() + state->settleWait;
        } else {
          state->endFlight();
        }
      }
      continue;
    }

    if (state->inFlight && state->deadline) {
      if (Clock::now() >= *state->deadline) {
        const char* what = state->inFlight == Kind::Seek ? "seek" : "stream selection";
        state->endFlight();
        lock.unlock();  // the log line may reach the host
        Logger::log(LogLevel::WARNING,
                    "Media engine: " + state->name + ": the pipeline did not report a " + what +
                        " done within " + std::to_string(state->settleWait.count()) +
                        " ms; the next request goes out");
        lock.lock();
        continue;
      }
      state->wake.wait_until(lock, *state->deadline);
      continue;
    }
    bool anySettle = state->settlePending[0] || state->settlePending[1];
    if (!anySettle) state->wake.wait(lock);
  }
}

}  // namespace zent
