#include "support/subprocess.h"

#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>

namespace zent::test {
namespace {

using namespace std::chrono_literals;

TEST(Subprocess, CapturesOutputAndExitCode) {
  ProcessResult result = runProcess({"sh", "-c", "echo out; echo err >&2; exit 3"}, 30s);
  EXPECT_TRUE(result.started);
  EXPECT_FALSE(result.timedOut);
  EXPECT_EQ(result.exitCode, 3);
  EXPECT_EQ(result.out, "out\n");
  EXPECT_EQ(result.err, "err\n");
  EXPECT_FALSE(result.ok());
  EXPECT_NE(result.describe().find("exit code 3"), std::string::npos);
}

TEST(Subprocess, KillsAProgramThatOverrunsItsTime) {
  const auto start = std::chrono::steady_clock::now();
  ProcessResult result = runProcess({"sleep", "60"}, 200ms);
  EXPECT_TRUE(result.timedOut);
  EXPECT_EQ(result.signal, 9);
  EXPECT_LT(std::chrono::steady_clock::now() - start, 30s);
}

TEST(Subprocess, ReturnsWhenTheChildEndsEvenIfAGrandchildHoldsItsOutput) {
  const auto start = std::chrono::steady_clock::now();
  ProcessResult result = runProcess({"sh", "-c", "sleep 20 & echo done"}, 30s);
  EXPECT_TRUE(result.ok()) << result.describe();
  EXPECT_EQ(result.out, "done\n");
  EXPECT_LT(std::chrono::steady_clock::now() - start, 10s);
}

TEST(Subprocess, ReportsAProgramThatDoesNotExist) {
  ProcessResult result = runProcess({"zent-no-such-program"}, 5s);
  EXPECT_FALSE(result.started);
  EXPECT_THROW(runChecked({"zent-no-such-program"}, 5s), std::runtime_error);
}

TEST(Subprocess, QuotesArgumentsForMessages) {
  EXPECT_EQ(quoteCommand({"ffmpeg", "-i", "a b.mp4", "it's"}), "ffmpeg -i 'a b.mp4' 'it'\\''s'");
}

}  // namespace
}  // namespace zent::test
