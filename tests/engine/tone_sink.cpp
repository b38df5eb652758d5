#include "tone_sink.h"

#include <gst/base/gstbasesink.h>
#include <gst/gst.h>

#include <cmath>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace zent::test {
namespace {

// Never destroyed: a pipeline still being taken down may render at exit.
struct Shared {
  std::mutex readingsMutex;
  std::mutex windowMutex;  // every sink's window: set up and measured on different threads
  std::condition_variable readingsChanged;
  std::vector<ToneReading> readings;
};
Shared& shared() {
  static Shared* state = new Shared();
  return *state;
}

}  // namespace
}  // namespace zent::test

extern "C" {

struct ZentToneSink {
  GstBaseSink parent;
  uint64_t samples, crossings;  // the window being measured
  double energy;
  int16_t previous;
};

struct ZentToneSinkClass {
  GstBaseSinkClass parent_class;
};

G_DEFINE_TYPE(ZentToneSink, zent_tone_sink, GST_TYPE_BASE_SINK)

// Starts a new measuring window; the caller holds shared().windowMutex.
static void zentToneSinkResetLocked(ZentToneSink* self) {
  self->samples = self->crossings = 0;
  self->energy = 0.0;
  self->previous = 0;
}

static GstFlowReturn zentToneSinkRender(GstBaseSink* base, GstBuffer* buffer) {
  auto* self = reinterpret_cast<ZentToneSink*>(base);
  GstCaps* caps = gst_pad_get_current_caps(GST_BASE_SINK_PAD(base));
  gint rate = 0, channels = 0;
  if (caps != nullptr) {
    gst_structure_get(gst_caps_get_structure(caps, 0), "rate", G_TYPE_INT, &rate, "channels",
                      G_TYPE_INT, &channels, nullptr);
    gst_caps_unref(caps);
  }
  if (rate <= 0 || channels <= 0) return GST_FLOW_OK;
  GstMapInfo map;
  if (!gst_buffer_map(buffer, &map, GST_MAP_READ)) return GST_FLOW_OK;
  std::lock_guard windowLock(zent::test::shared().windowMutex);
  const auto* data = reinterpret_cast<const int16_t*>(map.data);
  std::size_t frames = map.size / (sizeof(int16_t) * static_cast<std::size_t>(channels));
  for (std::size_t i = 0; i < frames; ++i) {
    int16_t sample = data[i * static_cast<std::size_t>(channels)];
    if (self->previous < 0 && sample >= 0) ++self->crossings;
    self->previous = sample;
    self->energy += static_cast<double>(sample) * sample;
    ++self->samples;
    if (self->samples >= static_cast<uint64_t>(rate / 10)) {
      double rms = std::sqrt(self->energy / static_cast<double>(self->samples));
      double hertz =
          static_cast<double>(self->crossings) * rate / static_cast<double>(self->samples);
      {
        std::lock_guard lock(zent::test::shared().readingsMutex);
        zent::test::shared().readings.push_back({rms > 100.0 ? hertz : 0.0});
      }
      zent::test::shared().readingsChanged.notify_all();
      zentToneSinkResetLocked(self);
    }
  }
  gst_buffer_unmap(buffer, &map);
  return GST_FLOW_OK;
}

static gboolean zentToneSinkEvent(GstBaseSink* base, GstEvent* event) {
  if (GST_EVENT_TYPE(event) == GST_EVENT_FLUSH_STOP ||
      GST_EVENT_TYPE(event) == GST_EVENT_STREAM_START) {
    std::lock_guard lock(zent::test::shared().windowMutex);
    zentToneSinkResetLocked(reinterpret_cast<ZentToneSink*>(base));
  }
  return GST_BASE_SINK_CLASS(zent_tone_sink_parent_class)->event(base, event);
}

static void zent_tone_sink_class_init(ZentToneSinkClass* klass) {
  auto* element = GST_ELEMENT_CLASS(klass);
  static GstStaticPadTemplate sinkTemplate = GST_STATIC_PAD_TEMPLATE(
      "sink", GST_PAD_SINK, GST_PAD_ALWAYS,
      GST_STATIC_CAPS("audio/x-raw, format=(string)S16LE, layout=(string)interleaved, "
                      "rate=(int)[1, MAX], channels=(int)[1, MAX]"));
  gst_element_class_add_static_pad_template(element, &sinkTemplate);
  gst_element_class_set_static_metadata(element, "Zent test tone sink", "Sink/Audio",
                                        "Measures the frequency of the tone it plays",
                                        "ZentPlayer tests");
  auto* base = GST_BASE_SINK_CLASS(klass);
  base->render = zentToneSinkRender;
  base->event = zentToneSinkEvent;
}

static void zent_tone_sink_init(ZentToneSink* self) {
  std::lock_guard lock(zent::test::shared().windowMutex);
  zentToneSinkResetLocked(self);
  gst_base_sink_set_sync(GST_BASE_SINK(self), TRUE);
}

}  // extern "C"

namespace zent::test {

void registerToneSink() {
  static std::once_flag once;
  std::call_once(once, [] {
    gst_init(nullptr, nullptr);
    gst_element_register(nullptr, "zenttonesink", GST_RANK_PRIMARY + 100,
                         zent_tone_sink_get_type());
  });
}

std::vector<ToneReading> toneReadings() {
  std::lock_guard lock(shared().readingsMutex);
  return shared().readings;
}

void clearToneReadings() {
  std::lock_guard lock(shared().readingsMutex);
  shared().readings.clear();
}

bool waitForTone(double hertz, double tolerance, std::size_t count,
                 std::chrono::milliseconds timeout) {
  std::unique_lock lock(shared().readingsMutex);
  return shared().readingsChanged.wait_for(lock, timeout, [&] {
    if (shared().readings.size() < count) return false;
    for (std::size_t i = shared().readings.size() - count; i < shared().readings.size(); ++i) {
      if (std::fabs(shared().readings[i].hertz - hertz) > tolerance) return false;
    }
    return true;
  });
}

}  // namespace zent::test
