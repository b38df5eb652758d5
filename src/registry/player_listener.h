#pragma once

#include <cstdint>
#include <string_view>

namespace zent {

// The host's event callback: (isError, playerIndex, type, param1..param4, stringInfo).
using PlayerListener = void (*)(bool isError, int32_t playerIndex, int32_t type, int32_t param1,
                                int32_t param2, int32_t param3, int32_t param4,
                                const char* stringInfo);

// The one process-wide listener slot. A null listener switches events off.
void storePlayerListener(PlayerListener listener);
PlayerListener currentPlayerListener();

// Raises one event. Values that do not fit 32 bits are a broken invariant and
// raise nothing. Called under a library lock, the call to the host is queued and
// made once the lock is released; stringInfo is copied for that.
void sendMsgToListener(bool isError, int64_t playerIndex, int64_t type, int64_t param1,
                       int64_t param2, int64_t param3, int64_t param4, std::string_view stringInfo);

}  // namespace zent
