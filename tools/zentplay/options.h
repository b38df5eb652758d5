#pragma once

// zentplay's command line.

#include <optional>
#include <string>
#include <vector>

namespace zentplay {

struct Options {
  std::string target;   // URL or local path to play
  std::string library;  // path of libzentplayer.so
  bool headless = false;
  int frames = 0;         // stop after this many video frames (0: no limit)
  int snapshotEvery = 0;  // headless: write a PNG every K frames (0: never)
  std::string outDir;     // where the PNGs go
  int mime = -1;          // ZENTPLAYER_MIME_*; -1: guess from the URL's extension
  std::optional<int> startMs;
  int logLevel = 1;  // INFO
  std::string subtitles;
  bool quitAtEnd = false;
  bool captions = false;         // switch captions on once ready
  int readyTimeoutSeconds = 30;  // give up when the content is not ready by then
};

struct ParsedCommandLine {
  Options options;
  bool showHelp = false;
  std::string error;  // non-empty: the command line is wrong, and why
};

ParsedCommandLine parseCommandLine(const std::vector<std::string>& args);

std::string usageText();

// True for "scheme://..." (http, https, file, ...); false for a plain path.
bool looksLikeUrl(const std::string& target);

// The MIME selector for a URL: HLS for .m3u8, DASH for .mpd (query and
// fragment ignored), none otherwise.
int guessMime(const std::string& url);

}  // namespace zentplay
