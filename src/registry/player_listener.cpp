#include "registry/player_listener.h"

#include <atomic>
#include <string>

#include "support/deferred_delivery.h"
#include "support/invariant.h"
#include "support/numeric.h"

namespace zent {
namespace {

std::atomic<PlayerListener> gListener{nullptr};

}  // namespace

void storePlayerListener(PlayerListener listener) {
  gListener.store(listener);
}

PlayerListener currentPlayerListener() {
  return gListener.load();
}

void sendMsgToListener(bool isError, int64_t playerIndex, int64_t type, int64_t param1,
                       int64_t param2, int64_t param3, int64_t param4,
                       std::string_view stringInfo) {
  if (currentPlayerListener() == nullptr) return;
  for (int64_t value : {playerIndex, type, param1, param2, param3, param4}) {
    if (!fitsInt32(value)) {
      reportBrokenInvariant("sendMsgToListener", "event value " + std::to_string(value) +
                                                     " of event " + std::to_string(type) +
                                                     " does not fit 32 bits");
      return;
    }
  }
  DeferredDelivery::run([=, text = std::string(stringInfo)] {
    // Read the slot at delivery: a listener removed meanwhile receives nothing.
    if (PlayerListener listener = currentPlayerListener()) {
      listener(isError, static_cast<int32_t>(playerIndex), static_cast<int32_t>(type),
               static_cast<int32_t>(param1), static_cast<int32_t>(param2),
               static_cast<int32_t>(param3), static_cast<int32_t>(param4), text.c_str());
    }
  });
}

}  // namespace zent
