// kx selftest on this machine: good where all is well, and bad with a library, a simulator or a place that is
// not as it should be. The whole of it is run by `./dev selftest`.
#include "cli/tests/win32/kx_program.h"
#include "support/environment.h"
#include "support/win32/helper_process.h"
#include "support/win32/temp_folder.h"
#include "support/win32/text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>

namespace {

using ::testing::AllOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

using Words = std::vector<std::string>;

// A folder with a blank and Cyrillic letters in its name, which has kx.exe and what belongs beside it.
class KxSelfTest : public ::testing::Test {
 protected:
  KxSelfTest() {
    std::filesystem::create_directory(wide(temp_.path("temp")));
    for (const char* name : {"kx.exe", "KXTCP64.dll", "kxsim.exe"}) {
      put(name, name);
    }
  }

  static std::string shipped(const std::string& name) {
    const std::string program = KxProgram::ownCopy();
    return program.substr(0, program.rfind('\\') + 1) + name;
  }
  std::string path(const std::string& name) const { return temp_.path(kFolder + ("\\" + name)); }
  std::string report() const { return temp_.path("report.txt"); }

  // A file that is built, by the name that it gets here.
  void put(const std::string& name, const std::string& built) const {
    temp_.write(kFolder + ("\\" + name), fileBytes(shipped(built)));
  }
  void spoil(const std::string& functions) {
    put("real.dll", "KXTCP64.dll");
    put("KXTCP64.dll", "kx_spoiled.dll");
    spoiled_.emplace("KX_SPOIL", functions);
  }

  Words words(const Words& checks) const {
    Words words = {"selftest", "--json", "--report", report()};
    for (const std::string& check : checks) {
      words.insert(words.end(), {"--only", check});
    }
    return words;
  }
  KxOutcome run(const Words& checks) {
    const EnvironmentVariable temp("TEMP", temp_.path("temp"));
    KxOutcome outcome = KxProgram(words(checks), "", path("kx.exe")).outcome();
    result_ = outcome.out.empty() ? nlohmann::json() : nlohmann::json::parse(outcome.out);
    return outcome;
  }

  // The lines with that verdict.
  Words lines(const std::string& verdict) const {
    Words found;
    for (const nlohmann::json& check : result_.at("checks")) {
      for (const nlohmann::json& line : check.at("lines")) {
        if (line.at("verdict") == verdict) {
          found.push_back(line.at("what"));
        }
      }
    }
    return found;
  }

  static constexpr char kFolder[] = "\xD0\x9F\xD0\xB0\xD0\xBF\xD0\xBA\xD0\xB0 1";

  const TempFolder temp_;
  std::optional<EnvironmentVariable> spoiled_;
  nlohmann::json result_;
};

TEST_F(KxSelfTest, WhereAllIsWellEveryLineIsGoodAndNothingStaysBehind) {
  const KxOutcome outcome = run({"files", "attach", "commands", "two-contexts", "log", "windows-long-path"});

  EXPECT_EQ(outcome.exitCode, 0U) << outcome.err;
  EXPECT_TRUE(result_.at("good"));
  EXPECT_EQ(result_.at("checks").size(), 7U);
  EXPECT_THAT(lines("failed"), IsEmpty());
  EXPECT_GT(lines("ok").size(), 40U);
  EXPECT_THAT(outcome.err, HasSubstr("expected and came: none"));
  EXPECT_TRUE(std::filesystem::is_empty(wide(temp_.path("temp"))));
  EXPECT_THAT(fileBytes(report()),
              AllOf(HasSubstr("\nKXTCP64.dll         "), HasSubstr("SHA-256 "),
                    HasSubstr("  ok: first request\n"), Not(HasSubstr("library's log"))));
}

// Under Wine; on Windows it is "as expected".
TEST_F(KxSelfTest, APlaceWhereWindowsDiffersHasALineOfItsOwn) {
  run({"windows-long-path"});

  EXPECT_THAT(result_.at("checks").at(0).at("lines"), Each(::testing::ResultOf(
                                                          [](const nlohmann::json& line) {
                                                            return line.at("expected").get<std::string>() +
                                                                   ", " +
                                                                   line.at("onWine").get<std::string>();
                                                          },
                                                          "it is not written, it is written")));
  EXPECT_EQ(lines("as on Wine").size() + lines("as expected").size(), 1U);
}

TEST_F(KxSelfTest, ALibraryThatReadsBackWrongIsFound) {
  spoil(
      "kx_SetVar,kx_Display,kx_TakeBrowserScreenshot,kx_GetLastExtract,kx_GetPerformance,kx_"
      "GetLastPerformance");

  const KxOutcome outcome = run({"commands"});

  EXPECT_EQ(outcome.exitCode, 1U);
  EXPECT_THAT(lines("failed"),
              ElementsAre("kx_Play()", "its request", "kx_GetLastExtract()", "kx_GetLastPerformance()",
                          "kx_GetPerformance()", "its request", "its request", "its request"));
  EXPECT_THAT(outcome.err, AllOf(HasSubstr("FAILED"), HasSubstr("Please send it.")));
  // The bytes on the pipe, what the simulator saw, and what the library logged.
  EXPECT_THAT(fileBytes(report()),
              AllOf(HasSubstr("the first difference is at byte "), HasSubstr("something els"),
                    HasSubstr("-- request-1-2.bin"), HasSubstr("-- the simulator's events"),
                    HasSubstr("-- the library's log"), HasSubstr("Client: sending message to server")));
}

TEST_F(KxSelfTest, ALibraryWhoseCallsTellWrongIsFound) {
  spoil("kx_Init,kx_GetBrowserProcessId,kx_Exit,kxr_Init,kxr_Exit");

  EXPECT_EQ(run({"attach", "runner-firefox"}).exitCode, 1U);

  EXPECT_THAT(lines("failed"), ElementsAre("kx_Init()", "kx_GetBrowserProcessId()", "kx_Exit()", "kxr_Init()",
                                           "kxr_Exit() that is not answered", "kxr_Exit()"));
}

TEST_F(KxSelfTest, ALibraryWithWrongErrorsIsFound) {
  spoil("kx_GetLastErrorNumber,kx_GetLastErrorText");

  EXPECT_EQ(run({"failing-macro"}).exitCode, 1U);

  EXPECT_THAT(lines("failed"),
              ElementsAre("kx_Init()", "kx_Play() of a macro that fails",
                          "a positive number of the extension's", "kx_Play() of the next macro"));
}

TEST_F(KxSelfTest, ALibraryThatCannotBeginIsFound) {
  spoil("kx_ContextCreate,kxr_GetCommandLine");

  EXPECT_EQ(run({"files", "no-connection-back", "runner-chrome"}).exitCode, 1U);

  EXPECT_THAT(lines("failed"),
              ElementsAre("version of KXTCP64.dll", "kxr_GetCommandLine(), and a start with it",
                          "the check goes on to its end", "kx_Init()"));
}

TEST_F(KxSelfTest, ABrowserThatTheLibraryLeavesRunningIsFoundAndEnded) {
  spoil("no kx_Exit");

  EXPECT_EQ(run({"launch-chrome"}).exitCode, 1U);

  EXPECT_THAT(lines("failed"), ElementsAre("the browser's end, by itself", "processes left running"));
  EXPECT_THAT(fileBytes(report()), HasSubstr("came: 1 of launch-chrome\n"));
  EXPECT_TRUE(std::filesystem::is_empty(wide(temp_.path("temp"))));
}

TEST_F(KxSelfTest, AProgramThatIsNoSimulatorIsFound) {
  put("kxsim.exe", "kx.exe");

  EXPECT_EQ(run({"files", "attach"}).exitCode, 1U);

  EXPECT_THAT(lines("failed"), ElementsAre("kxsim --version", "the check goes on to its end"));
  EXPECT_THAT(fileBytes(report()), HasSubstr("kxsim.exe ended before it served its pipe, with code 2"));
}

TEST_F(KxSelfTest, WithoutTheLibraryOrTheSimulatorItSaysSo) {
  std::filesystem::remove(wide(path("kxsim.exe")));
  KxOutcome outcome = run({});
  EXPECT_EQ(outcome.exitCode, 4U);
  EXPECT_THAT(outcome.err, HasSubstr("kxsim.exe is not there. It belongs beside kx.exe."));

  put("kxsim.exe", "kxsim.exe");
  std::filesystem::remove(wide(path("KXTCP64.dll")));
  outcome = run({});
  EXPECT_EQ(outcome.exitCode, 4U);
  EXPECT_THAT(outcome.err, HasSubstr("KXTCP64.dll cannot be loaded, error 126: it is not there."));
  EXPECT_FALSE(fileExists(report()));
  EXPECT_TRUE(std::filesystem::is_empty(wide(temp_.path("temp"))));
}

TEST_F(KxSelfTest, WithoutATemporaryFolderItSaysSo) {
  const EnvironmentVariable temp("TEMP", "C:\\no\\such\\folder");

  const KxOutcome outcome = kx(words({}));

  EXPECT_EQ(outcome.exitCode, 4U);
  EXPECT_THAT(outcome.err, HasSubstr("No folder can be made in TEMP, C:\\no\\such\\folder, error 3."));
}

TEST_F(KxSelfTest, CtrlCEndsItAndLeavesNothingBehind) {
  const EnvironmentVariable temp("TEMP", temp_.path("temp"));
  KxProgram program(words({}), "", path("kx.exe"));
  while (!fileExists(report())) {
    ::Sleep(10);
  }

  program.interrupt();

  EXPECT_EQ(program.outcome().exitCode, 130U);
  EXPECT_THAT(fileBytes(report()), HasSubstr("not run\n"));
  EXPECT_TRUE(std::filesystem::is_empty(wide(temp_.path("temp"))));
}

}  // namespace
