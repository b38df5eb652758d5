#include "options.h"

#include <cctype>
#include <charconv>
#include <cstdlib>

#include "zentplayer.h"

namespace zentplay {
namespace {

bool parseInt(const std::string& text, int minimum, int& out) {
  int value = 0;
  const char* end = text.data() + text.size();
  auto [ptr, ec] = std::from_chars(text.data(), end, value);
  if (ec != std::errc() || ptr != end || value < minimum) return false;
  out = value;
  return true;
}

bool endsWith(const std::string& text, const std::string& suffix) {
  return text.size() >= suffix.size() &&
         text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

}  // namespace

std::string usageText() {
  return "usage: zentplay [options] <url-or-path>\n"
         "\n"
         "Plays a stream or file through libzentplayer.so and shows its video texture.\n"
         "\n"
         "options:\n"
         "  --library PATH        libzentplayer.so to load (default: the one built with zentplay)\n"
         "  --headless            no window: render off-screen (also when DISPLAY is unset)\n"
         "  --frames N            stop after N video frames\n"
         "  --snapshot-every K    write every K-th video frame as a PNG into --out (default 30)\n"
         "  --out DIR             directory for the PNG snapshots\n"
         "  --mime hls|dash|none  content type for a URL (default: from the extension)\n"
         "  --start-ms T          start playback at T milliseconds\n"
         "  --log-level N         library log level: 0 debug, 1 info, 2 warning, 3 error, 4 none\n"
         "  --subtitles FILE      SubRip subtitles shown in the console\n"
         "  --captions            switch the stream's captions on once it is ready\n"
         "  --quit-at-end         exit when the content ends\n"
         "  --ready-timeout S     give up when the content is not ready after S seconds (30)\n"
         "  -h, --help            this text\n"
         "\n"
         "keys (window): space pause/resume, right/left seek +/-10 s, a next audio,\n"
         "  c captions on/off, v next variant, q or Esc quit.\n"
         "The same commands are read from standard input, one per line:\n"
         "  pause, seek+, seek-, audio, captions, variant, quit (or space, +, -, a, c, v, q).\n"
         "\n"
         "exit status: 0 played to the end, to N frames or until quit; 1 bad usage or\n"
         "  library; 2 no graphics context; 3 the content did not become ready or stalled.\n";
}

bool looksLikeUrl(const std::string& target) {
  const auto colon = target.find("://");
  if (colon == std::string::npos || colon == 0) return false;
  for (size_t i = 0; i < colon; ++i) {
    const char c = target[i];
    const bool alpha = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    const bool other = (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.';
    if (!alpha && !(i > 0 && other)) return false;
  }
  return true;
}

int guessMime(const std::string& url) {
  std::string path = url.substr(0, url.find_first_of("?#"));
  for (char& c : path) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (endsWith(path, ".m3u8")) return ZENTPLAYER_MIME_HLS;
  if (endsWith(path, ".mpd")) return ZENTPLAYER_MIME_DASH;
  return ZENTPLAYER_MIME_NONE;
}

ParsedCommandLine parseCommandLine(const std::vector<std::string>& args) {
  ParsedCommandLine parsed;
  Options& o = parsed.options;
  auto fail = [&parsed](const std::string& why) {
    parsed.error = why;
    return parsed;
  };
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    auto value = [&](std::string& out) {
      if (i + 1 >= args.size()) return false;
      out = args[++i];
      return true;
    };
    std::string text;
    if (arg == "-h" || arg == "--help") {
      parsed.showHelp = true;
    } else if (arg == "--headless") {
      o.headless = true;
    } else if (arg == "--quit-at-end") {
      o.quitAtEnd = true;
    } else if (arg == "--captions") {
      o.captions = true;
    } else if (arg == "--library") {
      if (!value(o.library)) return fail("--library needs a path");
    } else if (arg == "--out") {
      if (!value(o.outDir)) return fail("--out needs a directory");
    } else if (arg == "--subtitles") {
      if (!value(o.subtitles)) return fail("--subtitles needs a file");
    } else if (arg == "--frames") {
      if (!value(text) || !parseInt(text, 1, o.frames))
        return fail("--frames needs a whole number of at least 1");
    } else if (arg == "--snapshot-every") {
      if (!value(text) || !parseInt(text, 1, o.snapshotEvery))
        return fail("--snapshot-every needs a whole number of at least 1");
    } else if (arg == "--start-ms") {
      int start = 0;
      if (!value(text) || !parseInt(text, 0, start))
        return fail("--start-ms needs a whole number of milliseconds");
      o.startMs = start;
    } else if (arg == "--log-level") {
      if (!value(text) || !parseInt(text, 0, o.logLevel) || o.logLevel > 4)
        return fail("--log-level needs a level from 0 to 4");
    } else if (arg == "--ready-timeout") {
      if (!value(text) || !parseInt(text, 1, o.readyTimeoutSeconds))
        return fail("--ready-timeout needs a whole number of seconds");
    } else if (arg == "--mime") {
      if (!value(text)) return fail("--mime needs hls, dash or none");
      if (text == "hls") {
        o.mime = ZENTPLAYER_MIME_HLS;
      } else if (text == "dash") {
        o.mime = ZENTPLAYER_MIME_DASH;
      } else if (text == "none") {
        o.mime = ZENTPLAYER_MIME_NONE;
      } else {
        return fail("--mime needs hls, dash or none, not \"" + text + "\"");
      }
    } else if (arg.size() > 1 && arg[0] == '-') {
      return fail("unknown option " + arg);
    } else if (o.target.empty()) {
      o.target = arg;
    } else {
      return fail("more than one URL or path given: \"" + o.target + "\" and \"" + arg + "\"");
    }
  }
  if (parsed.showHelp) return parsed;
  if (o.target.empty()) return fail("no URL or path given");
  if (o.snapshotEvery > 0 && o.outDir.empty()) return fail("--snapshot-every needs --out DIR");
  if (!o.outDir.empty() && o.snapshotEvery == 0) o.snapshotEvery = 30;
  return parsed;
}

}  // namespace zentplay
