#pragma once

#include <gst/gst.h>

#include <string>

namespace zent {

// The audio sink for a new pipeline. The system's sink is chosen once per process
// the way autoaudiosink chooses (the highest-ranked audio sink that reaches READY);
// on a machine without an audio device none does, and a clock-synchronised
// fakesink takes its place so playback still runs in real time. Returns a floating
// reference, or null when not even fakesink can be made.
GstElement* makeAudioSink();

// The factory name chosen for this process ("fakesink" when there is no device).
std::string chosenAudioSinkName();

}  // namespace zent
