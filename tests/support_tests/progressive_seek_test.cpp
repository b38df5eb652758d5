// A seek in a progressive MP4 that is still downloading makes GStreamer's
// HTTP source ask the loopback server for a byte range; the seek completes.
#include <gst/gst.h>
#include <gtest/gtest.h>

#include <string>

#include "support/http_server.h"
#include "support/media_fixtures.h"

namespace zent::test {
namespace {

// Waits for the pipeline to settle (ASYNC_DONE); fails with the bus error text.
::testing::AssertionResult waitForAsyncDone(GstElement* pipeline, GstClockTime timeout) {
  GstBus* bus = gst_element_get_bus(pipeline);
  GstMessage* message = gst_bus_timed_pop_filtered(
      bus, timeout, static_cast<GstMessageType>(GST_MESSAGE_ASYNC_DONE | GST_MESSAGE_ERROR));
  gst_object_unref(bus);
  if (!message) return ::testing::AssertionFailure() << "no ASYNC_DONE in time";
  ::testing::AssertionResult result = ::testing::AssertionSuccess();
  if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR) {
    GError* error = nullptr;
    gst_message_parse_error(message, &error, nullptr);
    result = ::testing::AssertionFailure() << "pipeline error: " << error->message;
    g_error_free(error);
  }
  gst_message_unref(message);
  return result;
}

TEST(StreamPlayback, SeekAheadOfTheDownloadIsServedWithARangeRequest) {
  gst_init(nullptr, nullptr);
  const std::string path = mp4_1080p();  // about 7.7 MB
  HttpServer server;
  server.setBytesPerSecond(1024 * 1024);  // still downloading when the seek comes

  GstElement* playbin = gst_element_factory_make("playbin3", nullptr);
  ASSERT_NE(playbin, nullptr);
  g_object_set(playbin, "uri", server.url(path).c_str(), "video-sink",
               gst_element_factory_make("fakesink", nullptr), "audio-sink",
               gst_element_factory_make("fakesink", nullptr), nullptr);
  gst_element_set_state(playbin, GST_STATE_PAUSED);
  EXPECT_TRUE(waitForAsyncDone(playbin, 60 * GST_SECOND));

  ASSERT_TRUE(gst_element_seek_simple(
      playbin, GST_FORMAT_TIME,
      static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_KEY_UNIT), 8 * GST_SECOND));
  EXPECT_TRUE(waitForAsyncDone(playbin, 60 * GST_SECOND));
  gint64 position = -1;
  EXPECT_TRUE(gst_element_query_position(playbin, GST_FORMAT_TIME, &position));
  EXPECT_NEAR(static_cast<double>(position) / GST_SECOND, 8.0, 0.1);
  gst_element_set_state(playbin, GST_STATE_NULL);
  gst_object_unref(playbin);

  bool ranged = false;
  for (const HttpRequestRecord& record : server.requests()) {
    if (record.status == 206 && record.header("Range").rfind("bytes=", 0) == 0 &&
        record.header("Range") != "bytes=0-") {
      ranged = true;
    }
  }
  EXPECT_TRUE(ranged) << "no Range request reached the server";
}

}  // namespace
}  // namespace zent::test
