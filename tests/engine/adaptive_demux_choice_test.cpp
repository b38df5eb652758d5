// Which adaptive demuxer playbin3 picks once the library has started GStreamer,
// in a process where the host initialised GStreamer and used GStreamer's own
// hlsdemux2 first, and that it plays HLS (also AES-128 encrypted) and DASH to
// the end and keeps HLS renditions of one language with different names apart.

#include <gst/gst.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <mutex>
#include <string>

#include "platform/gst/adaptive_demux_choice.h"
#include "platform/gst/gst_runtime.h"
#include "support/file_util.h"
#include "support/http_server.h"
#include "support/media_fixtures.h"
#include "support/media_recipes.h"

namespace zent {
namespace {

namespace fs = std::filesystem;

GstRelease running() {
  guint major = 0, minor = 0, micro = 0, nano = 0;
  gst_version(&major, &minor, &micro, &nano);
  return {major, minor, micro};
}

bool fixedExpected() {
  const char* forced = std::getenv("ZENT_SYSTEM_ADAPTIVEDEMUX");
  return !systemAdaptiveDemuxReason(
      running(), forced != nullptr && *forced != '\0' && std::string_view(forced) != "0");
}

// 4 s of 426x240 video and a tone in two 2 s TS segments, AES-128 encrypted
// (the key at key.bin, each segment's IV its sequence number).
std::string hlsAes128() {
  return test::cachedMedia("hls_aes128-v1", [](const std::string& out) {
    fs::create_directories(out);
    test::writeFile(out + "/key.bin", "0123456789abcdef");
    test::writeFile(out + "/keyinfo", "key.bin\n" + out + "/key.bin\n");
    test::runFfmpeg(test::Args{} + test::testPattern(426, 240, 4) + test::sineTone(440, 4) +
                    test::Args{"-t", "4"} + test::h264Video() + test::aacAudio("64k") +
                    test::Args{"-f", "hls", "-hls_time", "2", "-hls_playlist_type", "vod",
                               "-hls_key_info_file", out + "/keyinfo", "-hls_segment_filename",
                               out + "/seg_%03d.ts", out + "/index.m3u8"});
    fs::remove(out + "/keyinfo");
  });
}

// The multivariant presentation's 240p video with both of its audio renditions,
// here in one language: "English" and "Commentary", both LANGUAGE="en".
std::string hlsSameLanguageRenditions() {
  return test::cachedMedia("hls_same_language_renditions-v1", [](const std::string& out) {
    const std::string from = test::hls_multivariant();
    fs::create_directories(out);
    for (const char* dir : {"video_240p", "audio_en", "audio_commentary"}) {
      fs::copy(from + "/" + dir, out + "/" + dir, fs::copy_options::recursive);
    }
    test::writeFile(
        out + "/master.m3u8",
        "#EXTM3U\n#EXT-X-VERSION:3\n"
        "#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"aud\",NAME=\"English\",LANGUAGE=\"en\",DEFAULT=YES,"
        "AUTOSELECT=YES,URI=\"audio_en/index.m3u8\"\n"
        "#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"aud\",NAME=\"Commentary\",LANGUAGE=\"en\","
        "DEFAULT=NO,AUTOSELECT=NO,URI=\"audio_commentary/index.m3u8\"\n"
        "#EXT-X-STREAM-INF:BANDWIDTH=300000,RESOLUTION=426x240,"
        "CODECS=\"avc1.42c015,mp4a.40.2\",AUDIO=\"aud\"\n"
        "video_240p/index.m3u8\n");
  });
}

// What one playbin3 run to the end saw.
struct Outcome {
  std::mutex mutex;
  std::string demuxer;  // factory of the adaptive demuxer
  std::string error;
  bool ended = false;
  int audioStreams = 0;  // in the latest stream collection
  std::atomic<int> videoFrames{0};
};

void deepElementAdded(GstBin*, GstBin*, GstElement* element, Outcome* run) {
  GstElementFactory* factory = gst_element_get_factory(element);
  if (factory == nullptr) return;
  const gchar* klass = gst_element_factory_get_metadata(factory, GST_ELEMENT_METADATA_KLASS);
  if (klass == nullptr || g_strrstr(klass, "Demuxer/Adaptive") == nullptr) return;
  std::lock_guard lock(run->mutex);
  run->demuxer = GST_OBJECT_NAME(factory);
}

void frameHandedOff(GstElement*, GstBuffer*, GstPad*, Outcome* run) {
  ++run->videoFrames;
}

int audioStreamsIn(GstMessage* message) {
  GstStreamCollection* collection = nullptr;
  gst_message_parse_stream_collection(message, &collection);
  int count = 0;
  for (guint i = 0; i < gst_stream_collection_get_size(collection); ++i) {
    GstStream* stream = gst_stream_collection_get_stream(collection, i);
    if (gst_stream_get_stream_type(stream) & GST_STREAM_TYPE_AUDIO) ++count;
  }
  gst_object_unref(collection);
  return count;
}

// Plays the URI with playbin3 into fake sinks, as fast as it decodes, until the
// end, an error or a minute.
void playToTheEnd(const std::string& uri, Outcome& run) {
  GstElement* playbin = gst_element_factory_make("playbin3", nullptr);
  ASSERT_NE(playbin, nullptr);
  GstElement* video = gst_element_factory_make("fakesink", nullptr);
  GstElement* audio = gst_element_factory_make("fakesink", nullptr);
  g_object_set(video, "sync", FALSE, "signal-handoffs", TRUE, nullptr);
  g_object_set(audio, "sync", FALSE, nullptr);
  g_signal_connect(video, "handoff", G_CALLBACK(frameHandedOff), &run);
  g_signal_connect(playbin, "deep-element-added", G_CALLBACK(deepElementAdded), &run);
  // Video and audio only (GST_PLAY_FLAG_VIDEO | GST_PLAY_FLAG_AUDIO).
  g_object_set(playbin, "uri", uri.c_str(), "video-sink", video, "audio-sink", audio, "flags", 0x3,
               nullptr);
  GstBus* bus = gst_element_get_bus(playbin);
  gst_element_set_state(playbin, GST_STATE_PLAYING);
  const auto types =
      GstMessageType(GST_MESSAGE_EOS | GST_MESSAGE_ERROR | GST_MESSAGE_STREAM_COLLECTION);
  const gint64 deadline = g_get_monotonic_time() + 60 * G_TIME_SPAN_SECOND;
  while (!run.ended && run.error.empty() && g_get_monotonic_time() < deadline) {
    GstMessage* message =
        gst_bus_timed_pop_filtered(bus, (deadline - g_get_monotonic_time()) * GST_USECOND, types);
    if (message == nullptr) break;
    if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_EOS) {
      run.ended = true;
    } else if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR) {
      GError* error = nullptr;
      gst_message_parse_error(message, &error, nullptr);
      run.error = error != nullptr ? error->message : "error";
      g_clear_error(&error);
    } else if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_STREAM_COLLECTION) {
      run.audioStreams = audioStreamsIn(message);
    }
    gst_message_unref(message);
  }
  gst_element_set_state(playbin, GST_STATE_NULL);
  gst_object_unref(bus);
  gst_object_unref(playbin);
}

class AdaptiveDemuxChoiceTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    // The host starts GStreamer and uses its own HLS demuxer before the library
    // starts: the fixed plugin's types must not clash with the ones registered.
    gst_init(nullptr, nullptr);
    GstElement* system = gst_element_factory_make("hlsdemux2", nullptr);
    if (system != nullptr) gst_object_unref(gst_object_ref_sink(system));
    ASSERT_TRUE(ensureGstreamer());
  }

  static std::string expected(const char* system) {
    return fixedExpected() ? std::string("zent") + system : system;
  }

  test::HttpServer server_;
};

TEST_F(AdaptiveDemuxChoiceTest, HlsPlaysToTheEndOnTheChosenDemuxer) {
  Outcome run;
  playToTheEnd(server_.url(test::hls_multivariant() + "/master.m3u8"), run);
  EXPECT_EQ(run.demuxer, expected("hlsdemux2"));
  EXPECT_TRUE(run.ended) << run.error;
  EXPECT_GT(run.videoFrames.load(), 0);
}

TEST_F(AdaptiveDemuxChoiceTest, DashPlaysToTheEndOnTheChosenDemuxer) {
  Outcome run;
  playToTheEnd(server_.url(test::dash_vod() + "/manifest.mpd"), run);
  EXPECT_EQ(run.demuxer, expected("dashdemux2"));
  EXPECT_TRUE(run.ended) << run.error;
  EXPECT_GT(run.videoFrames.load(), 0);
}

TEST_F(AdaptiveDemuxChoiceTest, Aes128EncryptedHlsIsDecrypted) {
  Outcome run;
  playToTheEnd(server_.url(hlsAes128() + "/index.m3u8"), run);
  EXPECT_EQ(run.demuxer, expected("hlsdemux2"));
  EXPECT_TRUE(run.ended) << run.error;
  // Every frame of both segments: a wrong key or IV leaves no decodable picture.
  EXPECT_GE(run.videoFrames.load(), 115);
}

TEST_F(AdaptiveDemuxChoiceTest, RenditionsOfOneLanguageWithDifferentNamesStayApart) {
  if (!fixedExpected() && !systemAdaptiveDemuxReason(running(), false)) {
    GTEST_SKIP() << "GStreamer's own demuxer before 1.26.9 merges them";
  }
  Outcome run;
  playToTheEnd(server_.url(hlsSameLanguageRenditions() + "/master.m3u8"), run);
  EXPECT_TRUE(run.ended) << run.error;
  EXPECT_EQ(run.audioStreams, 2);
}

TEST(AdaptiveDemuxChoice, TheFixedDemuxerIsUsedUntilGstreamerCarriesBothFixes) {
  struct Case {
    GstRelease release;
    bool forced;
    bool system;
  };
  for (const Case& c : {Case{{1, 22, 0}, false, false}, Case{{1, 24, 12}, false, false},
                        Case{{1, 26, 8}, false, false}, Case{{1, 26, 9}, false, true},
                        Case{{1, 28, 0}, false, true}, Case{{2, 0, 0}, false, true},
                        Case{{1, 22, 0}, true, true}}) {
    EXPECT_EQ(systemAdaptiveDemuxReason(c.release, c.forced).has_value(), c.system)
        << c.release.major << "." << c.release.minor << "." << c.release.micro
        << (c.forced ? " forced" : "");
  }
}

TEST(AdaptiveDemuxChoice, HlsDemuxersAreRecognisedByTheirFactoryNames) {
  for (const char* name : {"hlsdemux", "hlsdemux2", "zenthlsdemux2"}) {
    EXPECT_TRUE(isHlsDemuxerFactory(name)) << name;
  }
  for (const char* name : {"dashdemux2", "zentdashdemux2", "zentmssdemux2", ""}) {
    EXPECT_FALSE(isHlsDemuxerFactory(name)) << name;
  }
}

}  // namespace
}  // namespace zent
