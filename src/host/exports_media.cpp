// Exports: video variants, audio and captions, subtitles, metadata, texture.
#include "host/host_text.h"
#include "host/with_bridge.h"
#include "zentplayer.h"

using namespace zent;

extern "C" {

int64_t NativeGetTrackCount(int32_t idx) {
  return withBridge<int64_t>(-1, [&](BridgePlayer& b) { return b.getTrackCount(idx); });
}

char* NativeGetTrackID(int32_t idx, int32_t trackIndex) {
  return withBridge<char*>(constantEmptyText(), [&](BridgePlayer& b) {
    return heapText(b.getTrackID(idx, trackIndex));
  });
}

int64_t NativeGetTrackBitrate(int32_t idx, int32_t trackIndex) {
  return withBridge<int64_t>(-1,
                             [&](BridgePlayer& b) { return b.getTrackBitrate(idx, trackIndex); });
}

int64_t NativeGetTrackWidth(int32_t idx, int32_t trackIndex) {
  return withBridge<int64_t>(-1, [&](BridgePlayer& b) { return b.getTrackWidth(idx, trackIndex); });
}

int64_t NativeGetTrackHeight(int32_t idx, int32_t trackIndex) {
  return withBridge<int64_t>(-1,
                             [&](BridgePlayer& b) { return b.getTrackHeight(idx, trackIndex); });
}

float NativeGetTrackFrameRate(int32_t idx, int32_t trackIndex) {
  return withBridge<float>(-1.0f,
                           [&](BridgePlayer& b) { return b.getTrackFrameRate(idx, trackIndex); });
}

void NativeSelectTrack(int32_t idx, int32_t trackIndex) {
  withBridge([&](BridgePlayer& b) { b.SelectTrack(idx, trackIndex); });
}

void NativeSetMaxBitrate(int32_t idx, int32_t bitrate) {
  withBridge([&](BridgePlayer& b) { b.SetMaxBitrate(idx, bitrate); });
}

void NativeSetMinBitrate(int32_t idx, int32_t bitrate) {
  withBridge([&](BridgePlayer& b) { b.SetMinBitrate(idx, bitrate); });
}

float NativeGetTrackRotation(int32_t idx, int32_t trackWidth, int32_t trackHeight) {
  return withBridge<float>(
      0.0f, [&](BridgePlayer& b) { return b.GetTrackRotation(idx, trackWidth, trackHeight); });
}

int64_t NativeGetAudioStreamCount(int32_t idx) {
  return withBridge<int64_t>(-1, [&](BridgePlayer& b) { return b.getAudioStreamStreamCount(idx); });
}

char* NativeGetAudioStreamName(int32_t idx, int32_t id) {
  return withBridge<char*>(constantEmptyText(), [&](BridgePlayer& b) {
    return heapText(b.getAudioStreamName(id, idx));
  });
}

char* NativeGetAudioStreamLanguage(int32_t idx, int32_t id) {
  return withBridge<char*>(constantEmptyText(), [&](BridgePlayer& b) {
    return heapText(b.getAudioStreamLanguage(id, idx));
  });
}

void NativeSetAudioStream(int32_t idx, int32_t id) {
  withBridge([&](BridgePlayer& b) { b.setAudioStream(id, idx); });
}

void NativeEnableCaptions(int32_t idx, bool enabled) {
  withBridge([&](BridgePlayer& b) { b.enableCaptions(enabled, idx); });
}

int64_t NativeGetCaptionStreamCount(int32_t idx) {
  return withBridge<int64_t>(-1, [&](BridgePlayer& b) { return b.getCaptionStreamCount(idx); });
}

char* NativeGetCaptionStreamName(int32_t idx, int32_t id) {
  return withBridge<char*>(constantEmptyText(), [&](BridgePlayer& b) {
    return heapText(b.getCaptionStreamName(id, idx));
  });
}

char* NativeGetCaptionStreamLanguage(int32_t idx, int32_t id) {
  return withBridge<char*>(constantEmptyText(), [&](BridgePlayer& b) {
    return heapText(b.getCaptionStreamLanguage(id, idx));
  });
}

void NativeSetCaptionStream(int32_t idx, int32_t id) {
  withBridge([&](BridgePlayer& b) { b.setCaptionStream(id, idx); });
}

int64_t NativeGetCaptionEncodingType(int32_t idx) {
  return withBridge<int64_t>(-1, [&](BridgePlayer& b) { return b.getCaptionEncodingType(idx); });
}

uint8_t NativeOpenExternalSubtitles(int32_t idx, const char* subUrl) {
  return withBridge<uint8_t>(0xFF, [&](BridgePlayer& b) {
    return static_cast<uint8_t>(b.openExternalSubtitles(textArgument(subUrl), idx) ? 1 : 0);
  });
}

char* NativeUpdateSubtitle(int32_t idx) {
  return withBridge<char*>(constantEmptyText(),
                           [&](BridgePlayer& b) { return heapText(b.updateSubtitle(idx)); });
}

void* GetTimedMetadata(int32_t idx, int32_t metaInfo) {
  return withBridge<void*>(nullptr,
                           [&](BridgePlayer& b) { return b.getTimedMetadata(metaInfo, idx); });
}

void* GetExtraMetadataInfo(int32_t idx, int32_t metaInfo) {
  return withBridge<void*>(nullptr,
                           [&](BridgePlayer& b) { return b.getExtraMetadataInfo(metaInfo, idx); });
}

int64_t NativeSetTimedMetadta_CustomTags(int32_t idx, const char* tags) {
  return withBridge<int64_t>(
      -1, [&](BridgePlayer& b) { return b.setTimedMetadata_CustomTag(textArgument(tags), idx); });
}

int64_t NativeGetTimedMetadta_EncodingType(int32_t idx, int32_t type, const char* tagId) {
  return withBridge<int64_t>(-1, [&](BridgePlayer& b) {
    return b.getTimedMetadata_EndodingType(type, textArgument(tagId), idx);
  });
}

int64_t NativeGetTimedMetadta_DataByte(int32_t idx, int32_t type, const char* tagId,
                                       uint8_t tagData) {
  return withBridge<int64_t>(-1, [&](BridgePlayer& b) {
    return b.getTimedMetadata_DataByte(type, textArgument(tagId), tagData, idx);
  });
}

char* NativeGetID3Field(int32_t idx, int32_t field) {
  return withBridge<char*>(constantEmptyText(),
                           [&](BridgePlayer& b) { return heapText(b.getID3Field(idx, field)); });
}

void* NativeGetTexture(int32_t idx) {
  return withBridge<void*>(nullptr, [&](BridgePlayer& b) { return b.GetTexture(idx); });
}

void NativeCleanVideoTexture(int32_t idx) {
  withBridge([&](BridgePlayer& b) { b.CleanVideoTexture(idx); });
}

}  // extern "C"
