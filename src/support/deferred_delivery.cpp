#include "support/deferred_delivery.h"

#include <vector>

namespace zent {
namespace {

thread_local int tLockDepth = 0;
thread_local std::vector<std::function<void()>> tPending;

}  // namespace

bool DeferredDelivery::deferring() {
  return tLockDepth > 0;
}

void DeferredDelivery::run(std::function<void()> call) {
  if (tLockDepth > 0) {
    tPending.push_back(std::move(call));
    return;
  }
  call();
}

void DeferredDelivery::enterLock() {
  ++tLockDepth;
}

void DeferredDelivery::leaveLock() {
  if (--tLockDepth > 0 || tPending.empty()) return;
  std::vector<std::function<void()>> calls;
  calls.swap(tPending);
  for (auto& call : calls) call();
}

}  // namespace zent
