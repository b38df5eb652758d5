/*
 * ZentPlayer: a native video player for game engines.
 *
 * The host loads libzentplayer.so and drives it through these functions. Every
 * player is addressed by a small integer index: the n-th NativeAddStream creates
 * player n-1 (the index is the stream count before the call). Events arrive
 * through the one listener installed with NativeInit.
 *
 * Conventions
 * - Text arguments are UTF-8, NUL-terminated; NULL is treated as "".
 * - Text results are heap copies the host frees with free(), except the constant
 *   "" returned while no bridge exists (before NativeInit, after NativeShutdown),
 *   which must not be freed.
 * - Integer results are -1 when there is no bridge or the player index is bad.
 * - NativeGetTexture returns the GL texture name cast to a pointer (RGBA8, the
 *   frame's size), or NULL. Call it on the thread that has the host's GL context
 *   current (GL 3.3 core or GLES 3).
 * - The library never stops the process: misuse is logged at ERROR and answered
 *   with the neutral value.
 */
#ifndef ZENTPLAYER_H
#define ZENTPLAYER_H

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define ZENTPLAYER_API __attribute__((visibility("default")))
#else
#define ZENTPLAYER_API
#endif

/* Listener: (isError, playerIndex, type, param1, param2, param3, param4, stringInfo).
 * stringInfo is valid only during the call; copy it to keep it. */
typedef void (*ZentPlayerListener)(bool isError, int32_t playerIndex, int32_t type, int32_t param1,
                                   int32_t param2, int32_t param3, int32_t param4,
                                   const char* stringInfo);

/* Log sink: level 0 DEBUG .. 3 ERROR, the whole line without its newline. */
typedef void (*ZentPlayerLogCallback)(int32_t level, const char* line);

/* Event codes (isError false). */
enum {
  ZENTPLAYER_EVENT_PLAYBACK_READY = 0,
  ZENTPLAYER_EVENT_PLAYBACK_PLAY = 3,
  ZENTPLAYER_EVENT_PLAYBACK_PAUSE = 4,
  ZENTPLAYER_EVENT_PLAYBACK_STOP = 5,
  ZENTPLAYER_EVENT_PLAYBACK_SEEK = 6,
  ZENTPLAYER_EVENT_CAPTION_TEXT = 11,
  ZENTPLAYER_EVENT_NETWORK_CONNECTED = 14,
  ZENTPLAYER_EVENT_END_OF_CONTENT = 20
};

/* Error codes (isError true). */
enum { ZENTPLAYER_ERROR_NETWORK_FAILED = 11 };

/* Player states returned by NativeGetPlayerState. */
enum {
  ZENTPLAYER_STATE_NONE = 0,
  ZENTPLAYER_STATE_CLOSE = 1,
  ZENTPLAYER_STATE_STOP = 2,
  ZENTPLAYER_STATE_PLAY = 3,
  ZENTPLAYER_STATE_PAUSE = 4
};

/* MIME selectors for NativeOpenURI. */
enum { ZENTPLAYER_MIME_NONE = 0, ZENTPLAYER_MIME_HLS = 1, ZENTPLAYER_MIME_DASH = 2 };

/* Log levels for NativeSetLogSystemLevel. */
enum {
  ZENTPLAYER_LOG_DEBUG = 0,
  ZENTPLAYER_LOG_INFO = 1,
  ZENTPLAYER_LOG_WARNING = 2,
  ZENTPLAYER_LOG_ERROR = 3,
  ZENTPLAYER_LOG_NONE = 4
};

/* Fields of the ID3 record, for NativeGetID3Field. */
enum {
  ZENTPLAYER_ID3_TEXT = 0,
  ZENTPLAYER_ID3_TITLE = 1,
  ZENTPLAYER_ID3_ALBUM = 2,
  ZENTPLAYER_ID3_ARTIST = 3,
  ZENTPLAYER_ID3_DATE = 4,
  ZENTPLAYER_ID3_TRACK = 5,
  ZENTPLAYER_ID3_YEAR = 6,
  ZENTPLAYER_ID3_ATTACHED_PICTURE = 7,
  ZENTPLAYER_ID3_LYRIC = 8,
  ZENTPLAYER_ID3_COMMENT = 9,
  ZENTPLAYER_ID3_TIME = 10,
  ZENTPLAYER_ID3_ENCAPSULATED_OBJECT = 11,
  ZENTPLAYER_ID3_MIME_TYPE = 12,
  ZENTPLAYER_ID3_DESCRIPTION = 13,
  ZENTPLAYER_ID3_FILENAME = 14
};

/* Version data. */
ZENTPLAYER_API extern const double ZentPlayeriOSVersionNumber;
ZENTPLAYER_API extern const unsigned char ZentPlayeriOSVersionString[];

/* Lifecycle */
ZENTPLAYER_API void NativeInit(ZentPlayerListener listener);
ZENTPLAYER_API int64_t NativeAddStream(int32_t autoPlay);
ZENTPLAYER_API int64_t NativeGetTotalStreams(void);
ZENTPLAYER_API void NativeClose(int32_t playerIndex);
ZENTPLAYER_API void NativeShutdown(void);
ZENTPLAYER_API void NativeRemoveVideoContent(int32_t playerIndex);
ZENTPLAYER_API void NativeRemoveStream(int32_t playerIndex);

/* Opening */
ZENTPLAYER_API int64_t NativeOpenLocalContent(int32_t playerIndex, const char* localUri);
ZENTPLAYER_API int64_t NativeOpenURI(int32_t playerIndex, const char* uri, int32_t mimeType);
ZENTPLAYER_API int64_t NativeSetAdditionalHttpHeader(int32_t playerIndex, const char* header,
                                                     const char* url);
ZENTPLAYER_API int64_t NativeSetLowLatency(int32_t playerIndex, int32_t enable, int32_t val);

/* Transport */
ZENTPLAYER_API int64_t NativeStartPlayBack(int32_t playerIndex, int32_t startTime);
ZENTPLAYER_API int64_t NativeSeek(int32_t playerIndex, int32_t ms);
ZENTPLAYER_API int64_t NativePause(int32_t playerIndex);
ZENTPLAYER_API int64_t NativeResume(int32_t playerIndex);
ZENTPLAYER_API int64_t NativeStop(int32_t playerIndex);
ZENTPLAYER_API int64_t NativeSetMute(int32_t playerIndex, int32_t muted);
ZENTPLAYER_API int64_t NativeSetVolume(int32_t playerIndex, float volume);
ZENTPLAYER_API void NativeSetPlaybackSpeed(int32_t playerIndex, float speed);
ZENTPLAYER_API float NativeGetPlaybackSpeed(int32_t playerIndex);

/* State, times and size */
ZENTPLAYER_API int32_t NativeGetPlayerState(int32_t playerIndex);
ZENTPLAYER_API int64_t NativeGetTotalTime(int32_t playerIndex);
ZENTPLAYER_API int64_t NativeGetCurrentTime(int32_t playerIndex);
ZENTPLAYER_API int64_t NativeGetProgramDateTimeEpoch(int32_t playerIndex);
ZENTPLAYER_API int64_t NativeGetVideoHeight(int32_t playerIndex);
ZENTPLAYER_API int64_t NativeGetVideoWidth(int32_t playerIndex);
ZENTPLAYER_API int64_t NativeGetMilisecondsEndBuffered(int32_t playerIndex);

/* Video variants */
ZENTPLAYER_API int64_t NativeGetTrackCount(int32_t playerIndex);
ZENTPLAYER_API char* NativeGetTrackID(int32_t playerIndex, int32_t trackIndex);
ZENTPLAYER_API int64_t NativeGetTrackBitrate(int32_t playerIndex, int32_t trackIndex);
ZENTPLAYER_API int64_t NativeGetTrackWidth(int32_t playerIndex, int32_t trackIndex);
ZENTPLAYER_API int64_t NativeGetTrackHeight(int32_t playerIndex, int32_t trackIndex);
ZENTPLAYER_API float NativeGetTrackFrameRate(int32_t playerIndex, int32_t trackIndex);
ZENTPLAYER_API void NativeSelectTrack(int32_t playerIndex, int32_t trackIndex);
ZENTPLAYER_API void NativeSetMaxBitrate(int32_t playerIndex, int32_t bitrate);
ZENTPLAYER_API void NativeSetMinBitrate(int32_t playerIndex, int32_t bitrate);
ZENTPLAYER_API float NativeGetTrackRotation(int32_t playerIndex, int32_t trackWidth,
                                            int32_t trackHeight);

/* Audio renditions and captions */
ZENTPLAYER_API int64_t NativeGetAudioStreamCount(int32_t playerIndex);
ZENTPLAYER_API char* NativeGetAudioStreamName(int32_t playerIndex, int32_t id);
ZENTPLAYER_API char* NativeGetAudioStreamLanguage(int32_t playerIndex, int32_t id);
ZENTPLAYER_API void NativeSetAudioStream(int32_t playerIndex, int32_t id);
ZENTPLAYER_API void NativeEnableCaptions(int32_t playerIndex, bool enabled);
ZENTPLAYER_API int64_t NativeGetCaptionStreamCount(int32_t playerIndex);
ZENTPLAYER_API char* NativeGetCaptionStreamName(int32_t playerIndex, int32_t id);
ZENTPLAYER_API char* NativeGetCaptionStreamLanguage(int32_t playerIndex, int32_t id);
ZENTPLAYER_API void NativeSetCaptionStream(int32_t playerIndex, int32_t id);
ZENTPLAYER_API int64_t NativeGetCaptionEncodingType(int32_t playerIndex);

/* External SRT subtitles. NativeOpenExternalSubtitles returns 1 or 0, and 0xFF
 * (all bits set) when there is no bridge. */
ZENTPLAYER_API uint8_t NativeOpenExternalSubtitles(int32_t playerIndex, const char* subUrl);
ZENTPLAYER_API char* NativeUpdateSubtitle(int32_t playerIndex);

/* Timed metadata. The first five are kept for compatibility and answer
 * constants (NULL, or 0 with a bridge and -1 without). NativeGetID3Field reads
 * the latest value of one ID3 record field (ZENTPLAYER_ID3_*): a heap copy, ""
 * for an unknown field or a bad index. */
ZENTPLAYER_API void* GetTimedMetadata(int32_t playerIndex, int32_t metaInfo);
ZENTPLAYER_API void* GetExtraMetadataInfo(int32_t playerIndex, int32_t metaInfo);
ZENTPLAYER_API int64_t NativeSetTimedMetadta_CustomTags(int32_t playerIndex, const char* tags);
ZENTPLAYER_API int64_t NativeGetTimedMetadta_EncodingType(int32_t playerIndex, int32_t type,
                                                          const char* tagId);
ZENTPLAYER_API int64_t NativeGetTimedMetadta_DataByte(int32_t playerIndex, int32_t type,
                                                      const char* tagId, uint8_t tagData);
ZENTPLAYER_API char* NativeGetID3Field(int32_t playerIndex, int32_t field);

/* Video texture */
ZENTPLAYER_API void* NativeGetTexture(int32_t playerIndex);
ZENTPLAYER_API void NativeCleanVideoTexture(int32_t playerIndex);

/* Logging */
ZENTPLAYER_API void NativeSetLogSystemLevel(int32_t level);
ZENTPLAYER_API void NativeSetLogSystemTimestamp(bool state);
ZENTPLAYER_API void NativeSetLogSystemPlatform(bool state);
ZENTPLAYER_API void NativeSetLogCallback(ZentPlayerLogCallback callback);

/* Version: "1.0" with a bridge, the constant "" without. */
ZENTPLAYER_API char* NativeGetVersion(void);

#ifdef __cplusplus
}
#endif

#endif /* ZENTPLAYER_H */
