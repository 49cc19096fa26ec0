// One context's life, with a library that answers as the test says.
#include "cli/player.h"

#include "cli/tests/fake_library.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kx::cli {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Answer = FakeLibrary::Answer;

const Answer kNotServed = {-1, -1, "Could not open server pipe x"};
const Answer kGone = {-1, -1, "Server unexpectedly closed connection"};
const Answer kMacroFailed = {-1, -50, "There is no such button"};

class Playing : public ::testing::Test {
 protected:
  std::vector<RunResult> play(std::size_t runs = 1) {
    std::vector<cli::Run> all;
    for (std::size_t i = 1; i <= runs; ++i) {
      all.push_back({i, {{"n", std::to_string(i)}}});
    }
    RunQueue queue(all);
    std::vector<RunResult> results;
    {
      Player player(library_, arguments_, macros_, 2, interruption_,
                    {[&](const Step& step) { steps_.push_back(step.what); },
                     [&](RunResult result) { results.push_back(std::move(result)); },
                     [&](const EndedStep& ended) {
                       endedSteps_.push_back(std::to_string(ended.step.run) + " " + ended.step.what +
                                             (ended.isGood ? "" : ", failed"));
                       EXPECT_GE(ended.ended, ended.step.begun);
                     },
                     [&] { return static_cast<std::int64_t>(library_.calls().size()); }});
      closing_ = player.playAll(queue);
    }
    return results;
  }

  FakeLibrary library_;
  PlayArguments arguments_;
  std::vector<Macro> macros_ = {{"order.txt", "buy"}};
  Interruption interruption_ = false;
  std::vector<std::string> steps_;
  std::vector<std::string> endedSteps_;
  LogRange closing_;
};

TEST_F(Playing, StartsOncePlaysAllRunsAndExits) {
  const std::vector<RunResult> results = play(2);

  EXPECT_THAT(library_.calls(), ElementsAre("start", "play buy", "play buy", "exit"));
  ASSERT_EQ(results.size(), 2U);
  EXPECT_EQ(results[1].outcome, Outcome::Ok);
  EXPECT_THAT(results[1].extracts, ElementsAre("buy n=2"));
  EXPECT_EQ(library_.contextsAlive(), 0U);
}

TEST_F(Playing, EachStepTellsItsRunAndWhetherItWentWell) {
  library_.answers["play"] = {kGone};
  arguments_.retries = 1;

  play();

  EXPECT_THAT(endedSteps_,
              ElementsAre("1 starting Firefox", "1 playing order.txt, failed", "1 closing the browser",
                          "1 starting Firefox", "1 playing order.txt", "0 closing the browser"));
}

// Here a call makes the log longer by one.
TEST_F(Playing, TheLogIsPartedBetweenTheRunsAndTheExit) {
  const std::vector<RunResult> results = play(2);

  EXPECT_EQ(results[0].log.begin, 0);
  EXPECT_EQ(results[0].log.end, 2);
  EXPECT_EQ(results[1].log.begin, 2);
  EXPECT_EQ(results[1].log.end, 3);
  EXPECT_EQ(closing_.begin, 3);
  EXPECT_EQ(closing_.end, 4);
}

TEST_F(Playing, AllMacrosOfARunArePlayedWithItsVariables) {
  macros_.push_back({"pay.txt", "pay"});

  const std::vector<RunResult> results = play();

  EXPECT_THAT(results.front().extracts, ElementsAre("buy n=1", "pay n=1"));
}

TEST_F(Playing, AMacroThatFailsEndsItsRunAndNotTheBrowser) {
  macros_.push_back({"pay.txt", "pay"});
  library_.answers["play"] = {kMacroFailed};

  const std::vector<RunResult> results = play(2);

  EXPECT_THAT(library_.calls(), ElementsAre("start", "play buy", "play buy", "play pay", "exit"));
  EXPECT_EQ(results[0].outcome, Outcome::MacroFailed);
  EXPECT_EQ(results[0].macro, "order.txt");
  EXPECT_EQ(results[0].reason->id, "macro-failed");
  EXPECT_EQ(results[1].outcome, Outcome::Ok);
}

TEST_F(Playing, ALostConnectionIsFollowedByAnExitAndAnotherStart) {
  library_.answers["play"] = {kGone};

  const std::vector<RunResult> results = play(2);

  EXPECT_THAT(library_.calls(), ElementsAre("start", "play buy", "exit", "start", "play buy", "exit"));
  EXPECT_EQ(results[0].outcome, Outcome::ConnectionFailed);
  EXPECT_EQ(results[0].reason->id, "browser-gone");
  EXPECT_EQ(results[1].outcome, Outcome::Ok);
}

TEST_F(Playing, WithRetriesTheRunItselfIsPlayedAgain) {
  arguments_.retries = 1;
  library_.answers["play"] = {kGone};

  const std::vector<RunResult> results = play();

  EXPECT_EQ(results[0].outcome, Outcome::Ok);
  EXPECT_EQ(results[0].attempts, 2);
  EXPECT_THAT(results[0].extracts, ElementsAre("buy n=1"));
}

TEST_F(Playing, AMacroThatFailsIsNotRetried) {
  arguments_.retries = 3;
  library_.answers["play"] = {kMacroFailed};

  EXPECT_EQ(play()[0].attempts, 1);
}

TEST_F(Playing, AStartThatFailsEndsTheContextAndLeavesTheOtherRuns) {
  arguments_.retries = 1;
  library_.answers["start"] = {kNotServed, kNotServed};

  const std::vector<RunResult> results = play(3);

  ASSERT_EQ(results.size(), 1U);
  EXPECT_EQ(results[0].outcome, Outcome::ConnectionFailed);
  EXPECT_EQ(results[0].attempts, 2);
  EXPECT_EQ(results[0].reason->id, "pipe-not-served");
  EXPECT_THAT(library_.calls(), ElementsAre("start", "start")) << "the library has ended what it launched";
}

TEST_F(Playing, AStartThatIsAnsweredWithAnErrorIsAFailureOfTheExtension) {
  library_.answers["start"] = {{0, -7, "no window"}};

  const std::vector<RunResult> results = play();

  EXPECT_EQ(results[0].outcome, Outcome::MacroFailed);
  EXPECT_EQ(results[0].reason->id, "answered-with-an-error");
  EXPECT_THAT(library_.calls(), ElementsAre("start", "exit"));
}

TEST_F(Playing, ABrowserThatWasRunningBeforeStaysOpen) {
  library_.isAttached = true;

  play();

  EXPECT_THAT(library_.calls(), ElementsAre("start", "play buy"));
}

TEST_F(Playing, StayLeavesTheBrowserOpen) {
  arguments_.stay = true;

  play();

  EXPECT_THAT(library_.calls(), ElementsAre("start", "play buy"));
}

TEST_F(Playing, AttachingGivesTheLibraryNoProgramToLaunch) {
  arguments_.browser.attach = true;
  library_.answers["start"] = {{3, -3, "Error finding browser binary"}};

  const std::vector<RunResult> results = play();

  EXPECT_EQ(library_.starts.at(0).program, "");
  EXPECT_EQ(results[0].reason->id, "pipe-not-served");
}

TEST_F(Playing, MessageAndPictureFollowARunThatWentWell) {
  arguments_.message = "done";
  arguments_.screenshot = "C:\\shots\\{run}.png";
  arguments_.screenshotOfPage = true;

  const std::vector<RunResult> results = play(2);

  EXPECT_THAT(library_.calls(),
              ElementsAre("start", "play buy", "display done", "screenshot C:\\shots\\1.png 1", "play buy",
                          "display done", "screenshot C:\\shots\\2.png 1", "exit"));
  EXPECT_EQ(results[1].screenshot, "C:\\shots\\2.png");
  EXPECT_EQ(results[1].call.exportName, "kx_Play");
}

TEST_F(Playing, APictureThatCannotBeSavedFailsTheRun) {
  arguments_.screenshot = "shot.png";
  library_.answers["screenshot"] = {{0, -930, "cannot write"}};

  const std::vector<RunResult> results = play();

  EXPECT_EQ(results[0].outcome, Outcome::MacroFailed);
  EXPECT_EQ(results[0].call.exportName, "kx_TakeBrowserScreenshot");
  EXPECT_EQ(results[0].screenshot, "");
}

TEST_F(Playing, CtrlCLetsTheCallEndAndExits) {
  macros_.push_back({"pay.txt", "pay"});
  library_.duringPlay = [&] { interruption_ = true; };

  const std::vector<RunResult> results = play(2);

  EXPECT_THAT(library_.calls(), ElementsAre("start", "play buy", "exit"));
  ASSERT_EQ(results.size(), 1U);
  EXPECT_EQ(results[0].outcome, Outcome::Interrupted);
}

TEST_F(Playing, ARunThatWasThroughWhenCtrlCCameCounts) {
  library_.duringPlay = [&] { interruption_ = true; };

  const std::vector<RunResult> results = play(2);

  ASSERT_EQ(results.size(), 1U);
  EXPECT_EQ(results[0].outcome, Outcome::Ok);
}

TEST_F(Playing, ARunnersBrowserIsLaunchedAndEndedByThisProgram) {
  arguments_.browser.runner = true;
  arguments_.browser.profile = "work-{n}";

  const std::vector<RunResult> results = play();

  EXPECT_THAT(library_.calls(), ElementsAre("launch -runner -fxProfile=\"work-2\"", "start runner",
                                            "play buy", "exit runner", "end runner"));
  EXPECT_EQ(results[0].profile, "work-2");
}

TEST_F(Playing, ARunnerThatDoesNotAnswerIsEnded) {
  arguments_.browser.runner = true;
  arguments_.browser.profile = "work";
  library_.answers["start runner"] = {{-1, -3, "Connection timed out"}};

  EXPECT_EQ(play()[0].reason->id, "runner-attempts-used-up");
  EXPECT_THAT(library_.calls(),
              ElementsAre("launch -runner -fxProfile=\"work\"", "start runner", "end runner"));
}

TEST_F(Playing, StepsAreToldBeforeTheyAreTaken) {
  arguments_.browser.profile = "work";

  play();

  EXPECT_THAT(steps_,
              ElementsAre("starting Firefox, profile work", "playing order.txt", "closing the browser"));
}

}  // namespace
}  // namespace kx::cli
