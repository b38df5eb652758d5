#pragma once

#include <memory>

namespace zent {

class BridgePlayer;

// The process-wide bridge the exports forward to: empty until NativeInit and
// again after NativeShutdown. Reads and writes are atomic, so an export racing
// with shutdown sees either the bridge or nothing.
std::shared_ptr<BridgePlayer> currentBridge();
// The existing bridge, or a new one made with the GStreamer engine.
std::shared_ptr<BridgePlayer> bridgeOrCreate();
// Empties the holder and hands back what it held.
std::shared_ptr<BridgePlayer> takeBridge();

}  // namespace zent
