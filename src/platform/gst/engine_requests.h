#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace zent {

// The requests of one item to its pipeline, applied on a thread of the item's own
// so that the caller (the host's thread, the main queue) never waits on the
// engine: a seek or a stream selection can block inside the adaptive demuxer
// while it waits for a download.
//
// Flushing requests (seeks, stream selections) go out one at a time: while one is
// in flight, later ones wait, and a later request of the same kind replaces the
// one of that kind still waiting (the latest seek target wins). The request in
// flight ends when the pipeline reports it done (completed()), or after
// settleWait when that report never comes, so a lost message cannot hold
// transport up for good.
//
// Other requests (state changes, properties) are not held back by a flushing
// request; each has a slot, and a later request for a slot replaces the one still
// waiting in it. All requests run in the order they were first made.
class EngineRequests {
 public:
  enum class Kind { Seek, Selection };
  enum class Slot { State, Audio, VariantCaps };
  // Sends a flushing request; false when nothing went out (no report will come).
  using Flushing = std::function<bool()>;
  using Plain = std::function<void()>;
  // Called on the request thread, without any lock of this class, once nothing of
  // `kind` waits or is in flight any more.
  using Settled = std::function<void(Kind)>;

  EngineRequests(std::string name, std::chrono::milliseconds settleWait, Settled settled);
  // Stops taking requests and lets the thread go without waiting for it: a
  // request the engine never completes must not hold the caller. The thread is
  // handed to `joiner` (the teardown thread), which joins it.
  ~EngineRequests();
  EngineRequests(const EngineRequests&) = delete;
  EngineRequests& operator=(const EngineRequests&) = delete;

  void submit(Kind kind, Flushing request);
  void submit(Slot slot, Plain request);
  // The pipeline reported the flushing request of this kind done.
  void completed(Kind kind);
  // A flushing request of this kind waits or is in flight.
  bool busy(Kind kind) const;
  // Leaves the thread stuck in a request that has run for at least `stuck` to
  // finish alone and runs the requests after it on a new thread (the pipeline that
  // request went to was replaced): a state change that never returns would hold
  // every later request of the item. Returns how long the request left behind has
  // run; nothing, and nothing changes, when none is stuck.
  std::optional<std::chrono::milliseconds> replaceStuckThread(std::chrono::milliseconds stuck);
  // Forgets a request in flight (its pipeline was replaced; no report will come).
  void abandonInFlight();

  // Where the thread goes when the requests are released; by default it is
  // detached once the running request returns.
  void setJoiner(std::function<void(std::function<void()>)> joiner);

 private:
  struct State;
  static void run(const std::shared_ptr<State>& state, uint64_t generation);

  const std::shared_ptr<State> state_;
  std::mutex threadsMutex_;
  std::vector<std::thread> threads_;  // the current one last; earlier ones were stuck
  std::function<void(std::function<void()>)> joiner_;
};

}  // namespace zent
