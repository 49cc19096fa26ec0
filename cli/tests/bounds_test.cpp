#include "cli/bounds.h"

#include "api/connect_attempts.h"

#include <gtest/gtest.h>

#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

namespace kx::cli {
namespace {

// An extension that never answers.
class NeverServed final : public BrowserInstance {
 public:
  NeverServed() : BrowserInstance(kFirefox) {}
  bool connect(int /*timeoutSeconds*/) override {
    ++attempts;
    fail(kErrorGeneral, "nobody");
    return false;
  }
  bool sendCommand(const json::Object& /*request*/, int /*timeoutSeconds*/) override { return false; }

  std::int64_t attempts = 0;
};

TEST(StartBounds, CountTheAttemptsThatAStartMakes) {
  for (const int timeout : {0, 1, 2, 3, 10, 61, 600}) {
    NeverServed launched;
    connectOrLaunch(
        launched, timeout, [] { return true; }, [] {});
    NeverServed runner;
    connectToRunner(runner, timeout, [] {});

    EXPECT_EQ(startBounds(false, timeout).attempts, launched.attempts) << timeout;
    EXPECT_EQ(startBounds(true, timeout).attempts, runner.attempts) << timeout;
  }
}

// The attempts of the longest time-out, each with waits just below "for ever", need more milliseconds than
// fit.
TEST(StartBounds, OfTheLongestTimeOutAreCountedToo) {
  constexpr int kLongest = std::numeric_limits<int>::max();

  const StartBounds launched = startBounds(false, kLongest);
  const StartBounds runner = startBounds(true, kLongest);

  EXPECT_EQ(launched.nobodyServes, 2147483646);
  EXPECT_EQ(launched.noConnectionBack, 4294967);
  EXPECT_EQ(launched.slowest, 9224018433727799);
  EXPECT_EQ(runner.attempts, 2147483649);
  EXPECT_EQ(runner.nobodyServes, 4294967296);
  EXPECT_EQ(runner.noConnectionBack, 9223376331822071);
  EXPECT_EQ(runner.slowest, 18448036867456182);
}

std::vector<std::string> cellsOf(const std::string& line) {
  std::vector<std::string> cells;
  std::istringstream stream(line);
  for (std::string cell; std::getline(stream, cell, '|');) {
    const std::size_t first = cell.find_first_not_of(' ');
    cells.push_back(first == std::string::npos ? ""
                                               : cell.substr(first, cell.find_last_not_of(' ') - first + 1));
  }
  return cells;
}

std::string textOf(const std::optional<std::int64_t>& seconds) {
  return seconds ? std::to_string(*seconds) : "for ever";
}

TEST(StartBounds, AreThoseThatArePublished) {
  struct Row {
    std::string call;
    std::string situation;
    std::optional<std::int64_t> StartBounds::*bound;
  };
  const Row rows[] = {
      {"`kx_Init`", "nobody serves the pipe, launch or not", &StartBounds::nobodyServes},
      {"`kx_Init`", "the extension takes the name and does not connect", &StartBounds::noConnectionBack},
      {"`kx_Init`", "the slowest start whose browser answers the exit request at once",
       &StartBounds::slowest},
      {"`kxr_Init`", "nobody serves the pipe", &StartBounds::nobodyServes},
      {"`kxr_Init`", "the extension takes the name and does not connect", &StartBounds::noConnectionBack},
      {"`kxr_Init`", "the slowest start", &StartBounds::slowest},
  };
  constexpr int kTimeouts[] = {0, 1, 10, 60, 600};
  std::size_t found = 0;
  std::ifstream page(std::string(KX_SOURCES_DIR) + "/../docs/time-bounds.md");
  for (std::string line; std::getline(page, line);) {
    const std::vector<std::string> cells = cellsOf(line);
    for (const Row& row : rows) {
      if (cells.size() < 8 || cells[1] != row.call || cells[2] != row.situation) {
        continue;
      }
      ++found;
      for (std::size_t i = 0; i < std::size(kTimeouts); ++i) {
        const StartBounds bounds = startBounds(row.call == "`kxr_Init`", kTimeouts[i]);
        EXPECT_EQ(textOf(bounds.*row.bound), cells[3 + i]) << line << " with " << kTimeouts[i];
      }
    }
  }
  EXPECT_EQ(found, std::size(rows));
}

}  // namespace
}  // namespace kx::cli
