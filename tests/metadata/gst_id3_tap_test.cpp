// The tap on playbin3 playing a made HLS stream over HTTP: every timed-ID3 tag comes
// out whole, in order, with its presentation time.

#include "platform/gst_id3_tap.h"

#include <gst/gst.h>
#include <gtest/gtest.h>

#include <mutex>

#include "metadata/timed_id3_hls.h"
#include "support/http_server.h"
#include "support/scoped_temp_dir.h"

namespace zent {
namespace {

using Bytes = std::vector<uint8_t>;

TEST(GstId3Tap, HandsOverEveryTagOfAnHlsTransportStreamAtItsPresentationTime) {
  gst_init(nullptr, nullptr);
  test::ScopedTempDir dir;
  const testing::Id3HlsStream stream = testing::makeTimedId3Hls(dir.path());
  test::HttpServer server(dir.path());
  GstElement* pipeline = gst_element_factory_make("playbin3", nullptr);
  g_object_set(pipeline, "uri", server.url("index.m3u8").c_str(), "video-sink",
               gst_element_factory_make("fakesink", nullptr), "audio-sink",
               gst_element_factory_make("fakesink", nullptr), nullptr);
  std::mutex mutex;
  std::vector<std::pair<Bytes, GstClockTime>> tags;
  auto tap = GstId3Tap::installTimed(pipeline, [&](Bytes tag, GstClockTime pts) {
    std::lock_guard<std::mutex> lock(mutex);
    tags.emplace_back(std::move(tag), pts);
  });
  ASSERT_NE(tap, nullptr);
  gst_element_set_state(pipeline, GST_STATE_PLAYING);
  GstBus* bus = gst_element_get_bus(pipeline);
  GstMessage* end = gst_bus_timed_pop_filtered(
      bus, 60 * GST_SECOND, static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
  EXPECT_TRUE(end && GST_MESSAGE_TYPE(end) == GST_MESSAGE_EOS) << "no end of stream";
  if (end) gst_message_unref(end);
  gst_object_unref(bus);
  gst_element_set_state(pipeline, GST_STATE_NULL);
  gst_object_unref(pipeline);
  tap.reset();  // outliving the pipeline is safe

  // The demuxer's times carry the stream's own offset: each tag lies as far from the
  // first as in the stream.
  ASSERT_EQ(tags.size(), stream.tags.size());
  for (size_t i = 0; i < tags.size(); ++i) {
    EXPECT_EQ(tags[i].first, stream.tags[i].tag) << "tag " << i;
    ASSERT_TRUE(GST_CLOCK_TIME_IS_VALID(tags[i].second)) << "tag " << i;
    EXPECT_NEAR(static_cast<double>(tags[i].second - tags[0].second) / GST_SECOND,
                stream.tags[i].seconds - stream.tags[0].seconds, 0.01)
        << "tag " << i;
  }
}

TEST(GstId3Tap, RefusesWhatIsNotAPipelineOrHasNoCallback) {
  gst_init(nullptr, nullptr);
  GstElement* sink = gst_element_factory_make("fakesink", nullptr);
  GstElement* pipeline = gst_pipeline_new(nullptr);
  EXPECT_EQ(GstId3Tap::install(sink, [](Bytes) {}), nullptr);
  EXPECT_EQ(GstId3Tap::install(pipeline, nullptr), nullptr);
  EXPECT_NE(GstId3Tap::install(pipeline, [](Bytes) {}), nullptr);
  gst_object_unref(sink);
  gst_object_unref(pipeline);
}

}  // namespace
}  // namespace zent
