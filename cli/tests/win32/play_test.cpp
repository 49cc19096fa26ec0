// kx play, with the simulator as the browser. Most tests attach to one that is running: a launch costs the
// two seconds that the library pauses.
#include "cli/tests/win32/kx_program.h"
#include "support/environment.h"
#include "support/win32/simulator.h"
#include "support/win32/temp_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <iterator>
#include <sstream>

namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr DWORD kMacroFailed = 1;
constexpr DWORD kWrongUse = 2;
constexpr DWORD kConnectionFailed = 3;
constexpr DWORD kProblem = 4;
constexpr DWORD kInterrupted = 130;

std::vector<std::string> linesOf(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

// A running browser without a profile, and the words that attach to it.
class KxPlayAttached : public ::testing::Test {
 protected:
  void SetUp() override { browser_.start(); }

  KxOutcome play(std::vector<std::string> more, const std::string& input = "") {
    std::vector<std::string> words = {"play", "--attach", "--timeout", "20", "-q"};
    words.insert(words.end(), more.begin(), more.end());
    return kx(words, input);
  }

  SimulatedBrowser browser_;
};

TEST_F(KxPlayAttached, PrintsExtractsAndEntriesAndLeavesTheBrowserOpen) {
  const KxOutcome outcome = play(
      {"--var", "city=Troms\xC3\xB8", "--macro", "extract Hello $(city)\\nextract\\nperformance load 0.25"});

  EXPECT_EQ(outcome.exitCode, 0U) << outcome.err;
  EXPECT_THAT(outcome.out, HasSubstr("  1  Hello Troms\xC3\xB8\n  2  \n  performance  load = 0.25\n"));
  EXPECT_TRUE(browser_.isRunning());
}

TEST_F(KxPlayAttached, EveryExtractComesWholeWhateverItHolds) {
  const KxOutcome outcome =
      play({"--json", "--macro", "extract a\\nextract\\nextract b[EXTRACT]c\\nfill 100000\\nextract"});

  const auto extracts = nlohmann::json::parse(outcome.out).at("extracts").get<std::vector<std::string>>();
  ASSERT_EQ(extracts.size(), 5U);
  EXPECT_EQ(extracts[2], "b[EXTRACT]c");
  EXPECT_EQ(extracts[3].size(), 100000U);
  EXPECT_EQ(extracts[4], "");
}

TEST_F(KxPlayAttached, TheMacroMayBeStandardInput) {
  EXPECT_THAT(play({}, "extract from a pipe").out, HasSubstr("  1  from a pipe\n"));
}

TEST_F(KxPlayAttached, AMacroThatFailsIsExplainedAndGivesOne) {
  const KxOutcome outcome = play({"--macro", "extract before\\nfail -50 There is no such button"});

  EXPECT_EQ(outcome.exitCode, kMacroFailed);
  EXPECT_THAT(outcome.out, HasSubstr("kx_Play() gave -1, error number -50: There is no such button"));
  EXPECT_THAT(outcome.out, HasSubstr("What to do:"));
  EXPECT_THAT(outcome.out, HasSubstr("  1  before\n"));
}

TEST_F(KxPlayAttached, EachRowIsARunWithItsVariables) {
  const TempFolder folder;
  const std::string rows = folder.write("rows.csv",
                                        "\xEF\xBB\xBF"
                                        "city,code\r\n\"Oslo, Norway\",1\r\nRome,2\r\n");
  const std::string macro = folder.write("order.txt", "extract $(city)");

  const KxOutcome outcome = play({macro, "--rows", rows, "--csv"});

  EXPECT_EQ(outcome.exitCode, 0U) << outcome.err;
  EXPECT_THAT(outcome.out, StartsWith("run,outcome,number,text,seconds,city,code,extract 1\r\n1,ok,1,OK,"));
  EXPECT_THAT(outcome.out, HasSubstr(",\"Oslo, Norway\",1,\"Oslo, Norway\"\r\n"));
  EXPECT_THAT(outcome.out, HasSubstr(",Rome,2,Rome\r\n"));
}

TEST_F(KxPlayAttached, AMessageIsShownAndAPictureSaved) {
  const TempFolder folder;
  const std::string picture = folder.path("shot.png");

  const KxOutcome outcome =
      play({"--macro", "stop", "--message", "all done", "--screenshot", picture, "--page"});

  EXPECT_EQ(outcome.exitCode, 0U) << outcome.out << outcome.err;
  EXPECT_THAT(browser_.recorded("request-1-3.bin"), HasSubstr("all done"));
  EXPECT_THAT(fileBytes(picture), StartsWith("\x89PNG"));
}

// The data of a report, by their name.
nlohmann::json reportData(const std::string& path, const std::string& name) {
  const std::string page = fileBytes(path);
  const std::string begin = "id=\"data-" + name + "\">";
  const std::size_t from = page.find(begin) + begin.size();
  return nlohmann::json::parse(page.substr(from, page.find("</script>", from) - from));
}

// "start request request": the kinds of what the log tells of a run, the connection left out.
std::string kindsOfLog(const nlohmann::json& steps) {
  std::string kinds;
  for (const nlohmann::json& step : steps) {
    if (step.at("kind") == "start" || step.at("kind") == "request") {
      kinds += step.at("kind").get<std::string>() + " ";
    }
  }
  return kinds;
}

TEST_F(KxPlayAttached, AReportHasTheLogOfEachRunWithoutALogOfTheUsers) {
  const TempFolder folder;
  const EnvironmentVariable temp("TEMP", folder.path());
  const std::string report = folder.path("report.html");

  const KxOutcome outcome = play({"--macro", "extract x", "--repeat", "2", "--report", report});

  EXPECT_EQ(outcome.exitCode, 0U) << outcome.err;
  const nlohmann::json runs = reportData(report, "runs");
  EXPECT_EQ(kindsOfLog(runs[0]["log"]), "start request request ");
  EXPECT_EQ(kindsOfLog(runs[1]["log"]), "request ");
  EXPECT_THAT(reportData(report, "about")["system"].get<std::string>(), StartsWith("Windows "));
  // It is the only file.
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
}

TEST_F(KxPlayAttached, AReportTakesTheUsersLogAndLeavesIt) {
  const TempFolder folder;
  const std::string log = folder.write("user.log", "(1, 1): of yesterday\n");
  const EnvironmentVariable on("KORVEX_LOG", "on");
  const EnvironmentVariable path("KORVEX_LOGPATH", log);
  const std::string report = folder.path("report.html");

  play({"--macro", "extract x", "--report", report});

  const nlohmann::json steps = reportData(report, "runs")[0]["log"];
  EXPECT_EQ(kindsOfLog(steps), "start request request ");
  EXPECT_EQ(steps[0]["line"], 2);
  EXPECT_EQ(reportData(report, "about")["log"]["text"], log);
  EXPECT_THAT(fileBytes(log), HasSubstr("kx_Init start"));
}

TEST_F(KxPlayAttached, ARedactedReportHoldsNoValuesThoughTheLogDoes) {
  const TempFolder folder;
  const std::string log = folder.path("user.log");
  const EnvironmentVariable on("KORVEX_LOG", "on");
  const EnvironmentVariable path("KORVEX_LOGPATH", log);
  const std::string report = folder.path("report.html");

  play({"--macro", "extract $(password)", "--var", "password=hunter2", "--report", report, "--redact"});

  EXPECT_THAT(fileBytes(log), HasSubstr("hunter2"));
  EXPECT_EQ(fileBytes(report).find("hunter2"), std::string::npos);
  EXPECT_EQ(kindsOfLog(reportData(report, "runs")[0]["log"]), "start request request ");
}

TEST_F(KxPlayAttached, ABrowserThatIsGoneIsNoConnection) {
  browser_.process().kill();

  const KxOutcome outcome = play({"--macro", "stop"});

  EXPECT_EQ(outcome.exitCode, kConnectionFailed);
  EXPECT_THAT(outcome.out, HasSubstr("Nobody serves the extension's pipe"));
}

TEST_F(KxPlayAttached, ProgressIsPlainLinesWhenNobodyWatches) {
  const KxOutcome outcome = kx({"play", "--attach", "--timeout", "20", "--macro", "stop"});

  EXPECT_EQ(outcome.err, "[1] looking for Firefox\n[1] playing the macro\n");
}

TEST(KxPlayLaunched, SeveralContextsHaveBrowsersOfTheirOwnWhichAreClosed) {
  SimulatedBrowser browser;

  const KxOutcome outcome =
      kx({"play", "--program", browser.program(), "--profile", uniqueName("p") + " {n}", "--parallel", "2",
          "--repeat", "6", "--json", "--timeout", "20", "--macro", "extract x"});

  EXPECT_EQ(outcome.exitCode, 0U) << outcome.err;
  EXPECT_THAT(outcome.err, HasSubstr("6 of 6 runs ok"));
  EXPECT_EQ(browser.processIds().size(), 2U);
}

TEST(KxPlayLaunched, WithStayTheBrowserOutlivesTheProgram) {
  SimulatedBrowser browser;
  browser.mayStay();

  const KxOutcome outcome = kx({"play", "--program", browser.program(), "--profile", uniqueName("stay"),
                                "--stay", "--timeout", "20", "--macro", "stop"});

  EXPECT_EQ(outcome.exitCode, 0U) << outcome.out;
  EXPECT_TRUE(browser.isRunning());
}

TEST(KxPlayLaunched, ARunnersBrowserIsStartedByTheProgramItself) {
  SimulatedBrowser browser;
  const std::string profile = uniqueName("runner");

  const KxOutcome outcome = kx({"play", "--runner", "--program", browser.program(), "--profile", profile,
                                "--timeout", "20", "--macro", "extract x"});

  EXPECT_EQ(outcome.exitCode, 0U) << outcome.out;
  EXPECT_THAT(browser.commandLine(), HasSubstr("-kx-pipe \"\\\\.\\pipe\\" + profile + ".runner\""));
}

TEST(KxPlayLaunched, AProgramThatIsNotThereIsNamed) {
  const KxOutcome outcome = kx({"play", "--program", "C:\\no\\such.exe", "--macro", "stop", "-q"});

  EXPECT_EQ(outcome.exitCode, kConnectionFailed);
  EXPECT_THAT(outcome.out, HasSubstr("A folder in the browser's path is missing"));
}

// A browser that plays until the test says so, or for ever.
class KxPlayInterrupted : public ::testing::Test {
 protected:
  KxPlayInterrupted() {
    browser_.script("on play set-event " + begun_.name());
    browser_.script("on play wait-event " + go_.name());
  }
  std::vector<std::string> words() const {
    return {"play",      "--program", browser_.program(), "--profile", profile_, "--repeat", "3",
            "--timeout", "50",        "--macro",          "extract x"};
  }

  const std::string profile_ = uniqueName("interrupted");
  NamedEvent begun_;
  NamedEvent go_;
  SimulatedBrowser browser_;
};

TEST_F(KxPlayInterrupted, TheFirstCtrlCLetsTheCallEndAndClosesTheBrowser) {
  KxProgram program(words());
  ASSERT_TRUE(begun_.wait());

  program.interrupt();
  go_.signal();

  const KxOutcome outcome = program.outcome();
  EXPECT_EQ(outcome.exitCode, kInterrupted);
  EXPECT_THAT(outcome.out, HasSubstr("Run 1  ok"));
  EXPECT_THAT(outcome.err, HasSubstr("1 of 3 runs ok, 2 interrupted"));
  EXPECT_FALSE(browser_.isRunning());
}

TEST_F(KxPlayInterrupted, TheSecondCtrlCEndsTheBrowserAndThereforeTheCall) {
  KxProgram program(words());
  ASSERT_TRUE(begun_.wait());

  program.interrupt();
  program.interrupt();

  EXPECT_EQ(program.outcome().exitCode, kInterrupted);
  EXPECT_FALSE(browser_.isRunning());
}

TEST(KxPlayNeverServed, TheSecondCtrlCEndsTheProgramThoughTheStartGoesOn) {
  const TempFolder folder;
  const EnvironmentVariable temp("TEMP", folder.path());
  const std::string report = folder.path("report.html");
  const NamedEvent launched;
  SimulatedBrowser browser;
  browser.script("serve-never");
  browser.script("on start set-event " + launched.name());
  KxProgram program({"play", "--program", browser.program(), "--profile", uniqueName("never"), "--timeout",
                     "600", "--macro", "stop", "--csv", "--report", report});
  ASSERT_TRUE(launched.wait());

  program.interrupt();
  program.interrupt();

  const KxOutcome outcome = program.outcome();
  EXPECT_EQ(outcome.exitCode, kInterrupted);
  EXPECT_THAT(outcome.out, HasSubstr("\r\n1,interrupted,"));
  EXPECT_EQ(reportData(report, "runs")[0]["outcome"], "interrupted");
  EXPECT_FALSE(browser.isRunning());
}

TEST(KxProgramItself, TellsTheThreeVersions) {
  const KxOutcome outcome = kx({"--version"});

  EXPECT_EQ(outcome.exitCode, 0U);
  const std::vector<std::string> lines = linesOf(outcome.out);
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_THAT(lines[0], StartsWith("kx  "));
  EXPECT_THAT(lines[1], AllOf(StartsWith("KXTCP64.dll  "), EndsWith("\\KXTCP64.dll")));
  EXPECT_THAT(lines[2], StartsWith("kxtcp64.h  "));
}

TEST(KxProgramItself, WrongUseGivesTwoAndASentence) {
  const KxOutcome outcome = kx({"play", "--timout", "3"});

  EXPECT_EQ(outcome.exitCode, kWrongUse);
  EXPECT_EQ(outcome.err,
            "kx: There is no option --timout. Did you mean --timeout? `kx play --help` lists them.\n");
  EXPECT_EQ(outcome.out, "");
}

TEST(KxProgramItself, OutputThatCannotBeWrittenIsAProblem) {
  for (const char* const word : {"completion", "--version", "--help"}) {
    const KxOutcome outcome =
        KxProgram({word}, "", KxProgram::ownCopy(), KxProgram::Output::Refused).outcome();

    EXPECT_EQ(outcome.exitCode, kProblem) << word;
    EXPECT_EQ(outcome.err, "kx: The output could not be written.\n") << word;
  }
}

TEST(KxProgramItself, WithoutTheLibraryBesideItItSaysSo) {
  const TempFolder folder;
  const std::string copy = folder.write("kx.exe", fileBytes(KxProgram::ownCopy()));

  const KxOutcome outcome = KxProgram({"play", "--macro", "stop"}, "", copy).outcome();

  EXPECT_EQ(outcome.exitCode, kProblem);
  EXPECT_THAT(outcome.err, HasSubstr("KXTCP64.dll cannot be loaded, error 126: it is not there."));
}

}  // namespace
