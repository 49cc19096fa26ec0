#include "cli/results.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace kx::cli {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

RunResult goodResult() {
  RunResult result;
  result.run = {1, {{"city", "Oslo"}}};
  result.outcome = Outcome::Ok;
  result.context = 1;
  result.call = {"kx_Play", 0, 1, "OK"};
  result.extracts = {"Hello Oslo", "two\nlines"};
  result.performance = {{"load", "0.25"}};
  result.seconds = 1.5;
  result.attempts = 1;
  return result;
}

RunResult failedResult() {
  RunResult result;
  result.run.number = 2;
  result.outcome = Outcome::MacroFailed;
  result.call = {"kx_Play", -1, -50, "There is no such button"};
  result.reason = Catalogue::builtIn().find(result.call);
  result.macro = "order.txt";
  result.attempts = 1;
  return result;
}

TEST(Results, OfAGoodRunAreItsExtractsAndEntries) {
  EXPECT_EQ(resultTable(goodResult(), true, Palette()),
            "Run 1  city=Oslo  ok  OK  1.50 s\n"
            "  1  Hello Oslo\n"
            "  2  two\n"
            "     lines\n"
            "  performance  load = 0.25\n");
}

TEST(Results, OfAFailedRunSayWhatWhyAndWhatToDo) {
  EXPECT_EQ(
      resultTable(failedResult(), false, Palette()),
      "macro failed  0.00 s\n"
      "  What:       kx_Play() gave -1, error number -50: There is no such button, in order.txt\n"
      "  Why:        The macro, or the page that it works on, failed.\n"
      "  What to do: The number and the text are the extension's: they tell what the macro could not do.\n"
      "  See:        contexts-and-errors.md (macro-failed)\n");
}

TEST(Results, WhatABrowserSendsCannotSteerATerminal) {
  RunResult result = goodResult();
  result.extracts = {"\x1b[2Jgone"};
  result.performance = {{"a\nb", "\x1b[31m"}};
  result.call.text = "\x07";

  EXPECT_THAT(resultTable(result, true, Palette()), Not(HasSubstr("\x1b")));
  EXPECT_THAT(resultTable(result, true, Palette()), Not(HasSubstr("\x07")));
}

TEST(Results, AsCsvHaveOneLineForEachRun) {
  EXPECT_EQ(resultCsv({goodResult(), failedResult()}),
            "run,outcome,number,text,seconds,city,extract 1,extract 2\r\n"
            "1,ok,1,OK,1.50,Oslo,Hello Oslo,\"two\nlines\"\r\n"
            "2,macro failed,-50,There is no such button,0.00,,,\r\n");
}

TEST(Results, AsJsonHaveEverything) {
  EXPECT_EQ(
      jsonText(resultJson(goodResult()), kOneLine),
      R"({"run":1,"outcome":"ok","context":1,"profile":null,"variables":{"city":"Oslo"},"call":"kx_Play",)"
      R"("result":0,"number":1,"text":"OK","seconds":1.5,"attempts":1,"extracts":["Hello Oslo","two\nlines"],)"
      R"("performance":[{"name":"load","value":"0.25"}],"profiler":"","screenshot":""})");
  EXPECT_THAT(jsonText(resultJson(failedResult()), kOneLine), HasSubstr(R"("failure":{"id":"macro-failed")"));
}

TEST(Results, AsJsonAreValidWhateverBytesCame) {
  RunResult result = goodResult();
  result.extracts = {"\xFF\xFE"};

  EXPECT_THAT(jsonText(resultJson(result), kOneLine), HasSubstr("\xEF\xBF\xBD"));
}

TEST(Results, AreSummedUp) {
  EXPECT_EQ(summaryOf({goodResult(), failedResult()}), "1 of 2 runs ok, 1 macro failed");
}

TEST(ExitCodes, TheGravestOutcomeCounts) {
  const auto of = [](std::vector<Outcome> outcomes) {
    std::vector<RunResult> results;
    for (const Outcome outcome : outcomes) {
      results.emplace_back().outcome = outcome;
    }
    return exitCodeOf(results);
  };
  EXPECT_EQ(of({Outcome::Ok}), 0);
  EXPECT_EQ(of({Outcome::Ok, Outcome::MacroFailed}), 1);
  EXPECT_EQ(of({Outcome::MacroFailed, Outcome::ConnectionFailed}), 3);
  EXPECT_EQ(of({Outcome::Ok, Outcome::NotPlayed}), 3);
  EXPECT_EQ(of({Outcome::ConnectionFailed, Outcome::Interrupted}), 130);
}

}  // namespace
}  // namespace kx::cli
