#include "support/deferred_delivery.h"

#include <deque>

namespace zent {
namespace {

thread_local int tLockDepth = 0;
// Calls queued on this thread, delivered in the order they were made.
thread_local std::deque<std::function<void()>> tPending;
// This thread is delivering queued calls: a host that calls back into the
// library from one of them raises events that must come after the rest.
thread_local bool tDelivering = false;

}  // namespace

bool DeferredDelivery::deferring() {
  return tLockDepth > 0;
}

void DeferredDelivery::run(std::function<void()> call) {
  if (tLockDepth > 0 || tDelivering) {
    tPending.push_back(std::move(call));
    return;
  }
  call();
}

void DeferredDelivery::enterLock() {
  ++tLockDepth;
}

void DeferredDelivery::leaveLock() {
  if (--tLockDepth > 0 || tDelivering || tPending.empty()) return;
  tDelivering = true;
  while (!tPending.empty()) {
    std::function<void()> call = std::move(tPending.front());
    tPending.pop_front();
    call();
  }
  tDelivering = false;
}

}  // namespace zent
