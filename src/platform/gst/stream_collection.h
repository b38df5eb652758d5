#pragma once

#include <gst/gst.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "player/media_player.h"

namespace zent {

// One stream of the engine's stream collection.
struct StreamEntry {
  std::string id;  // the stream id SELECT_STREAMS names
  GstStreamType type = GST_STREAM_TYPE_UNKNOWN;
  MediaStreamInfo info;  // title and language tags
};

// The streams of a collection in its order, with their title and language tags
// (ISO 639-2 codes such as "eng" turned into the two-letter BCP-47 form "en"
// where one exists; "und" counts as none).
std::vector<StreamEntry> listStreams(GstStreamCollection* collection);

// The audio (Audible) or text (Legible) streams, in collection order.
std::vector<const StreamEntry*> streamsOf(const std::vector<StreamEntry>& streams,
                                          MediaCharacteristic kind);

// The stream ids to select when the stream at `index` among those of `kind` is
// chosen (none: no stream of that kind, e.g. captions off). Streams of the other
// kinds keep their current choice: `selected` when known, else the first video
// and the first audio stream. Nothing when index is past the streams of that kind.
std::optional<std::vector<std::string>> selectionWith(const std::vector<StreamEntry>& streams,
                                                      const std::vector<std::string>& selected,
                                                      MediaCharacteristic kind,
                                                      std::optional<std::size_t> index);

// Whether two lists of stream ids name the same streams, in any order.
bool sameSelection(std::vector<std::string> a, std::vector<std::string> b);

}  // namespace zent
