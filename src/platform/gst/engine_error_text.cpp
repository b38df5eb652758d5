#include "platform/gst/engine_error_text.h"

#include <gst/pbutils/pbutils.h>

namespace zent {
namespace {

std::string_view trim(std::string_view text) {
  const char* blanks = " \t\r\n";
  std::size_t first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  std::size_t last = text.find_last_not_of(blanks);
  return text.substr(first, last - first + 1);
}

// The part of a debug string after its location prefix. GStreamer writes
// "file.c(123): function (): /GstPipeline:p/GstElement:e:\ndetail"; a debug
// string without a newline is all location.
std::string_view debugDetail(std::string_view debug) {
  std::size_t newline = debug.find('\n');
  if (newline == std::string_view::npos) {
    bool looksLikeLocation = debug.find("): ") != std::string_view::npos;
    return looksLikeLocation ? std::string_view{} : trim(debug);
  }
  return trim(debug.substr(newline + 1));
}

std::string oneLine(std::string_view text) {
  std::string line(text);
  for (char& c : line) {
    if (c == '\n' || c == '\r') c = ' ';
  }
  return line;
}

}  // namespace

std::string engineMessageText(std::string_view message, std::string_view debug) {
  std::string_view head = trim(message);
  std::string_view detail = debugDetail(debug);
  if (detail.empty()) return oneLine(head);
  if (head.empty()) return oneLine(detail);
  // "File not found" + "File not found (404), URL: ..." says it once.
  std::string_view stem = head;
  if (!stem.empty() && stem.back() == '.') stem.remove_suffix(1);
  if (detail.substr(0, stem.size()) == stem) return oneLine(detail);
  return oneLine(std::string(head) + " (" + std::string(detail) + ")");
}

std::string engineErrorReason(GstMessage* message) {
  GError* error = nullptr;
  gchar* debug = nullptr;
  if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR) {
    gst_message_parse_error(message, &error, &debug);
  } else if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_WARNING) {
    gst_message_parse_warning(message, &error, &debug);
  } else {
    return {};
  }
  std::string text =
      engineMessageText(error != nullptr ? error->message : "", debug != nullptr ? debug : "");
  if (error != nullptr) g_error_free(error);
  g_free(debug);
  return text;
}

std::optional<std::string> missingPluginDescription(GstMessage* message) {
  if (!gst_is_missing_plugin_message(message)) return std::nullopt;
  gchar* description = gst_missing_plugin_message_get_description(message);
  std::optional<std::string> text;
  if (description != nullptr) text = description;
  g_free(description);
  return text;
}

bool isUnexplainedNetworkSourceError(GstMessage* error) {
  if (GST_MESSAGE_TYPE(error) != GST_MESSAGE_ERROR) return false;
  GstObject* source = GST_MESSAGE_SRC(error);
  if (source == nullptr || !GST_IS_URI_HANDLER(source)) return false;
  if (gst_uri_handler_get_uri_type(GST_URI_HANDLER(source)) != GST_URI_SRC) return false;
  gchar* uri = gst_uri_handler_get_uri(GST_URI_HANDLER(source));
  bool network =
      uri != nullptr && (g_str_has_prefix(uri, "http://") || g_str_has_prefix(uri, "https://"));
  g_free(uri);
  if (!network) return false;
  GError* gerror = nullptr;
  gst_message_parse_error(error, &gerror, nullptr);
  bool flowError = gerror != nullptr && gerror->domain == GST_STREAM_ERROR &&
                   gerror->code == GST_STREAM_ERROR_FAILED;
  if (gerror != nullptr) g_error_free(gerror);
  return flowError;
}

bool isNetworkError(GstMessage* error) {
  if (GST_MESSAGE_TYPE(error) != GST_MESSAGE_ERROR) return false;
  GstObject* source = GST_MESSAGE_SRC(error);
  if (source == nullptr || !GST_IS_ELEMENT(source)) return false;
  GError* gerror = nullptr;
  gst_message_parse_error(error, &gerror, nullptr);
  bool resourceOrFlow =
      gerror != nullptr &&
      (gerror->domain == GST_RESOURCE_ERROR ||
       (gerror->domain == GST_STREAM_ERROR && gerror->code == GST_STREAM_ERROR_FAILED));
  if (gerror != nullptr) g_error_free(gerror);
  if (!resourceOrFlow) return false;
  if (GST_IS_URI_HANDLER(source) &&
      gst_uri_handler_get_uri_type(GST_URI_HANDLER(source)) == GST_URI_SRC) {
    gchar* uri = gst_uri_handler_get_uri(GST_URI_HANDLER(source));
    bool network =
        uri != nullptr && (g_str_has_prefix(uri, "http://") || g_str_has_prefix(uri, "https://"));
    g_free(uri);
    return network;
  }
  // Adaptive demuxers download their fragments themselves.
  GstElementFactory* factory = gst_element_get_factory(GST_ELEMENT(source));
  if (factory == nullptr) return false;
  const gchar* klass = gst_element_factory_get_metadata(factory, GST_ELEMENT_METADATA_KLASS);
  return klass != nullptr && g_strrstr(klass, "Demuxer") != nullptr &&
         g_object_class_find_property(G_OBJECT_GET_CLASS(source), "max-bitrate") != nullptr;
}

std::string missingElementReason(std::string_view factoryName) {
  return "no element \"" + std::string(factoryName) + "\"";
}

}  // namespace zent
