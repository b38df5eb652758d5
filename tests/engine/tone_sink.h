#pragma once

// An audio sink ranked above every system sink, so the library picks it like a
// device (registered before the first item). It renders in real time and
// reports the frequency of each 100 ms of channel 0 by zero crossings.

#include <chrono>
#include <cstddef>
#include <vector>

namespace zent::test {

struct ToneReading {
  double hertz = 0.0;  // 0 when the window is silent
};

// Initialises GStreamer if needed and registers the sink once per process.
void registerToneSink();

// Every reading since the last clear, in arrival order.
std::vector<ToneReading> toneReadings();
void clearToneReadings();

// Waits until `count` consecutive readings are within `tolerance` of `hertz`.
bool waitForTone(double hertz, double tolerance, std::size_t count,
                 std::chrono::milliseconds timeout);

}  // namespace zent::test
