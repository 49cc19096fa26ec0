// kx sim, with a simulator that prints what the test says.
#include "cli/sim.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <sstream>

namespace kx::cli {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::HasSubstr;

constexpr char kList[] =
    "stays: answers the exit and does not end\n    on exit stay\n"
    "hang-up: says: no\r\n    on play send\r\n    on play hang-up\r\n";

TEST(Misbehaviours, AreReadFromTheSimulatorsList) {
  const std::vector<Misbehaviour> all = readMisbehaviours(kList);

  ASSERT_EQ(all.size(), 2U);
  EXPECT_EQ(all[0].name, "stays");
  EXPECT_EQ(all[1].what, "says: no");
  EXPECT_EQ(all[1].script, "on play send\non play hang-up\n");
}

TEST(Misbehaviours, WhatIsNoListHasNone) {
  EXPECT_TRUE(readMisbehaviours("    x\n\nno\n").empty());
}

class SimVerb : public ::testing::Test {
 protected:
  SimVerb() {
    machine_.pipe = [&](const std::string&) { return pipe_; };
    machine_.fileText = [](const std::string&) { return std::nullopt; };
    machine_.defaultProgram = [](const std::string&) { return "C:\\firefox.exe"; };
  }

  struct Life {
    std::string output;
    std::optional<int> code;
  };

  int run() {
    const RunSimulator simulator = [&](const std::vector<std::string>& words,
                                       const std::function<void(std::string_view)>& take) {
      if (words.front() == "--misbehaviours") {
        take(list_);
        return std::optional<int>(0);
      }
      words_ = words;
      const Life life = lives_.front();
      lives_.pop_front();
      for (const char c : life.output) {
        take(std::string_view(&c, 1));
      }
      return life.code;
    };
    const Surroundings around{out_, err_, {}, {}, false, 80, false, interruption_,
                              {},   {},   {}, {}, {},    {}, {}};
    return runSim(arguments_, machine_, simulator, around);
  }

  Problem problem() {
    try {
      run();
    } catch (const Problem& problem) {
      return problem;
    }
    return {0, "none"};
  }

  Machine machine_;
  SimArguments arguments_;
  PipeState pipe_ = PipeState::NotServed;
  std::string list_ = kList;
  std::deque<Life> lives_;
  std::vector<std::string> words_;
  Interruption interruption_ = false;
  std::ostringstream out_;
  std::ostringstream err_;
};

TEST_F(SimVerb, StartsTheSimulatorWhereHostsLookAndSaysHowToMeetIt) {
  arguments_.browser.profile = "my work";
  arguments_.misbehaviours = {"stays", "hang-up"};
  arguments_.scriptFile = "C:\\a b\\own.script";
  lives_ = {{"", std::nullopt}};

  EXPECT_EQ(run(), 0);

  EXPECT_THAT(words_, AllOf(Contains("--misbehave=stays,hang-up"), Contains("--script=C:\\a b\\own.script"),
                            Contains("--pipe=\\\\.\\pipe\\kx-fx-ff6b018767cff7dd8cb8dbd8942f4216.runner")))
      << out_.str();
  EXPECT_THAT(out_.str(), AllOf(HasSubstr("kx_Init(context, \"fx\", \"-fxProfile=\\\"my work\\\"\", NULL"),
                                HasSubstr("It answers the exit and does not end (stays).\n")));
}

TEST_F(SimVerb, ShowsWhatTheSimulatorGetsHostByHost) {
  lives_ = {
      {"serving\nconn=2 request n=1 type=init bytes=83\n"
       "conn=2 request-bytes n=1 {\\n \"type\" : \"init\",\\n  \"x\"}\nend code=0",
       0}};

  EXPECT_EQ(run(), 0);

  EXPECT_THAT(
      out_.str(),
      AllOf(HasSubstr(" s          serving\n"), HasSubstr(" s  host 2  request n=1 type=init bytes=83\n"),
            HasSubstr("                    { \"type\" : \"init\", \"x\"}\n"), HasSubstr("end code=0\n")));
  EXPECT_THAT(err_.str(), HasSubstr("The simulator has ended, with code 0."));
}

TEST_F(SimVerb, StartsAgainAsLongAsHostsCome) {
  arguments_.again = true;
  lives_ = {{"conn=1 connect\n", 0}, {"conn=1 connect\n", 3}, {"start\n", 3}, {"", 0}};

  EXPECT_EQ(run(), 0);

  EXPECT_EQ(lives_.size(), 1U);
}

TEST_F(SimVerb, ListsMisbehavioursAndPrintsTheirScripts) {
  arguments_.list = true;
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(out_.str(),
            "The browser ...\n  stays    answers the exit and does not end\n  hang-up  says: no\n");

  out_.str("");
  arguments_.list = false;
  arguments_.printScript = true;
  arguments_.misbehaviours = {"hang-up", "stays"};
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(out_.str(), "on play send\non play hang-up\non exit stay\n");
}

TEST_F(SimVerb, SaysWhatIsWrong) {
  arguments_.misbehaviours = {"stay"};
  EXPECT_EQ(problem().sentence,
            "There is no misbehaviour stay. Did you mean stays? `kx sim --list` lists them.");
  EXPECT_EQ(problem().exitCode, 2);

  arguments_.misbehaviours = {};
  lives_ = {{"kxsim: line 2: there is no action 'dance'\n", 64}};
  EXPECT_EQ(problem().exitCode, 2);
  lives_ = {{"end code=70 reason=cannot serve, error 5\n", 70}};
  EXPECT_THAT(problem().sentence, HasSubstr("cannot serve, error 5"));

  pipe_ = PipeState::Served;
  EXPECT_THAT(problem().sentence, HasSubstr("Somebody serves \\\\.\\pipe\\kx-fx-default."));
  EXPECT_EQ(problem().exitCode, 4);

  list_ = "something else\n";
  EXPECT_EQ(problem().sentence,
            "kxsim.exe does not list its misbehaviours: it is not the simulator of this program.");
}

}  // namespace
}  // namespace kx::cli
