#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "log_capture.h"
#include "subtitles/srt_subtitles.h"

namespace zent {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::LogCapture;
using ::testing::SizeIs;

// A scratch directory of its own for each test, removed afterwards.
class SrtFile : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    dir_ = std::filesystem::temp_directory_path() /
           ("zent-srt-" + std::to_string(::getpid()) + "-" + info->name());
    std::filesystem::create_directories(dir_);
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }

  std::string write(const std::string& name, const std::string& content) {
    std::filesystem::path path = dir_ / name;
    std::ofstream(path, std::ios::binary) << content;
    return path.string();
  }

  std::filesystem::path dir_;
};

TEST_F(SrtFile, LocalPathAndFileUrlAreReadAndAppended) {
  LogCapture log;
  std::string first = write("first file.srt",
                            "\xEF\xBB\xBF"
                            "1\r\n00:00:01,000 --> 00:00:02,000\r\nCaf\xC3\xA9\r\n\r\n"
                            "2\r\n01:02:03,456 --> 01:02:04,000\r\nLate\r\nline two\r\n");
  std::string second = write("second.srt", "1\n00:00:05,000 --> 00:00:06,000\nMiddle\n");

  SRTSubtitles subs;
  ASSERT_TRUE(subs.parseStringbuffer(first));
  ASSERT_TRUE(subs.parseStringbuffer("file://" + second));

  EXPECT_THAT(subs.timesIni(), ElementsAre(1000, 5000, 3723456));
  EXPECT_EQ(subs.updateSubtitle(1500), "Caf\xC3\xA9\n");
  EXPECT_EQ(subs.updateSubtitle(3723456), "Late\nline two\n");
  EXPECT_EQ(subs.updateSubtitle(5500), "Middle\n");
  EXPECT_EQ(subs.updateSubtitle(4000), "");
  EXPECT_THAT(log.at(LogLevel::ERROR), IsEmpty());
}

TEST_F(SrtFile, UnreadableOrEmptyFileFailsWithOneErrorNamingIt) {
  const std::vector<std::string> sources = {
      (dir_ / "missing.srt").string(),
      dir_.string(),  // a directory
      write("empty.srt", ""),
      write("no-cues.srt", "This is not a subtitle file.\n"),
  };
  for (const std::string& source : sources) {
    LogCapture log;
    SRTSubtitles subs;
    EXPECT_FALSE(subs.parseStringbuffer(source)) << source;
    std::vector<std::string> errors = log.at(LogLevel::ERROR);
    ASSERT_THAT(errors, SizeIs(1)) << source;
    EXPECT_THAT(errors[0], HasSubstr("SRT file " + source)) << source;
    EXPECT_EQ(subs.cueCount(), 0u);
  }
}

}  // namespace
}  // namespace zent
