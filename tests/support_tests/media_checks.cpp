#include "media_checks.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "support/media_cache.h"

namespace zent::test {

double toneFrequency(const std::string& path, double fromSeconds) {
  ProcessResult decoded = runChecked({"ffmpeg",
                                      "-hide_banner",
                                      "-nostdin",
                                      "-loglevel",
                                      "error",
                                      "-ss",
                                      std::to_string(fromSeconds),
                                      "-i",
                                      path,
                                      "-map",
                                      "0:a:0",
                                      "-t",
                                      "1",
                                      "-ac",
                                      "1",
                                      "-ar",
                                      "48000",
                                      "-f",
                                      "s16le",
                                      "-"},
                                     std::chrono::minutes(2));
  const std::string& pcm = decoded.out;
  const size_t samples = pcm.size() / 2;
  if (samples < 2) return 0;
  size_t crossings = 0;
  int16_t previous = 0;
  std::memcpy(&previous, pcm.data(), 2);
  for (size_t i = 1; i < samples; ++i) {
    int16_t sample;
    std::memcpy(&sample, pcm.data() + 2 * i, 2);
    if ((previous < 0) != (sample < 0)) ++crossings;
    previous = sample;
  }
  return static_cast<double>(crossings) / 2.0 / (static_cast<double>(samples) / 48000.0);
}

std::vector<double> keyframeTimes(const std::string& path) {
  std::string out = runFfprobe({"-select_streams", "v:0", "-skip_frame", "nokey", "-show_entries",
                                "frame=pts_time", "-of", "csv=p=0", path});
  std::vector<double> times;
  std::istringstream lines(out);
  std::string line;
  while (std::getline(lines, line)) {
    if (!line.empty()) times.push_back(std::strtod(line.c_str(), nullptr));
  }
  return times;
}

ProcessResult gstLaunch(const std::vector<std::string>& pipeline, std::chrono::seconds timeout,
                        const std::string& flag) {
  std::vector<std::string> argv = {"gst-launch-1.0"};
  if (!flag.empty()) argv.push_back(flag);
  argv.insert(argv.end(), pipeline.begin(), pipeline.end());
  return runProcess(argv, timeout);
}

ProcessResult playToEnd(const std::string& uri, std::chrono::seconds timeout) {
  return runProcess(
      {"gst-launch-1.0", "playbin3", "uri=" + uri, "video-sink=fakesink", "audio-sink=fakesink"},
      timeout);
}

}  // namespace zent::test
