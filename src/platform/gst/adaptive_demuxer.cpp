#include "platform/gst/adaptive_demuxer.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace zent {
namespace {

bool hasProperty(GstElement* element, const char* name) {
  return g_object_class_find_property(G_OBJECT_GET_CLASS(element), name) != nullptr;
}

guint capValue(double value) {
  if (!std::isfinite(value) || value <= 0.0) return 0;
  constexpr double kMax = static_cast<double>(std::numeric_limits<guint>::max());
  return static_cast<guint>(std::min(value, kMax));
}

guint64 levelProperty(GstElement* element, const char* name) {
  if (!hasProperty(element, name)) return 0;
  guint64 level = 0;
  g_object_get(element, name, &level, nullptr);
  return level;
}

}  // namespace

AdaptiveDemuxer::AdaptiveDemuxer() {
  g_weak_ref_init(&demuxer_, nullptr);
}

AdaptiveDemuxer::~AdaptiveDemuxer() {
  g_weak_ref_clear(&demuxer_);
}

bool AdaptiveDemuxer::isAdaptiveDemuxer(GstElement* element) {
  GstElementFactory* factory = gst_element_get_factory(element);
  if (factory == nullptr || !hasProperty(element, "max-bitrate")) return false;
  const gchar* klass = gst_element_factory_get_metadata(factory, GST_ELEMENT_METADATA_KLASS);
  return klass != nullptr && g_strrstr(klass, "Demuxer") != nullptr;
}

void AdaptiveDemuxer::elementAdded(GstElement* element) {
  if (!isAdaptiveDemuxer(element)) return;
  double bitRate;
  Size2D resolution;
  {
    std::lock_guard lock(mutex_);
    g_weak_ref_set(&demuxer_, element);
    bitRate = bitRate_;
    resolution = resolution_;
  }
  applyTo(element, bitRate, resolution);
}

void AdaptiveDemuxer::applyTo(GstElement* demuxer, double bitRate, Size2D resolution) const {
  g_object_set(demuxer, "max-bitrate", capValue(bitRate), nullptr);
  // Only some demuxers can cap the picture size (dashdemux2 can, hlsdemux2 cannot).
  if (hasProperty(demuxer, "max-video-width")) {
    g_object_set(demuxer, "max-video-width", capValue(resolution.width), nullptr);
  }
  if (hasProperty(demuxer, "max-video-height")) {
    g_object_set(demuxer, "max-video-height", capValue(resolution.height), nullptr);
  }
}

GstElement* AdaptiveDemuxer::current() const {
  return static_cast<GstElement*>(g_weak_ref_get(const_cast<GWeakRef*>(&demuxer_)));
}

void AdaptiveDemuxer::setPeakBitRate(double bitsPerSecond) {
  Size2D resolution;
  GstElement* demuxer;
  {
    std::lock_guard lock(mutex_);
    bitRate_ = bitsPerSecond;
    resolution = resolution_;
    demuxer = current();
  }
  if (demuxer == nullptr) return;
  applyTo(demuxer, bitsPerSecond, resolution);
  gst_object_unref(demuxer);
}

void AdaptiveDemuxer::setMaximumResolution(Size2D size) {
  double bitRate;
  GstElement* demuxer;
  {
    std::lock_guard lock(mutex_);
    resolution_ = size;
    bitRate = bitRate_;
    demuxer = current();
  }
  if (demuxer == nullptr) return;
  applyTo(demuxer, bitRate, size);
  gst_object_unref(demuxer);
}

bool AdaptiveDemuxer::present() const {
  GstElement* demuxer = current();
  if (demuxer == nullptr) return false;
  gst_object_unref(demuxer);
  return true;
}

bool AdaptiveDemuxer::isHls() const {
  GstElement* demuxer = current();
  if (demuxer == nullptr) return false;
  GstElementFactory* factory = gst_element_get_factory(demuxer);
  bool hls = factory != nullptr && g_str_has_prefix(GST_OBJECT_NAME(factory), "hlsdemux");
  gst_object_unref(demuxer);
  return hls;
}

std::optional<double> AdaptiveDemuxer::bufferedAheadSeconds() const {
  GstElement* demuxer = current();
  if (demuxer == nullptr) return std::nullopt;
  guint64 level = std::max(levelProperty(demuxer, "current-level-time-video"),
                           levelProperty(demuxer, "current-level-time-audio"));
  gst_object_unref(demuxer);
  return static_cast<double>(level) / GST_SECOND;
}

}  // namespace zent
