#include "platform/gst/audio_sink_choice.h"

#include <mutex>

#include "support/logger.h"

namespace zent {
namespace {

constexpr const char* kNullSink = "fakesink";

bool reachesReady(GstElementFactory* factory) {
  GstElement* element = gst_element_factory_create(factory, nullptr);
  if (element == nullptr) return false;
  gst_object_ref_sink(element);
  bool ok = gst_element_set_state(element, GST_STATE_READY) == GST_STATE_CHANGE_SUCCESS;
  gst_element_set_state(element, GST_STATE_NULL);
  gst_object_unref(element);
  return ok;
}

std::string probeSystemSink() {
  GList* factories = gst_element_factory_list_get_elements(
      GST_ELEMENT_FACTORY_TYPE_SINK | GST_ELEMENT_FACTORY_TYPE_MEDIA_AUDIO, GST_RANK_MARGINAL);
  factories = g_list_sort(factories, gst_plugin_feature_rank_compare_func);
  std::string chosen;
  for (GList* item = factories; item != nullptr && chosen.empty(); item = item->next) {
    auto* factory = GST_ELEMENT_FACTORY(item->data);
    const gchar* klass = gst_element_factory_get_metadata(factory, GST_ELEMENT_METADATA_KLASS);
    if (klass == nullptr || g_strrstr(klass, "Sink") == nullptr ||
        g_strrstr(klass, "Audio") == nullptr) {
      continue;
    }
    if (reachesReady(factory)) chosen = GST_OBJECT_NAME(factory);
  }
  gst_plugin_feature_list_free(factories);
  return chosen;
}

const std::string& choice() {
  static std::once_flag once;
  static std::string name;
  std::call_once(once, [] {
    name = probeSystemSink();
    if (name.empty()) {
      name = kNullSink;
      Logger::log(LogLevel::INFO,
                  "No audio device answers: audio is played to a clock-synchronised null sink");
    } else {
      Logger::log(LogLevel::DEBUG, "Audio sink: " + name);
    }
  });
  return name;
}

}  // namespace

std::string chosenAudioSinkName() {
  return choice();
}

GstElement* makeAudioSink() {
  const std::string& name = choice();
  if (name != kNullSink) {
    if (GstElement* sink = gst_element_factory_make(name.c_str(), nullptr)) return sink;
  }
  GstElement* sink = gst_element_factory_make(kNullSink, nullptr);
  if (sink != nullptr) g_object_set(sink, "sync", TRUE, nullptr);
  return sink;
}

}  // namespace zent
