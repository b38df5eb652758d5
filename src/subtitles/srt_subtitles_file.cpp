// Reading a subtitle file by path or URL lives apart from the parser, so code that
// only parses text in memory does not pull in the network fetcher.
#include "subtitles/srt_subtitles.h"
#include "support/logger.h"
#include "support/text_fetcher.h"

namespace zent {

bool SRTSubtitles::parseStringbuffer(const std::string& subsPath) {
  FetchResult fetched = fetchText(subsPath);
  if (!fetched.ok) {
    std::string reason = fetched.error.empty() ? "unknown error" : fetched.error;
    Logger::log(LogLevel::ERROR, "SRT file " + subsPath + " cannot be read: " + reason);
    return false;
  }
  return parseText(fetched.body, subsPath);
}

}  // namespace zent
