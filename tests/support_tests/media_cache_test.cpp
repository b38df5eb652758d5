#include "support/media_cache.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <thread>
#include <vector>

#include "support/file_util.h"

namespace fs = std::filesystem;

namespace zent::test {
namespace {

// A key of its own for every run, removed afterwards.
class MediaCacheTest : public ::testing::Test {
 protected:
  MediaCacheTest() {
    auto now = std::chrono::steady_clock::now().time_since_epoch().count();
    key_ = "cache-test-" + std::to_string(getpid()) + "-" + std::to_string(now) + "-v1.txt";
  }
  ~MediaCacheTest() override {
    std::error_code ec;
    fs::remove(fs::path(mediaCacheDir()) / key_, ec);
  }
  std::string key_;
};

TEST_F(MediaCacheTest, ConcurrentCallersMakeTheItemOnce) {
  std::atomic<int> made{0};
  std::vector<std::string> paths(6);
  std::vector<std::thread> callers;
  for (size_t i = 0; i < paths.size(); ++i) {
    callers.emplace_back([&, i] {
      paths[i] = cachedMedia(key_, [&](const std::string& partial) {
        ++made;
        // Nobody sees the item before it is complete.
        EXPECT_FALSE(fs::exists(fs::path(mediaCacheDir()) / key_));
        writeFile(partial, "complete");
      });
    });
  }
  for (auto& caller : callers) caller.join();
  EXPECT_EQ(made.load(), 1);
  for (const std::string& path : paths) {
    EXPECT_EQ(path, (fs::path(mediaCacheDir()) / key_).string());
    EXPECT_EQ(readFile(path), "complete");
  }
  // A later call finds it without making it again.
  cachedMedia(key_, [&](const std::string&) { ++made; });
  EXPECT_EQ(made.load(), 1);
}

TEST_F(MediaCacheTest, AFailedRecipeLeavesNothingAndIsTriedAgain) {
  EXPECT_THROW(cachedMedia(key_,
                           [](const std::string& partial) {
                             writeFile(partial, "half");
                             throw std::runtime_error("encoder failed");
                           }),
               std::runtime_error);
  EXPECT_FALSE(fs::exists(fs::path(mediaCacheDir()) / key_));
  EXPECT_FALSE(fs::exists(fs::path(mediaCacheDir()) / ".partial" / key_));
  std::string path =
      cachedMedia(key_, [](const std::string& partial) { writeFile(partial, "ok"); });
  EXPECT_EQ(readFile(path), "ok");
}

TEST_F(MediaCacheTest, RejectsKeysThatLeaveTheCache) {
  auto nothing = [](const std::string&) {};
  EXPECT_THROW(cachedMedia("../escape", nothing), std::invalid_argument);
  EXPECT_THROW(cachedMedia(".hidden", nothing), std::invalid_argument);
  EXPECT_THROW(cachedMedia("", nothing), std::invalid_argument);
}

}  // namespace
}  // namespace zent::test
