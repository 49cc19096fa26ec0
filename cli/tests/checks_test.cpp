// How checks are run and judged, with checks that do what the test says.
#include "cli/checks.h"

#include "cli/surroundings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <stdexcept>

namespace kx::cli {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class Checks : public ::testing::Test {
 protected:
  Checks() {
    run_.endWhatWasStarted = [&] { ended_.set_value(); };
    run_.giveUp = [] { return std::vector<Evidence>{{"log", "its last entry"}}; };
    run_.begins = [&](const Check& check) { begun_.push_back(check.name); };
    run_.line = [&](const CheckLine&) { ++lines_; };
    run_.ends = [](const CheckResult&) {};
  }

  CheckResult only(const std::function<void(CheckNotes&)>& what) {
    return runChecks({{"one", "the only one", what}}, run_, interruption_).front();
  }
  CheckLine onlyLine(const std::function<void(CheckNotes&)>& what) { return only(what).lines.at(0); }

  CheckRun run_;
  Interruption interruption_ = false;
  std::promise<void> ended_;
  std::vector<std::string> begun_;
  int lines_ = 0;
};

TEST_F(Checks, ALineIsGoodWhenWhatCameIsWhatWasExpected) {
  const CheckResult result = only([](CheckNotes& notes) {
    notes.same("a", "1", "1");
    notes.same("b", "1", "2");
    notes.holds("c", true, "few", "3");
    notes.holds("d", false, "few", "300");
  });

  ASSERT_THAT(result.lines, SizeIs(4));
  EXPECT_EQ(lines_, 4);
  EXPECT_EQ(result.lines[0].verdict, Verdict::Ok);
  EXPECT_EQ(result.lines[1].verdict, Verdict::Failed);
  EXPECT_EQ(result.lines[1].expected, "1");
  EXPECT_EQ(result.lines[1].came, "2");
  EXPECT_EQ(result.lines[2].verdict, Verdict::Ok);
  EXPECT_EQ(result.lines[3].verdict, Verdict::Failed);
}

TEST_F(Checks, BytesThatDifferAreShownAroundTheFirstDifference) {
  const std::string expected = std::string(100, 'a') + "b" + std::string(200, 'a');
  std::string came = expected;
  came[100] = '\n';

  EXPECT_EQ(onlyLine([&](CheckNotes& notes) { notes.sameBytes("x", expected, expected); }).verdict,
            Verdict::Ok);
  const CheckLine line = onlyLine([&](CheckNotes& notes) { notes.sameBytes("x", expected, came); });

  EXPECT_EQ(line.verdict, Verdict::Failed);
  EXPECT_EQ(line.expected, "301 bytes");
  EXPECT_THAT(line.difference, HasSubstr("byte 100 of 301 expected, 301 that came"));
  EXPECT_THAT(line.difference, HasSubstr("      96  61 61 61 61 0a 61"));
  EXPECT_THAT(line.difference, HasSubstr("  aaaa.aaaaaaaaaaa\n"));
}

TEST_F(Checks, BytesThatAreMissingDiffer) {
  const CheckLine line = onlyLine([&](CheckNotes& notes) { notes.sameBytes("x", "abc", "ab"); });

  EXPECT_EQ(line.verdict, Verdict::Failed);
  EXPECT_THAT(line.difference, HasSubstr("byte 2 of 3 expected, 2 that came"));
}

TEST_F(Checks, APlaceWhereWindowsDiffersIsAsThereAsOnWineOrOtherwise) {
  const CheckResult result = only([](CheckNotes& notes) {
    notes.differs("a", "1", true, "2", false, "1");
    notes.differs("b", "1", false, "2", true, "2");
    notes.differs("c", "1", false, "2", false, "3");
    notes.differs("d", "1", true, "1", true, "1");
  });

  ASSERT_THAT(result.lines, SizeIs(4));
  EXPECT_EQ(result.lines[0].verdict, Verdict::AsExpected);
  EXPECT_EQ(result.lines[1].verdict, Verdict::AsOnWine);
  EXPECT_EQ(result.lines[2].verdict, Verdict::Otherwise);
  EXPECT_EQ(result.lines[3].verdict, Verdict::AsExpected);
  EXPECT_TRUE(isBad(Verdict::Otherwise) && isBad(Verdict::Failed));
  EXPECT_FALSE(isBad(Verdict::AsOnWine) || isBad(Verdict::NotTried));
}

TEST_F(Checks, ACheckThatThrowsHasFailed) {
  EXPECT_THAT(onlyLine([](CheckNotes&) { throw std::runtime_error("no simulator"); }).came,
              HasSubstr("no simulator"));
  const CheckLine line = onlyLine([](CheckNotes&) { throw Problem{4, "no pipe"}; });
  EXPECT_EQ(line.verdict, Verdict::Failed);
  EXPECT_THAT(line.came, HasSubstr("no pipe"));
}

TEST_F(Checks, EvidenceIsKeptOfFailedChecksAlone) {
  EXPECT_THAT(only([](CheckNotes& notes) {
                notes.keep("log", "text");
                notes.same("a", "1", "1");
              }).evidence,
              IsEmpty());
  EXPECT_THAT(only([](CheckNotes& notes) {
                notes.same("a", "1", "2");
                notes.keep("log", "text");
              }).evidence,
              SizeIs(1));
}

TEST_F(Checks, ACallThatDoesNotReturnFailsAndWhatWasStartedIsEnded) {
  run_.patience = std::chrono::milliseconds(1);
  std::shared_future<void> end = ended_.get_future().share();

  // The check returns when what it waits for is ended. It may need longer than it is given.
  const CheckResult result = only([end](CheckNotes&) { end.wait(); });

  ASSERT_FALSE(result.lines.empty());
  EXPECT_EQ(result.lines[0].verdict, Verdict::Failed);
  EXPECT_THAT(result.lines[0].came, HasSubstr("a call does not return"));
}

TEST_F(Checks, AfterACheckThatIsStuckNoOtherIsRun) {
  run_.patience = std::chrono::milliseconds(1);
  auto release = std::make_shared<std::promise<void>>();
  auto done = std::make_shared<std::promise<void>>();
  const std::shared_future<void> released = release->get_future().share();

  const std::vector<CheckResult> results = runChecks({{"stuck", "",
                                                       [released, done](CheckNotes&) {
                                                         released.wait();
                                                         done->set_value();
                                                       }},
                                                      {"next", "", [](CheckNotes&) {}}},
                                                     run_, interruption_);

  EXPECT_EQ(results[0].end, CheckResult::End::Stuck);
  EXPECT_EQ(results[1].end, CheckResult::End::NotRun);
  ASSERT_THAT(results[0].evidence, SizeIs(1));
  EXPECT_EQ(results[0].evidence[0].text, "its last entry");
  EXPECT_THAT(begun_, ElementsAre("stuck"));
  release->set_value();
  done->get_future().wait();
}

TEST_F(Checks, AfterCtrlCTheRestIsNotRun) {
  const std::vector<CheckResult> results =
      runChecks({{"first", "", [&](CheckNotes&) { interruption_ = true; }}, {"next", "", [](CheckNotes&) {}}},
                run_, interruption_);

  EXPECT_EQ(results[0].end, CheckResult::End::Ran);
  EXPECT_EQ(results[1].end, CheckResult::End::NotRun);
}

TEST(ChosenChecks, AreThoseThatAreNamedInTheirOwnOrder) {
  const std::vector<Check> checks = {{"launch", "", {}}, {"attach", "", {}}, {"log", "", {}}};

  EXPECT_THAT(chosenChecks(checks, {}), SizeIs(3));
  const std::vector<Check> chosen = chosenChecks(checks, {"log", "launch"});
  ASSERT_THAT(chosen, SizeIs(2));
  EXPECT_EQ(chosen[0].name, "launch");
  try {
    chosenChecks(checks, {"atach"});
    FAIL();
  } catch (const Problem& problem) {
    EXPECT_EQ(problem.exitCode, 2);
    EXPECT_EQ(problem.sentence,
              "There is no check atach. Did you mean attach? `kx selftest --list` lists them.");
  }
}

}  // namespace
}  // namespace kx::cli
