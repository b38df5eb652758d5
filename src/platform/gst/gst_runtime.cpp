#include "platform/gst/gst_runtime.h"

#include <gst/gst.h>

#include <mutex>

#include "platform/gst/adaptive_demux_choice.h"
#include "support/logger.h"

namespace zent {

bool ensureGstreamer(std::string* error) {
  static std::once_flag once;
  static bool ready = false;
  static std::string reason;
  std::call_once(once, [] {
    GError* gerror = nullptr;
    ready = gst_init_check(nullptr, nullptr, &gerror) == TRUE;
    if (!ready) {
      reason = gerror != nullptr ? gerror->message : "gst_init_check failed";
      Logger::log(LogLevel::ERROR, "GStreamer could not be initialised: " + reason);
    } else {
      chooseAdaptiveDemuxer();
    }
    if (gerror != nullptr) g_error_free(gerror);
  });
  if (!ready && error != nullptr) *error = reason;
  return ready;
}

}  // namespace zent
