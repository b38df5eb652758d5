// The library as a host sees it: loaded with dlopen, driven through its exports only.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <thread>

#include "support/event_recorder.h"
#include "support/files.h"
#include "support/http_server.h"
#include "support/log_recorder.h"
#include "support/media_fixtures.h"
#include "support/subprocess.h"
#include "support/zent_api.h"

namespace zent::test {
namespace {

class HostInterfaceTest : public ZentApiTest {
 protected:
  void SetUp() override {
    ZentApiTest::SetUp();
    api().NativeShutdown();
    api().NativeSetLogCallback(&logRecorderCallback);
    logRecorder().clear();
    eventRecorder().clear();
  }
  void TearDown() override {
    api().NativeShutdown();
    api().NativeSetLogCallback(nullptr);
  }
  // Frees a text result unless it is the constant "" of the no-bridge case.
  std::string take(char* text, bool heap = true) {
    std::string value = text ? text : "<null>";
    if (heap) std::free(text);
    return value;
  }
};

TEST_F(HostInterfaceTest, EveryExportAnswersItsNoBridgeValueBeforeInit) {
  const ZentApi& a = api();
  char* emptyVersion = a.NativeGetVersion();
  EXPECT_STREQ(emptyVersion, "");
  EXPECT_EQ(a.NativeGetVersion(), emptyVersion) << "the no-bridge text is one constant";
  for (char* text : {a.NativeGetTrackID(0, 0), a.NativeGetAudioStreamName(0, 0),
                     a.NativeGetAudioStreamLanguage(0, 0), a.NativeGetCaptionStreamName(0, 0),
                     a.NativeGetCaptionStreamLanguage(0, 0), a.NativeUpdateSubtitle(0),
                     a.NativeGetID3Field(0, 0)}) {
    EXPECT_EQ(text, emptyVersion);
  }
  // clang-format off
  for (int64_t value : {
        a.NativeAddStream(1), a.NativeGetTotalStreams(), a.NativeOpenLocalContent(0, "/x.mp4"),
        a.NativeOpenURI(0, "http://127.0.0.1/x.m3u8", 1), a.NativeStartPlayBack(0, 0),
        a.NativeSeek(0, 0), a.NativePause(0), a.NativeResume(0), a.NativeStop(0),
        a.NativeSetMute(0, 1), a.NativeSetVolume(0, 0.5f),
        a.NativeSetAdditionalHttpHeader(0, "A: b", "http://x"), a.NativeSetLowLatency(0, 1, 2),
        int64_t{a.NativeGetPlayerState(0)}, a.NativeGetTotalTime(0), a.NativeGetCurrentTime(0),
        a.NativeGetProgramDateTimeEpoch(0), a.NativeGetVideoHeight(0), a.NativeGetVideoWidth(0),
        a.NativeGetMilisecondsEndBuffered(0), a.NativeGetCaptionEncodingType(0),
        a.NativeSetTimedMetadta_CustomTags(0, "x"),
        a.NativeGetTimedMetadta_EncodingType(0, 1, "x"),
        a.NativeGetTimedMetadta_DataByte(0, 1, "x", 7), a.NativeGetTrackCount(0),
        a.NativeGetTrackBitrate(0, 0), a.NativeGetTrackWidth(0, 0), a.NativeGetTrackHeight(0, 0),
        a.NativeGetAudioStreamCount(0), a.NativeGetCaptionStreamCount(0)}) {
    // clang-format on
    EXPECT_EQ(value, -1);
  }
  EXPECT_EQ(a.NativeOpenExternalSubtitles(0, "a.srt"), 0xFF);
  EXPECT_EQ(a.NativeGetTrackFrameRate(0, 0), -1.0f);
  EXPECT_EQ(a.NativeGetPlaybackSpeed(0), -1.0f);
  EXPECT_EQ(a.NativeGetTrackRotation(0, 1, 1), 0.0f);
  EXPECT_EQ(a.NativeGetTexture(0), nullptr);
  EXPECT_EQ(a.GetTimedMetadata(0, 0), nullptr);
  EXPECT_EQ(a.GetExtraMetadataInfo(0, 0), nullptr);
  // Functions without a result do nothing and log nothing.
  a.NativeClose(0);
  a.NativeRemoveVideoContent(0);
  a.NativeRemoveStream(0);
  a.NativeSelectTrack(0, 0);
  a.NativeSetMaxBitrate(0, 1);
  a.NativeSetMinBitrate(0, 1);
  a.NativeSetAudioStream(0, 0);
  a.NativeEnableCaptions(0, true);
  a.NativeSetCaptionStream(0, 0);
  a.NativeSetPlaybackSpeed(0, 2.0f);
  a.NativeCleanVideoTexture(0);
  a.NativeSetLogSystemLevel(3);
  a.NativeSetLogSystemTimestamp(false);
  a.NativeSetLogSystemPlatform(false);
  EXPECT_EQ(logRecorder().size(), 0u) << logRecorder().describe();
  EXPECT_TRUE(eventRecorder().events().empty());
}

TEST_F(HostInterfaceTest, StreamsAreAddedRemovedAndRenumbered) {
  api().NativeInit(&eventRecorderListener);
  EXPECT_EQ(api().NativeGetTotalStreams(), 0);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(api().NativeAddStream(i), 0);
  EXPECT_EQ(api().NativeGetTotalStreams(), 3);
  api().NativeRemoveStream(1);
  EXPECT_EQ(api().NativeGetTotalStreams(), 2);
  EXPECT_EQ(api().NativeGetPlayerState(0), 0);
  EXPECT_EQ(api().NativeGetPlayerState(1), 0);
  EXPECT_EQ(api().NativeGetPlayerState(2), -1);
  // The renumbered player logs under its new index.
  api().NativePause(1);
  EXPECT_TRUE(logRecorder().contains("PlayerIndex: 1 | Pause")) << logRecorder().describe();
  api().NativeClose(0);
  EXPECT_EQ(api().NativeGetPlayerState(0), 1);
}

TEST_F(HostInterfaceTest, BadIndicesAndNullArgumentsNeverCrash) {
  api().NativeInit(nullptr);
  api().NativeAddStream(0);
  for (int32_t bad : {-1, 1, 2147483647, -2147483647 - 1}) {
    EXPECT_EQ(api().NativePause(bad), -1);
    EXPECT_EQ(api().NativeOpenURI(bad, "http://127.0.0.1/a.m3u8", 1), -1);
    EXPECT_EQ(take(api().NativeGetTrackID(bad, 0)), "");
    EXPECT_EQ(api().NativeGetTexture(bad), nullptr);
    EXPECT_EQ(api().NativeGetPlaybackSpeed(bad), -1.0f);
  }
  EXPECT_EQ(api().NativeOpenURI(0, nullptr, 0), 0);  // returns at once; the load reports it
  EXPECT_TRUE(logRecorder().waitFor("does not parse as a URL", std::chrono::seconds(10), 0, 3))
      << logRecorder().describe();
  EXPECT_EQ(api().NativeOpenExternalSubtitles(0, nullptr), 0);
  api().NativeSetLogSystemLevel(17);
  EXPECT_TRUE(logRecorder().contains("Invalid log level received: 17"));
  // Released slot: transport answers 0, queries that need the player report it.
  api().NativeRemoveVideoContent(0);
  api().NativeShutdown();
  api().NativeShutdown();
  EXPECT_EQ(api().NativeGetTotalStreams(), -1);
  EXPECT_STREQ(api().NativeGetVersion(), "");
  api().NativeInit(nullptr);
  EXPECT_EQ(api().NativeGetTotalStreams(), 0) << "a new bridge starts with an empty registry";
}

TEST_F(HostInterfaceTest, LogLinesFollowTheLayoutUnderEachSwitch) {
  api().NativeInit(nullptr);
  logRecorder().clear();
  api().NativeSetLogSystemLevel(1);
  std::regex stamped(
      R"(^\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\] ZENTPLAYER - Linux - INFO: Log level changed to INFO$)");
  ASSERT_EQ(logRecorder().size(), 1u);
  EXPECT_TRUE(std::regex_match(logRecorder().lines()[0].line, stamped))
      << logRecorder().lines()[0].line;
  EXPECT_EQ(logRecorder().lines()[0].level, 1);

  api().NativeSetLogSystemTimestamp(false);
  api().NativeSetLogSystemPlatform(false);
  api().NativeAddStream(0);
  api().NativeSetMaxBitrate(0, 100);
  auto lines = logRecorder().lines();
  ASSERT_EQ(lines.size(), 4u) << logRecorder().describe();
  EXPECT_EQ(lines[1].line, "ZENTPLAYER - Linux - INFO: ShowTimestamp set to false");
  EXPECT_EQ(lines[2].line, "ZENTPLAYER - INFO: ShowPlatform set to false");
  EXPECT_EQ(lines[3].line,
            "ZENTPLAYER - WARNING: PlayerIndex: 0 | setMaxBitrate not implemented yet");

  // A level filters lower lines; NONE silences everything, errors included.
  api().NativeSetLogSystemLevel(3);
  api().NativeSetMaxBitrate(0, 100);
  api().NativeSetLogSystemLevel(4);
  api().NativeSetLogSystemLevel(99);
  EXPECT_EQ(logRecorder().size(), 4u) << logRecorder().describe();
  // A "%" in a message is text, not a format directive.
  api().NativeSetLogSystemLevel(0);
  api().NativeOpenURI(0, "bad url %s%n%d", 0);
  EXPECT_TRUE(
      logRecorder().waitFor("\"bad url %s%n%d\" does not parse as a URL", std::chrono::seconds(10)))
      << logRecorder().describe();
}

// Program date-times far outside the int32 range of seconds saturate at the
// boundary, each way.
TEST_F(HostInterfaceTest, ProgramDateTimesBeyondInt32SecondsSaturate) {
  const std::string media = hls_program_date_time();
  const std::string original = readFile(media + "/index.m3u8");
  HttpServer server;
  ScopedTempDir dir;
  HttpServer local(dir.path());
  api().NativeInit(&eventRecorderListener);
  const std::pair<const char*, int64_t> kCases[] = {{"1900", INT32_MIN}, {"2100", INT32_MAX}};
  for (int32_t i = 0; i < 2; ++i) {
    std::string playlist, line;
    std::istringstream lines(original);
    while (std::getline(lines, line)) {
      if (line.rfind("#EXT-X-PROGRAM-DATE-TIME:", 0) == 0) line.replace(25, 4, kCases[i].first);
      if (!line.empty() && line[0] != '#') line = server.url(media + "/" + line);
      playlist += line + "\n";
    }
    std::string name = std::to_string(i) + ".m3u8";
    dir.write(name, playlist);
    ASSERT_EQ(api().NativeAddStream(1), 0);
    ASSERT_EQ(api().NativeOpenURI(i, local.url(name).c_str(), 1), 0);
  }
  for (int32_t i = 0; i < 2; ++i) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    int64_t epoch = 0;
    while (epoch == 0 && std::chrono::steady_clock::now() < deadline) {
      epoch = api().NativeGetProgramDateTimeEpoch(i);
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    EXPECT_EQ(epoch, kCases[i].second) << kCases[i].first << "\n" << logRecorder().describe(30);
  }
}

TEST_F(HostInterfaceTest, OnlyTheHostFunctionsAndVersionDataAreExported) {
  std::istringstream lines(
      runChecked({"nm", "-D", "--defined-only", ZENT_LIBRARY_PATH}, std::chrono::seconds(60)).out);
  std::set<std::string> exported;
  for (std::string line; std::getline(lines, line);) {
    exported.insert(line.substr(line.find_last_of(' ') + 1));
  }
  std::set<std::string> expected(zentApiSymbolNames().begin(), zentApiSymbolNames().end());
  EXPECT_EQ(exported, expected);
}

}  // namespace
}  // namespace zent::test
