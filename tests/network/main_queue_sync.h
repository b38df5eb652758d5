#pragma once

#include <chrono>
#include <future>

#include "support/main_queue.h"

namespace zent::testing {

// Waits until everything posted to the main queue before this call has run: the
// queue runs its work in order, so a marker posted now runs after it.
inline bool drainMainQueue(std::chrono::milliseconds timeout = std::chrono::seconds(5)) {
  auto done = std::make_shared<std::promise<void>>();
  std::future<void> ran = done->get_future();
  if (!MainQueue::post([done] { done->set_value(); })) return false;
  return ran.wait_for(timeout) == std::future_status::ready;
}

}  // namespace zent::testing
