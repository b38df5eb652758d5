#pragma once

// libzentplayer.so loaded at run time, the way a game engine loads a native
// plug-in: dlopen, then dlsym for each exported function the host uses. The
// host never links against the library.

#include <string>

#include "zentplayer.h"

namespace zentplay {

// The exports zentplay calls, X(name).
#define ZENTPLAY_LIBRARY_FUNCTIONS(X) \
  X(NativeInit)                       \
  X(NativeShutdown)                   \
  X(NativeAddStream)                  \
  X(NativeRemoveStream)               \
  X(NativeGetTotalStreams)            \
  X(NativeOpenLocalContent)           \
  X(NativeOpenURI)                    \
  X(NativeStartPlayBack)              \
  X(NativeSeek)                       \
  X(NativePause)                      \
  X(NativeResume)                     \
  X(NativeGetPlayerState)             \
  X(NativeGetTotalTime)               \
  X(NativeGetCurrentTime)             \
  X(NativeGetVideoWidth)              \
  X(NativeGetVideoHeight)             \
  X(NativeGetTrackCount)              \
  X(NativeGetTrackWidth)              \
  X(NativeGetTrackHeight)             \
  X(NativeGetTrackBitrate)            \
  X(NativeGetTrackFrameRate)          \
  X(NativeSelectTrack)                \
  X(NativeGetAudioStreamCount)        \
  X(NativeGetAudioStreamName)         \
  X(NativeGetAudioStreamLanguage)     \
  X(NativeSetAudioStream)             \
  X(NativeEnableCaptions)             \
  X(NativeGetCaptionStreamCount)      \
  X(NativeGetCaptionStreamName)       \
  X(NativeOpenExternalSubtitles)      \
  X(NativeUpdateSubtitle)             \
  X(NativeGetTexture)                 \
  X(NativeSetLogSystemLevel)          \
  X(NativeSetLogCallback)             \
  X(NativeGetVersion)

class ZentLibrary {
 public:
  ZentLibrary() = default;
  ~ZentLibrary();
  ZentLibrary(const ZentLibrary&) = delete;
  ZentLibrary& operator=(const ZentLibrary&) = delete;

  // Opens the library at `path` and resolves every function above. On failure
  // returns false and leaves the reason (dlerror's text) in error().
  bool load(const std::string& path);
  const std::string& error() const { return error_; }
  const std::string& path() const { return path_; }

#define ZENTPLAY_DECLARE_POINTER(name) decltype(&::name) name = nullptr;
  ZENTPLAY_LIBRARY_FUNCTIONS(ZENTPLAY_DECLARE_POINTER)
#undef ZENTPLAY_DECLARE_POINTER

 private:
  void* handle_ = nullptr;
  std::string path_;
  std::string error_;
};

// The library to load when --library is not given: the one built beside this
// program (a path fixed at build time), else libzentplayer.so in the
// executable's directory, else the bare name for the dynamic loader's search.
std::string defaultLibraryPath();

// A text result of the library as a std::string, freed as the header asks.
std::string takeText(char* text);

}  // namespace zentplay
