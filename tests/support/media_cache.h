// The on-disk cache of generated test media, shared by every test binary of a
// build tree (and by test processes running side by side).
#ifndef ZENT_TESTS_SUPPORT_MEDIA_CACHE_H
#define ZENT_TESTS_SUPPORT_MEDIA_CACHE_H

#include <functional>
#include <string>
#include <vector>

namespace zent::test {

// <build tree>/test-media, created on first use.
const std::string& mediaCacheDir();

// Writes one item at `partialPath`: a file, or a directory it creates itself.
using MediaMaker = std::function<void(const std::string& partialPath)>;

// Returns mediaCacheDir()/<key>, making it first when it is absent. `key` names
// the item and its recipe version and carries the item's extension.
std::string cachedMedia(const std::string& key, const MediaMaker& make);

// Runs ffmpeg (with -hide_banner -nostdin -loglevel error -y before `args`).
void runFfmpeg(const std::vector<std::string>& args);

// The first value ffprobe prints for `entries` (as for -show_entries, e.g.
// "stream=start_time") of `stream` (as for -select_streams, e.g. "v:0").
std::string probeValue(const std::string& path, const std::string& entries,
                       const std::string& stream);

}  // namespace zent::test

#endif
