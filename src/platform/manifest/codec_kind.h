#pragma once

// Tells video, audio and text codecs apart in an RFC 6381 codec list, by the
// sample-entry code before the first dot ("avc1" of "avc1.64001f").

#include <string_view>

namespace zent::manifest {

enum class CodecKind { Video, Audio, Text, Unknown };

CodecKind codecKind(std::string_view codec);

struct CodecSummary {
  int count = 0;
  bool anyVideo = false;
  bool anyAudio = false;
  bool anyText = false;
  bool anyUnknown = false;
};

// Summary of a comma-separated codec list ("avc1.4d401f, mp4a.40.2").
CodecSummary summarizeCodecs(std::string_view codecs);

}  // namespace zent::manifest
