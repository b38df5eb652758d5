#pragma once

#include <glib.h>

namespace zent {

// The GLib context that the library's main queue iterates. It lives for the whole
// process (created on first use, never freed), so sources attached to it, such as
// pipeline bus watches, stay valid across a stop and restart of the queue. Sources
// attached here are dispatched on the main-queue thread while the queue runs.
GMainContext* mainQueueContext();

}  // namespace zent
