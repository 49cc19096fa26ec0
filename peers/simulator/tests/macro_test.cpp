#include "macro.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <vector>

namespace kxsim {
namespace {

using Json = nlohmann::json;

class Macro : public testing::Test {
 protected:
  Json play(const std::string& source) {
    request_.source = source;
    settings_.pause = [this](long long milliseconds) { pauses_.push_back(milliseconds); };
    Reply reply;
    playMacro(request_, settings_, reply);
    return Json::parse(reply.text());
  }

  Request request_;
  MacroSettings settings_;
  std::vector<long long> pauses_;
};

TEST_F(Macro, AnEmptyMacroSucceeds) {
  EXPECT_EQ(Json::parse(R"({"status":"OK","errorCode":1})"), play(""));
}

TEST_F(Macro, CommentsAndEmptyLinesDoNothing) {
  EXPECT_EQ(Json::parse(R"({"status":"OK","errorCode":1})"), play("# nothing\r\n\n   \n  # more"));
}

TEST_F(Macro, AnExtractIsTheRestOfItsLine) {
  EXPECT_EQ(Json::array({"a  b ", "", "\xc3\xa9"}),
            play("extract a  b \n  extract\nextract \xc3\xa9\r\n")["extractData"]);
}

TEST_F(Macro, VariablesComeFromTheRequestAndFromLet) {
  request_.variables = {{"x", "1"}, {"y", "2"}};

  EXPECT_EQ(Json::array({"1 3 $(x)"}), play("let y $(x) 3\nextract $(y) $$(x)")["extractData"]);
}

TEST_F(Macro, AVariableThatIsNotSetFailsTheMacroAndNamesTheLine) {
  const Json reply = play("extract a\nextract $(none)\nextract b");

  EXPECT_EQ(-911, reply["errorCode"]);
  EXPECT_EQ("Line 2: variable 'none' is not set", reply["status"]);
  EXPECT_EQ(Json::array({"a"}), reply["extractData"]);
}

TEST_F(Macro, AnUnknownCommandFailsTheMacroAndNamesTheLine) {
  const Json reply = play("\njump over");

  EXPECT_EQ(-910, reply["errorCode"]);
  EXPECT_EQ("Line 2: cannot understand 'jump'", reply["status"]);
}

TEST_F(Macro, ALenientMacroPassesOverWhatItDoesNotKnow) {
  settings_.lenient = true;

  const Json reply = play("jump\nextract $(none)");

  EXPECT_EQ(1, reply["errorCode"]);
  EXPECT_EQ(Json::array({"$(none)"}), reply["extractData"]);
}

TEST_F(Macro, FailEndsTheMacroWithItsNumberAndText) {
  const Json reply = play("fail -12 no  button\nextract b");

  EXPECT_EQ(-12, reply["errorCode"]);
  EXPECT_EQ("no  button", reply["status"]);
  EXPECT_FALSE(reply.contains("extractData"));
}

TEST_F(Macro, StopEndsTheMacroWithSuccess) {
  const Json reply = play("status fine\nstop\nfail -1 x");

  EXPECT_EQ(1, reply["errorCode"]);
  EXPECT_EQ("fine", reply["status"]);
}

TEST_F(Macro, APerformanceEntryHasANameAndAValue) {
  EXPECT_EQ(Json::parse(R"([{"name":"load","value":"0.5 s"},{"name":"n","value":""}])"),
            play("performance load 0.5 s\nperformance n")["lastPerformance"]);
}

TEST_F(Macro, ProfilerDataIsGivenOnlyWhenAskedFor) {
  EXPECT_FALSE(play("profile own\nextract a").contains("profilerData"));

  request_.useProfiler = true;

  EXPECT_EQ("own\nline 2: extract\n", play("profile own\nextract a")["profilerData"]);
}

TEST_F(Macro, APauseTakesItsTime) {
  EXPECT_EQ(1, play("pause 20\npause 0")["errorCode"]);
  EXPECT_EQ((std::vector<long long>{20, 0}), pauses_);
}

TEST_F(Macro, NumbersThatAreNoneFailTheMacro) {
  for (const char* line : {"pause", "pause -1", "pause 1x", "fill x", "fill -1", "fill 99999999999",
                           "fail x y", "let", "performance"}) {
    EXPECT_EQ(-910, play(line)["errorCode"]) << line;
  }
}

TEST_F(Macro, FillExtractsSoManyBytes) {
  EXPECT_EQ(Json::array({"abcdefghijklmnopqrstuvwxyzab", ""}), play("fill 28\nfill 0")["extractData"]);
}

}  // namespace
}  // namespace kxsim
