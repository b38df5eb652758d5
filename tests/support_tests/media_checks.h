// Measurements the fixture tests make on generated media with the real tools.
#ifndef ZENT_TESTS_SUPPORT_TESTS_MEDIA_CHECKS_H
#define ZENT_TESTS_SUPPORT_TESTS_MEDIA_CHECKS_H

#include <chrono>
#include <string>
#include <vector>

#include "support/subprocess.h"

namespace zent::test {

// The frequency of the (single) tone in the first audio stream of `path`,
// measured by counting zero crossings over one second from `fromSeconds`.
double toneFrequency(const std::string& path, double fromSeconds = 0.5);

// Presentation times (seconds) of the keyframes of the first video stream.
std::vector<double> keyframeTimes(const std::string& path);

// What gst-launch-1.0 prints for `pipeline` run with -t (tags) or -v (caps).
ProcessResult gstLaunch(const std::vector<std::string>& pipeline, std::chrono::seconds timeout,
                        const std::string& flag = "");

// Plays `uri` with playbin3 into fake sinks until EOS, an error or `timeout`.
ProcessResult playToEnd(const std::string& uri, std::chrono::seconds timeout);

}  // namespace zent::test

#endif
