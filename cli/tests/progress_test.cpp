#include "cli/progress.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

namespace kx::cli {
namespace {

using std::chrono::milliseconds;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::StartsWith;

const Moment kStart{};

TEST(Progress, EachBusyContextHasALineWithElapsedAndAllowedTime) {
  ProgressBoard board(3);
  board.begin({1, "playing order.txt", 60}, kStart);
  board.begin({3, "starting Firefox", 0}, kStart + milliseconds(500));

  const std::vector<std::string> lines = board.lines(kStart + milliseconds(2500), 80);

  ASSERT_EQ(lines.size(), 2U);
  EXPECT_THAT(lines[0], StartsWith("[1] playing order.txt "));
  EXPECT_THAT(lines[0], EndsWith("  2.5 s of 60 s"));
  EXPECT_THAT(lines[1], EndsWith("  2.0 s, no limit"));
}

TEST(Progress, AContextThatIsDoneHasNoLine) {
  ProgressBoard board(1);
  board.begin({1, "playing", 60}, kStart);

  board.rest(1);

  EXPECT_THAT(board.lines(kStart, 80), IsEmpty());
}

TEST(Progress, SeveralRunsAreCounted) {
  ProgressBoard board(1);

  board.count(3, 200);

  EXPECT_THAT(board.lines(kStart, 80), ElementsAre("3 of 200 runs done"));
}

TEST(Progress, ALineIsNeverWiderThanTheTerminal) {
  ProgressBoard board(1);
  board.begin({1, std::string(300, 'x') + "\n", 60}, kStart);

  EXPECT_LE(board.lines(kStart, 60).front().size(), 60U);
}

TEST(Progress, ItIsDrawnOverWhatWasDrawnLast) {
  std::ostringstream terminal;
  ProgressBoard board(1);
  board.begin({1, "playing", 60}, kStart);
  LiveLines live(terminal, 60);

  live.draw(board, kStart);
  EXPECT_THAT(terminal.str(), StartsWith("[1] playing"));
  terminal.str("");
  live.draw(board, kStart);
  EXPECT_THAT(terminal.str(), StartsWith("\x1b[1F\x1b[J[1] playing"));
  terminal.str("");
  live.clear();
  live.clear();
  EXPECT_EQ(terminal.str(), "\x1b[1F\x1b[J");
}

TEST(Progress, APlainLineNamesTheContext) {
  EXPECT_EQ(plainLine({2, "playing order.txt", 60}), "[2] playing order.txt");
}

}  // namespace
}  // namespace kx::cli
