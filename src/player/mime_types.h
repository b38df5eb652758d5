#pragma once

#include <cstdint>
#include <string>

namespace zent {

// MIME types the host can declare for NativeOpenURI: selector 1 HLS, 2 DASH.
class MimeTypes {
 public:
  static constexpr const char* MIME_TYPE_HLS = "application/x-mpegURL";
  static constexpr const char* MIME_TYPE_DASH = "application/dash+xml";

  // The declared type for a selector: "" for 0 (none) and for unknown values.
  static std::string forSelector(int64_t selector) {
    if (selector == 1) return MIME_TYPE_HLS;
    if (selector == 2) return MIME_TYPE_DASH;
    return "";
  }
};

}  // namespace zent
