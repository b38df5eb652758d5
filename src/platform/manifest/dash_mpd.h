#pragma once

#include <string>
#include <string_view>

#include "platform/manifest/manifest_info.h"
#include "platform/manifest/manifest_text.h"

namespace zent::manifest {

// Reads the video Representations of the first Period, in document order, and
// its audio and text AdaptationSets as renditions. With `quietUnlessMpd` (the
// content type is being guessed) a document whose root element is not MPD is
// not an error: it gives Kind::Unknown without a log line.
ManifestInfo parseDashMpd(std::string_view text, const std::string& baseUrl, ProblemLog& log,
                          bool quietUnlessMpd);

}  // namespace zent::manifest
