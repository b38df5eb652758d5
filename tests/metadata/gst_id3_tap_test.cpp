#include "platform/gst_id3_tap.h"

#include <gmock/gmock.h>
#include <gst/gst.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>

#include "metadata/metadata_delegate.h"
#include "metadata/temp_dir.h"
#include "metadata/timed_id3_hls.h"
#include "support/http_server.h"

namespace zent {
namespace {

using Bytes = std::vector<uint8_t>;
using namespace std::chrono_literals;

// Tags handed over by the tap, as the main queue would receive them.
class TagQueue {
 public:
  void push(Bytes tag) {
    std::lock_guard<std::mutex> lock(mutex_);
    tags_.push_back(std::move(tag));
    ++total_;
    ready_.notify_all();
  }
  std::optional<Bytes> pop(std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (!ready_.wait_for(lock, timeout, [&] { return !tags_.empty(); })) return std::nullopt;
    Bytes tag = std::move(tags_.front());
    tags_.pop_front();
    return tag;
  }
  std::vector<Bytes> drain() {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<Bytes> out(tags_.begin(), tags_.end());
    tags_.clear();
    return out;
  }
  size_t total() {
    std::lock_guard<std::mutex> lock(mutex_);
    return total_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable ready_;
  std::deque<Bytes> tags_;
  size_t total_ = 0;
};

// playbin3 on a URL, video and audio to fakesinks.
class Playback {
 public:
  Playback(const std::string& url, bool realTime) {
    pipeline_ = gst_element_factory_make("playbin3", nullptr);
    GstElement* video = gst_element_factory_make("fakesink", nullptr);
    GstElement* audio = gst_element_factory_make("fakesink", nullptr);
    g_object_set(video, "sync", realTime ? TRUE : FALSE, nullptr);
    g_object_set(audio, "sync", realTime ? TRUE : FALSE, nullptr);
    g_object_set(pipeline_, "uri", url.c_str(), "video-sink", video, "audio-sink", audio, nullptr);
  }
  ~Playback() { stop(); }

  GstElement* pipeline() const { return pipeline_; }
  void play() { gst_element_set_state(pipeline_, GST_STATE_PLAYING); }

  // Waits for the end of the stream; an error or the timeout fails the test.
  void waitForEnd(std::chrono::seconds timeout) {
    GstBus* bus = gst_element_get_bus(pipeline_);
    GstMessage* message = gst_bus_timed_pop_filtered(
        bus, static_cast<GstClockTime>(timeout.count()) * GST_SECOND,
        static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
    ASSERT_NE(message, nullptr) << "no end of stream within " << timeout.count() << " s";
    if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR) {
      GError* error = nullptr;
      gst_message_parse_error(message, &error, nullptr);
      ADD_FAILURE() << "pipeline error: " << error->message;
      g_error_free(error);
    }
    gst_message_unref(message);
    gst_object_unref(bus);
  }

  void stop() {
    if (pipeline_ == nullptr) return;
    gst_element_set_state(pipeline_, GST_STATE_NULL);
    gst_object_unref(pipeline_);
    pipeline_ = nullptr;
  }

 private:
  GstElement* pipeline_ = nullptr;
};

class GstId3TapTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    gst_init(nullptr, nullptr);
    dir_ = new testing::TempDir;
    ts_ = new testing::Id3HlsStream(testing::makeTimedId3Hls(dir_->path() / "ts"));
    packed_ = new testing::Id3HlsStream(testing::makePackedAudioId3Hls(dir_->path() / "packed"));
    server_ = new test::HttpServer(dir_->path().string());
  }
  static void TearDownTestSuite() {
    delete server_;
    delete ts_;
    delete packed_;
    delete dir_;
  }

  static std::vector<Bytes> expected(const testing::Id3HlsStream& stream) {
    std::vector<Bytes> tags;
    for (const auto& timed : stream.tags) tags.push_back(timed.tag);
    return tags;
  }

  static testing::TempDir* dir_;
  static testing::Id3HlsStream* ts_;
  static testing::Id3HlsStream* packed_;
  static test::HttpServer* server_;
};
testing::TempDir* GstId3TapTest::dir_ = nullptr;
testing::Id3HlsStream* GstId3TapTest::ts_ = nullptr;
testing::Id3HlsStream* GstId3TapTest::packed_ = nullptr;
test::HttpServer* GstId3TapTest::server_ = nullptr;

TEST_F(GstId3TapTest, HandsOverEveryTimedId3TagOfAnHlsTransportStreamInOrder) {
  Playback playback(server_->url("ts/index.m3u8"), false);
  TagQueue queue;
  auto tap =
      GstId3Tap::install(playback.pipeline(), [&](Bytes tag) { queue.push(std::move(tag)); });
  ASSERT_NE(tap, nullptr);
  playback.play();
  playback.waitForEnd(60s);
  EXPECT_EQ(queue.drain(), expected(*ts_));
}

TEST_F(GstId3TapTest, HandsOverTheTagAtTheStartOfEachPackedAudioSegment) {
  Playback playback(server_->url("packed/audio.m3u8"), false);
  TagQueue queue;
  auto tap =
      GstId3Tap::install(playback.pipeline(), [&](Bytes tag) { queue.push(std::move(tag)); });
  playback.play();
  playback.waitForEnd(60s);
  EXPECT_EQ(queue.drain(), expected(*packed_));
}

TEST_F(GstId3TapTest, FillsTheRecordWhileItPlaysWithLaterValuesReplacingEarlierOnes) {
  Playback playback(server_->url("ts/index.m3u8"), true);
  TagQueue queue;
  auto tap =
      GstId3Tap::install(playback.pipeline(), [&](Bytes tag) { queue.push(std::move(tag)); });
  MetadataDelegate delegate;
  std::vector<std::string> albums, titles;
  playback.play();
  for (size_t i = 0; i < ts_->tags.size(); ++i) {
    std::optional<Bytes> tag = queue.pop(30s);
    ASSERT_TRUE(tag) << "tag " << i << " did not arrive";
    delegate.metadataOutput(*tag);
    albums.push_back(delegate.id3MetadataInfo->album);
    titles.push_back(delegate.id3MetadataInfo->title);
  }
  playback.waitForEnd(60s);
  EXPECT_EQ(albums, (std::vector<std::string>{"First Album", "Second Album", "Second Album"}));
  EXPECT_EQ(titles, (std::vector<std::string>{"First Title", "Second Títle", "Second Títle"}));
  const ID3MetadataInfo& info = *delegate.id3MetadataInfo;
  EXPECT_EQ(info.artist, "Ärtist Ünïcode");
  EXPECT_EQ(info.comment, "Second comment");
  EXPECT_EQ(info.text, "third text ✓");
}

TEST_F(GstId3TapTest, NoCallbackRunsAfterTheTapIsDestroyedWhilePlaying) {
  Playback playback(server_->url("ts/index.m3u8"), true);
  TagQueue queue;
  auto captured = std::make_shared<int>(0);
  auto tap = GstId3Tap::install(playback.pipeline(),
                                [&queue, captured](Bytes tag) { queue.push(std::move(tag)); });
  playback.play();
  ASSERT_TRUE(queue.pop(30s)) << "the first tag did not arrive";
  tap.reset();
  size_t delivered = queue.total();
  EXPECT_EQ(captured.use_count(), 1) << "the callback was not released";
  playback.waitForEnd(60s);
  EXPECT_EQ(queue.total(), delivered);
}

TEST_F(GstId3TapTest, OutlivingItsPipelineIsSafe) {
  TagQueue queue;
  std::unique_ptr<GstId3Tap> tap;
  {
    Playback playback(server_->url("ts/index.m3u8"), false);
    tap = GstId3Tap::install(playback.pipeline(), [&](Bytes tag) { queue.push(std::move(tag)); });
    playback.play();
    playback.waitForEnd(60s);
  }
  tap.reset();
  EXPECT_EQ(queue.drain(), expected(*ts_));
}

TEST(GstId3TapInstall, RefusesWhatIsNotAPipelineOrHasNoCallback) {
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
