// Exports: opening, transport, state and time.
#include "host/host_text.h"
#include "host/with_bridge.h"
#include "support/numeric.h"
#include "zentplayer.h"

using namespace zent;

extern "C" {

int64_t NativeOpenLocalContent(int32_t idx, const char* localUri) {
  return withBridge<int64_t>(
      -1, [&](BridgePlayer& b) { return b.OpenLocalContent(textArgument(localUri), idx); });
}

int64_t NativeOpenURI(int32_t idx, const char* uri, int32_t mimeType) {
  return withBridge<int64_t>(
      -1, [&](BridgePlayer& b) { return b.OpenURI(textArgument(uri), idx, mimeType); });
}

int64_t NativeSetAdditionalHttpHeader(int32_t idx, const char* header, const char* url) {
  return withBridge<int64_t>(-1, [&](BridgePlayer& b) {
    return b.setAdditionalHttpHeader(textArgument(header), textArgument(url), idx);
  });
}

int64_t NativeSetLowLatency(int32_t idx, int32_t enable, int32_t val) {
  return withBridge<int64_t>(
      -1, [&](BridgePlayer& b) { return b.setLowLatency(enable != 0, val, idx); });
}

int64_t NativeStartPlayBack(int32_t idx, int32_t startTime) {
  return withBridge<int64_t>(-1, [&](BridgePlayer& b) { return b.StartPlayback(startTime, idx); });
}

int64_t NativeSeek(int32_t idx, int32_t ms) {
  return withBridge<int64_t>(-1, [&](BridgePlayer& b) { return b.Seek(ms, idx); });
}

int64_t NativePause(int32_t idx) {
  return withBridge<int64_t>(-1, [&](BridgePlayer& b) { return b.Pause(idx); });
}

int64_t NativeResume(int32_t idx) {
  return withBridge<int64_t>(-1, [&](BridgePlayer& b) { return b.Resume(idx); });
}

int64_t NativeStop(int32_t idx) {
  return withBridge<int64_t>(-1, [&](BridgePlayer& b) { return b.Stop(idx); });
}

int64_t NativeSetMute(int32_t idx, int32_t muted) {
  return withBridge<int64_t>(-1, [&](BridgePlayer& b) { return b.setMute(muted != 0, idx); });
}

int64_t NativeSetVolume(int32_t idx, float volume) {
  return withBridge<int64_t>(-1, [&](BridgePlayer& b) { return b.setVolume(volume, idx); });
}

void NativeSetPlaybackSpeed(int32_t idx, float speed) {
  withBridge([&](BridgePlayer& b) { b.setPlaybackRate(speed, idx); });
}

float NativeGetPlaybackSpeed(int32_t idx) {
  return withBridge<float>(-1.0f, [&](BridgePlayer& b) { return b.getPlaybackRate(idx); });
}

int32_t NativeGetPlayerState(int32_t idx) {
  return withBridge<int32_t>(
      -1, [&](BridgePlayer& b) { return static_cast<int32_t>(b.getPlayerState(idx)); });
}

// Times cross the boundary as int32 milliseconds, truncated and saturated.
int64_t NativeGetTotalTime(int32_t idx) {
  return withBridge<int64_t>(
      -1, [&](BridgePlayer& b) { return int64_t{saturatingToInt32(b.getTotalTime(idx))}; });
}

int64_t NativeGetCurrentTime(int32_t idx) {
  return withBridge<int64_t>(
      -1, [&](BridgePlayer& b) { return int64_t{saturatingToInt32(b.getCurrentTime(idx))}; });
}

int64_t NativeGetProgramDateTimeEpoch(int32_t idx) {
  return withBridge<int64_t>(-1, [&](BridgePlayer& b) {
    return int64_t{saturatingToInt32(b.getProgramDateTimeEpoch(idx))};
  });
}

int64_t NativeGetVideoHeight(int32_t idx) {
  return withBridge<int64_t>(-1, [&](BridgePlayer& b) { return b.getVideoHeight(idx); });
}

int64_t NativeGetVideoWidth(int32_t idx) {
  return withBridge<int64_t>(-1, [&](BridgePlayer& b) { return b.getVideoWidth(idx); });
}

int64_t NativeGetMilisecondsEndBuffered(int32_t idx) {
  return withBridge<int64_t>(-1, [&](BridgePlayer& b) { return b.getMilisecondsEndBuffered(idx); });
}

}  // extern "C"
