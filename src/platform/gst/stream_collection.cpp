#include "platform/gst/stream_collection.h"

#include <gst/tag/tag.h>

#include <algorithm>

namespace zent {
namespace {

std::string tagString(const GstTagList* tags, const char* name) {
  if (tags == nullptr) return {};
  gchar* value = nullptr;
  if (!gst_tag_list_get_string(tags, name, &value) || value == nullptr) return {};
  std::string text = value;
  g_free(value);
  return text;
}

std::string bcp47Language(const std::string& code) {
  if (code.empty() || code == "und") return {};
  if (code.size() == 3) {
    if (const gchar* twoLetter = gst_tag_get_language_code_iso_639_1(code.c_str())) {
      return twoLetter;
    }
  }
  return code;
}

bool isKind(GstStreamType type, MediaCharacteristic kind) {
  GstStreamType wanted =
      kind == MediaCharacteristic::Audible ? GST_STREAM_TYPE_AUDIO : GST_STREAM_TYPE_TEXT;
  return (type & wanted) != 0;
}

}  // namespace

std::vector<StreamEntry> listStreams(GstStreamCollection* collection) {
  std::vector<StreamEntry> streams;
  if (collection == nullptr) return streams;
  guint count = gst_stream_collection_get_size(collection);
  for (guint i = 0; i < count; ++i) {
    GstStream* stream = gst_stream_collection_get_stream(collection, i);
    if (stream == nullptr) continue;
    StreamEntry entry;
    const gchar* id = gst_stream_get_stream_id(stream);
    entry.id = id != nullptr ? id : "";
    entry.type = gst_stream_get_stream_type(stream);
    GstTagList* tags = gst_stream_get_tags(stream);
    entry.info.title = tagString(tags, GST_TAG_TITLE);
    entry.info.language = bcp47Language(tagString(tags, GST_TAG_LANGUAGE_CODE));
    if (tags != nullptr) gst_tag_list_unref(tags);
    streams.push_back(std::move(entry));
  }
  return streams;
}

std::vector<const StreamEntry*> streamsOf(const std::vector<StreamEntry>& streams,
                                          MediaCharacteristic kind) {
  std::vector<const StreamEntry*> found;
  for (const auto& stream : streams) {
    if (isKind(stream.type, kind)) found.push_back(&stream);
  }
  return found;
}

std::optional<std::vector<std::string>> selectionWith(const std::vector<StreamEntry>& streams,
                                                      const std::vector<std::string>& selected,
                                                      MediaCharacteristic kind,
                                                      std::optional<std::size_t> index) {
  std::vector<const StreamEntry*> candidates = streamsOf(streams, kind);
  if (index && *index >= candidates.size()) return std::nullopt;

  auto typeOf = [&](const std::string& id) {
    for (const auto& stream : streams) {
      if (stream.id == id) return stream.type;
    }
    return GST_STREAM_TYPE_UNKNOWN;
  };
  std::vector<std::string> ids;
  bool haveCurrent = std::any_of(selected.begin(), selected.end(), [&](const std::string& id) {
    return typeOf(id) != GST_STREAM_TYPE_UNKNOWN;
  });
  if (haveCurrent) {
    for (const auto& id : selected) {
      GstStreamType type = typeOf(id);
      if (type != GST_STREAM_TYPE_UNKNOWN && !isKind(type, kind)) ids.push_back(id);
    }
  } else {
    // No selection reported yet: the engine's defaults, the first video and audio.
    for (GstStreamType type : {GST_STREAM_TYPE_VIDEO, GST_STREAM_TYPE_AUDIO}) {
      if (kind == MediaCharacteristic::Audible && type == GST_STREAM_TYPE_AUDIO) continue;
      auto first = std::find_if(streams.begin(), streams.end(),
                                [&](const StreamEntry& s) { return (s.type & type) != 0; });
      if (first != streams.end()) ids.push_back(first->id);
    }
  }
  if (index) ids.push_back(candidates[*index]->id);
  return ids;
}

bool sameSelection(std::vector<std::string> a, std::vector<std::string> b) {
  std::sort(a.begin(), a.end());
  std::sort(b.begin(), b.end());
  return a == b;
}

}  // namespace zent
