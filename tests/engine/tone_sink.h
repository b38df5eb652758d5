#pragma once

// A test audio sink that measures the tone it plays. Registered as an audio
// sink ranked above every system sink, so the library's own sink choice picks
// it like a device (it must be registered before the process's first item).
// It renders in real time (clock-synchronised, as the library's null sink does)
// and reports the frequency of each 100 ms of channel 0, counted by zero
// crossings, with its loudness, so a test can tell a 440 Hz rendition from a
// 1000 Hz one.

#include <chrono>
#include <cstddef>
#include <vector>

namespace zent::test {

struct ToneReading {
  double streamSeconds = 0.0;  // buffer time of the window's start
  double hertz = 0.0;          // 0 when the window is silent
  std::chrono::steady_clock::time_point at;
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
