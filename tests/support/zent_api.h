// The host API of libzentplayer.so, loaded the way a game engine loads it:
#ifndef ZENT_TESTS_SUPPORT_ZENT_API_H
#define ZENT_TESTS_SUPPORT_ZENT_API_H

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "zentplayer.h"

namespace zent::test {

// Every exported function of include/zentplayer.h, X(name).
// clang-format off
#define ZENT_API_FUNCTIONS(X) \
  X(NativeInit) X(NativeAddStream) X(NativeGetTotalStreams) X(NativeClose) X(NativeShutdown) \
  X(NativeRemoveVideoContent) X(NativeRemoveStream) X(NativeOpenLocalContent) X(NativeOpenURI) \
  X(NativeSetAdditionalHttpHeader) X(NativeSetLowLatency) X(NativeStartPlayBack) X(NativeSeek) \
  X(NativePause) X(NativeResume) X(NativeStop) X(NativeSetMute) X(NativeSetVolume) \
  X(NativeSetPlaybackSpeed) X(NativeGetPlaybackSpeed) X(NativeGetPlayerState) \
  X(NativeGetTotalTime) X(NativeGetCurrentTime) X(NativeGetProgramDateTimeEpoch) \
  X(NativeGetVideoHeight) X(NativeGetVideoWidth) X(NativeGetMilisecondsEndBuffered) \
  X(NativeGetTrackCount) X(NativeGetTrackID) X(NativeGetTrackBitrate) X(NativeGetTrackWidth) \
  X(NativeGetTrackHeight) X(NativeGetTrackFrameRate) X(NativeSelectTrack) \
  X(NativeSetMaxBitrate) X(NativeSetMinBitrate) X(NativeGetTrackRotation) \
  X(NativeGetAudioStreamCount) X(NativeGetAudioStreamName) X(NativeGetAudioStreamLanguage) \
  X(NativeSetAudioStream) X(NativeEnableCaptions) X(NativeGetCaptionStreamCount) \
  X(NativeGetCaptionStreamName) X(NativeGetCaptionStreamLanguage) X(NativeSetCaptionStream) \
  X(NativeGetCaptionEncodingType) X(NativeOpenExternalSubtitles) X(NativeUpdateSubtitle) \
  X(GetTimedMetadata) X(GetExtraMetadataInfo) X(NativeSetTimedMetadta_CustomTags) \
  X(NativeGetTimedMetadta_EncodingType) X(NativeGetTimedMetadta_DataByte) X(NativeGetID3Field) \
  X(NativeGetTexture) X(NativeCleanVideoTexture) X(NativeSetLogSystemLevel) \
  X(NativeSetLogSystemTimestamp) X(NativeSetLogSystemPlatform) X(NativeSetLogCallback) \
  X(NativeGetVersion)
// clang-format on

// One pointer per export, named and typed as in include/zentplayer.h.
struct ZentApi {
#define ZENT_API_DECLARE_POINTER(name) decltype(&::name) name = nullptr;
  ZENT_API_FUNCTIONS(ZENT_API_DECLARE_POINTER)
#undef ZENT_API_DECLARE_POINTER
  const double* ZentPlayeriOSVersionNumber = nullptr;
  const unsigned char* ZentPlayeriOSVersionString = nullptr;

  void* handle = nullptr;  // from dlopen; never closed
};

// The names of every function and data export the loader resolves.
const std::vector<std::string>& zentApiSymbolNames();

// The library this build made (ZENT_LIBRARY_PATH), loaded once per process.
const ZentApi* zentApi();
const std::string& zentApiError();

// A test fixture whose SetUp fails the test (with the reason) unless the
// library loads with every export.
class ZentApiTest : public ::testing::Test {
 protected:
  void SetUp() override;
  const ZentApi& api() const { return *api_; }

 private:
  const ZentApi* api_ = nullptr;
};

}  // namespace zent::test

#endif
