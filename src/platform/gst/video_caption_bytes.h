#pragma once

#include <gst/gst.h>

#include "subtitles/cea608_decoder.h"

namespace zent {

// Feeds the line-21 caption bytes a video buffer carries (the GstVideoCaptionMeta
// that h264parse attaches from A/53 "GA94" user data, or a decoder from its side
// data) to the decoder. Only the buffer's first caption meta is read: parser and
// decoder may both attach the same bytes. Returns false when it carries none.
bool feedVideoCaptionBytes(GstBuffer* buffer, Cea608Decoder& decoder);

}  // namespace zent
