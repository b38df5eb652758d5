#include "platform/manifest/codec_kind.h"

#include <array>
#include <string>

#include "platform/manifest/manifest_text.h"

namespace zent::manifest {
namespace {

constexpr std::array<std::string_view, 22> kVideo = {
    "avc1", "avc2", "avc3", "avc4", "hvc1", "hev1", "dvh1", "dvhe", "dva1",   "dvav", "dav1",
    "av01", "vp08", "vp09", "vp8",  "vp9",  "mp4v", "vvc1", "vvi1", "theora", "mjpg", "jpeg"};
constexpr std::array<std::string_view, 23> kAudio = {
    "mp4a", "ac-3", "ec-3", "ac-4",   "opus", "flac", "alac", "mp3",
    "mp4s", "dtsc", "dtse", "dtsh",   "dtsl", "dtsx", "dtsy", "mha1",
    "mha2", "mhm1", "mhm2", "vorbis", "ipcm", "fpcm", "lpcm"};
constexpr std::array<std::string_view, 5> kText = {"wvtt", "stpp", "tx3g", "c608", "c708"};

template <std::size_t N>
bool contains(const std::array<std::string_view, N>& set, std::string_view code) {
  for (std::string_view entry : set) {
    if (equalsIgnoreCase(entry, code)) return true;
  }
  return false;
}

}  // namespace

CodecKind codecKind(std::string_view codec) {
  codec = trim(codec);
  std::string_view code = codec.substr(0, codec.find('.'));
  if (contains(kVideo, code)) return CodecKind::Video;
  if (contains(kAudio, code)) return CodecKind::Audio;
  if (contains(kText, code)) return CodecKind::Text;
  return CodecKind::Unknown;
}

CodecSummary summarizeCodecs(std::string_view codecs) {
  CodecSummary summary;
  while (true) {
    std::size_t comma = codecs.find(',');
    std::string_view one = trim(codecs.substr(0, comma));
    if (!one.empty()) {
      ++summary.count;
      switch (codecKind(one)) {
        case CodecKind::Video:
          summary.anyVideo = true;
          break;
        case CodecKind::Audio:
          summary.anyAudio = true;
          break;
        case CodecKind::Text:
          summary.anyText = true;
          break;
        case CodecKind::Unknown:
          summary.anyUnknown = true;
          break;
      }
    }
    if (comma == std::string_view::npos) break;
    codecs.remove_prefix(comma + 1);
  }
  return summary;
}

}  // namespace zent::manifest
