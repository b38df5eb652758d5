#include "platform/gst/source_progress.h"

#include <algorithm>

namespace zent {

SourceProgress::SourceProgress() {
  g_weak_ref_init(&source_, nullptr);
}

SourceProgress::~SourceProgress() {
  g_weak_ref_clear(&source_);
}

void SourceProgress::sourceCreated(GstElement* source) {
  // Only network sources: a local file is all there.
  if (!GST_IS_URI_HANDLER(source)) return;
  const gchar* const* protocols = gst_uri_handler_get_protocols(GST_URI_HANDLER(source));
  bool network = false;
  for (; protocols != nullptr && *protocols != nullptr; ++protocols) {
    if (g_str_equal(*protocols, "http") || g_str_equal(*protocols, "https")) network = true;
  }
  if (network) g_weak_ref_set(&source_, source);
}

std::optional<int64_t> SourceProgress::queryBytes(bool total) const {
  auto* source = static_cast<GstElement*>(g_weak_ref_get(&source_));
  if (source == nullptr) return std::nullopt;
  gint64 bytes = -1;
  bool known = total ? gst_element_query_duration(source, GST_FORMAT_BYTES, &bytes)
                     : gst_element_query_position(source, GST_FORMAT_BYTES, &bytes);
  gst_object_unref(source);
  if (!known || bytes < 0) return std::nullopt;
  return bytes;
}

std::optional<double> SourceProgress::fractionRead() const {
  std::optional<int64_t> read = bytesRead();
  std::optional<int64_t> total = queryBytes(true);
  if (!read || !total || *total <= 0) return std::nullopt;
  return std::clamp(static_cast<double>(*read) / static_cast<double>(*total), 0.0, 1.0);
}

std::optional<int64_t> SourceProgress::bytesRead() const {
  return queryBytes(false);
}

}  // namespace zent
