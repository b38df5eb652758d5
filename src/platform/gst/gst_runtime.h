#pragma once

#include <string>

namespace zent {

// Initialises GStreamer once per process (gst_init_check). GStreamer is never
// deinitialised: plugins and types stay registered until the process ends.
// Returns false, with the reason in *error when given, if it cannot start.
bool ensureGstreamer(std::string* error = nullptr);

}  // namespace zent
