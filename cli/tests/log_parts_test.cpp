#include "cli/log_parts.h"

#include "common/platform.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace kx::cli {
namespace {

using ::testing::ElementsAre;

// A log that grows, as threads of this process and of another one write it.
class GrowingLog : public ::testing::Test {
 protected:
  GrowingLog() { std::filesystem::remove(path_); }

  void information(int thread, const std::string& message) { write(ids(thread) + message + "\n"); }
  void error(int thread, const std::string& message) { write("Error: " + message + "\n" + ids(thread)); }
  void write(const std::string& bytes) { std::ofstream(path_, std::ios::binary | std::ios::app) << bytes; }
  std::int64_t size() const { return logSize(path_); }

  std::vector<std::string> texts(const LogRange& range, std::int64_t begin = 0) const {
    std::vector<std::string> texts;
    for (const LogStep& step : LogParts(path_, begin).steps(range)) {
      texts.push_back(std::to_string(step.line) + " " + step.text);
    }
    return texts;
  }

 private:
  static std::string ids(int thread) {
    return "(" + std::to_string(platform::currentProcessId()) + ", " + std::to_string(thread) + "): ";
  }

  std::string path_ = (std::filesystem::temp_directory_path() /
                       ("kx_log_parts_" + std::to_string(platform::currentProcessId()) + ".log"))
                          .string();
};

TEST_F(GrowingLog, EachRunHasWhatItsThreadWroteMeanwhile) {
  information(1, "first");
  const std::int64_t one = size();
  information(1, "second");
  information(2, "of another thread");
  const std::int64_t two = size();
  information(1, "third");
  write("(1, 1): of another process\n");

  EXPECT_THAT(texts({1, one, two}), ElementsAre("2 second"));
  EXPECT_THAT(texts({1, two, size()}), ElementsAre("4 third"));
  EXPECT_THAT(texts({2, 0, size()}), ElementsAre("3 of another thread"));
}

// The ids of an error stand in front of what comes next.
TEST_F(GrowingLog, AnErrorBelongsToTheRunThatItEnds) {
  error(1, "in the first run");
  const std::int64_t one = size();
  error(1, "in the second run");
  information(1, "behind it");
  const std::int64_t two = size();

  EXPECT_THAT(texts({1, 0, one}), ElementsAre("1 in the first run"));
  EXPECT_THAT(texts({1, one, two}), ElementsAre("2 in the second run", "3 behind it"));
}

TEST_F(GrowingLog, WhatWasThereBeforeIsCountedAndNotRead) {
  information(1, "of yesterday");
  error(1, "of yesterday, too");
  const std::int64_t begin = size();
  information(1, "of today");

  EXPECT_THAT(texts({1, begin, size()}, begin), ElementsAre("3 of today"));
}

TEST_F(GrowingLog, NoLogHasNoParts) {
  EXPECT_EQ(size(), 0);
  EXPECT_THAT(texts({1, 0, 100}), ElementsAre());
}

}  // namespace
}  // namespace kx::cli
