// What kx selftest prints and writes, with checks that do what the test says.
#include "cli/selftest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace kx::cli {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

class SelfTestVerb : public ::testing::Test {
 protected:
  SelfTestVerb() {
    std::filesystem::remove(report_);
    ground_.date = "2026-01-31 12:00:00";
    ground_.machine = {{"Windows", "10.0.1", ""}, {"KXTCP64.dll", "SHA-256 ab", "C:\\sdk\\KXTCP64.dll"}};
    ground_.endWhatWasStarted = [] {};
    ground_.giveUp = [] { return std::vector<Evidence>(); };
    ground_.checks = {
        {"launch", "a browser is launched", [](CheckNotes& notes) { notes.same("kx_Init()", "0", "0"); }},
        {"windows", "Windows and Wine",
         [](CheckNotes& notes) { notes.differs("long path", "refused", false, "taken", true, "taken"); }},
    };
    ground_.lastChecks = {
        {"nothing-left", "", [](CheckNotes& notes) { notes.same("processes", "none", "none"); }}};
    arguments_.reportFile = report_.string();
  }
  ~SelfTestVerb() override { std::filesystem::remove(report_); }
  SelfTestVerb(const SelfTestVerb&) = delete;
  SelfTestVerb& operator=(const SelfTestVerb&) = delete;

  void add(const std::function<void(CheckNotes&)>& run) { ground_.checks.push_back({"more", "more", run}); }

  int run() {
    const Surroundings around{out_,
                              err_,
                              {},
                              {},
                              false,
                              80,
                              false,
                              interruption_,
                              {},
                              {},
                              [](const std::string& path) { return path; },
                              [](const std::string& path) { return std::filesystem::exists(path); },
                              {},
                              {},
                              {}};
    return runSelfTest(arguments_, ground_, around);
  }
  Problem problem() {
    try {
      run();
    } catch (const Problem& problem) {
      return problem;
    }
    return {0, "none"};
  }
  std::string report() const {
    std::ifstream file(report_, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

  const std::filesystem::path report_ = std::filesystem::temp_directory_path() / "kx selftest report.txt";
  SelfTestArguments arguments_;
  SelfTestGround ground_;
  Interruption interruption_ = false;
  std::ostringstream out_;
  std::ostringstream err_;
};

TEST_F(SelfTestVerb, PrintsEachLineAndWritesTheReport) {
  EXPECT_EQ(run(), 0);

  EXPECT_THAT(
      out_.str(),
      AllOf(HasSubstr("Windows             10.0.1\n"), HasSubstr("\nlaunch  a browser is launched\n"),
            HasSubstr("  ok           kx_Init()                                     expected and "
                      "came: 0\n"),
            HasSubstr("3 lines: 2 ok, 1 as on Wine. "),
            HasSubstr("The report is in " + arguments_.reportFile + "\n"), Not(HasSubstr("Please send"))));
  EXPECT_THAT(report(), AllOf(HasSubstr("kx selftest, 2026-01-31 12:00:00 UTC\n3 lines: 2 ok, 1 as on Wine."),
                              HasSubstr("KXTCP64.dll         SHA-256 ab  (C:\\sdk\\KXTCP64.dll)\n"),
                              HasSubstr("  as on Wine: long path\n      on Windows: refused\n"
                                        "      on Wine: taken\n      came: taken\n")));
}

TEST_F(SelfTestVerb, AFailedLineGivesOneAndTheReportHasTheEvidence) {
  add([](CheckNotes& notes) {
    notes.sameBytes("request", "abc", "abd");
    notes.keep("the library's log", "entry\nentry");
  });

  EXPECT_EQ(run(), 1);

  EXPECT_THAT(out_.str(),
              AllOf(HasSubstr("  FAILED       request"), HasSubstr("came: abd\n"),
                    HasSubstr("4 lines: 2 ok, 1 FAILED, 1 as on Wine."), HasSubstr("Please send it.")));
  EXPECT_THAT(report(), AllOf(HasSubstr("  FAILED: request\n      expected: abc\n      came: abd\n"),
                              HasSubstr("byte 2 of 3 expected"),
                              HasSubstr("  -- the library's log\n    entry\n    entry\n")));
}

TEST_F(SelfTestVerb, APlaceThatIsNeitherAsOnWindowsNorAsOnWineGivesOneToo) {
  add([](CheckNotes& notes) { notes.differs("x", "1", false, "2", false, "3"); });

  EXPECT_EQ(run(), 1);

  EXPECT_THAT(out_.str(), HasSubstr("otherwise: please report"));
}

TEST_F(SelfTestVerb, AfterCtrlCItGives130AndTellsWhatWasNotRun) {
  interruption_ = true;

  EXPECT_EQ(run(), 130);

  EXPECT_THAT(out_.str(), HasSubstr("0 lines; 3 checks not run."));
  EXPECT_THAT(report(), HasSubstr("launch: a browser is launched, not run\n"));
}

TEST_F(SelfTestVerb, AsJsonEverythingIsOneObject) {
  arguments_.json = true;
  add([](CheckNotes& notes) { notes.sameBytes("request", "abc", "abd"); });

  EXPECT_EQ(run(), 1);

  const Json json = Json::parse(out_.str());
  EXPECT_EQ(json.at("good"), false);
  EXPECT_EQ(json.at("counts").at("failed"), 1);
  EXPECT_EQ(json.at("machine").at("Windows"), "10.0.1");
  EXPECT_EQ(json.at("checks").at(1).at("lines").at(0).at("onWine"), "taken");
  EXPECT_EQ(json.at("checks").at(2).at("lines").at(0).at("verdict"), "failed");
  EXPECT_THAT(err_.str(), HasSubstr("FAILED"));
}

TEST_F(SelfTestVerb, OnlyWhatIsNamedIsRunAndTheLastChecks) {
  arguments_.only = {"windows"};

  EXPECT_EQ(run(), 0);

  EXPECT_THAT(out_.str(),
              AllOf(Not(HasSubstr("kx_Init()")), HasSubstr("nothing-left"), HasSubstr("2 lines:")));
}

TEST_F(SelfTestVerb, ListsItsChecksAndWritesNothing) {
  arguments_.list = true;

  EXPECT_EQ(run(), 0);

  EXPECT_THAT(out_.str(), HasSubstr("launch                  a browser is launched\n"));
  EXPECT_FALSE(std::filesystem::exists(report_));
}

TEST_F(SelfTestVerb, AReportThatIsThereIsKept) {
  std::ofstream(report_) << "mine";

  EXPECT_EQ(problem().exitCode, 2);
  EXPECT_EQ(report(), "mine");
}

TEST_F(SelfTestVerb, AReportThatCannotBeWrittenIsToldBeforeAnythingIsTried) {
  arguments_.reportFile = "/no such folder/report.txt";

  EXPECT_THAT(problem().sentence, HasSubstr("cannot be written, error "));
  EXPECT_EQ(problem().exitCode, 4);
  EXPECT_EQ(out_.str(), "");
}

}  // namespace
}  // namespace kx::cli
