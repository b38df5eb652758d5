#include "platform/gst/video_caption_bytes.h"

#include <gst/video/video.h>

namespace zent {

bool feedVideoCaptionBytes(GstBuffer* buffer, Cea608Decoder& decoder) {
  GstVideoCaptionMeta* meta = gst_buffer_get_video_caption_meta(buffer);
  if (meta == nullptr || meta->data == nullptr) return false;
  const guint8* data = meta->data;
  const gsize size = meta->size;
  switch (meta->caption_type) {
    case GST_VIDEO_CAPTION_TYPE_CEA708_RAW:  // cc_data triplets
      for (gsize i = 0; i + 3 <= size; i += 3)
        decoder.feedTriplet(data[i], data[i + 1], data[i + 2]);
      return true;
    case GST_VIDEO_CAPTION_TYPE_CEA608_S334_1A:  // bit 7 of the first byte: field 1
      for (gsize i = 0; i + 3 <= size; i += 3) {
        decoder.feedPair((data[i] & 0x80) ? 1 : 2, data[i + 1], data[i + 2]);
      }
      return true;
    case GST_VIDEO_CAPTION_TYPE_CEA608_RAW:  // pairs of field 1
      for (gsize i = 0; i + 2 <= size; i += 2) decoder.feedPair(1, data[i], data[i + 1]);
      return true;
    default:  // CDP packets are not produced by the parsers this reads after
      return false;
  }
}

}  // namespace zent
