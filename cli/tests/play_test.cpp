// The verb as a whole, with a library that answers as the test says.
#include "cli/play.h"

#include "cli/tests/fake_library.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <optional>
#include <sstream>

namespace kx::cli {
namespace {

using ::testing::HasSubstr;

class PlayVerb : public ::testing::Test {
 protected:
  int run() {
    out_.str("");
    err_.str("");
    const Surroundings around{out_,
                              err_,
                              Palette(),
                              Palette(),
                              false,
                              80,
                              isInTerminal_,
                              interruption_,
                              [&] { return input_; },
                              [&]() -> Library& {
                                if (isLibraryMissing_) {
                                  throw Problem{kExitWrongUse, "there is no library"};
                                }
                                return library_;
                              },
                              [&](const std::string& path) { return folder_ + path; },
                              [&](const std::string& path) { return path == existing_; },
                              [&](const std::string& path) { removed_.push_back(path); },
                              [] { return Whereabouts(); },
                              [] {
                                return ReportLog{"own.log", true, false};
                              },
                              [&] { return isGivenUp_.load(); },
                              [&](const std::function<int()>& lastWork) {
                                codeAtOnce_ = lastWork();
                                returned_.set_value();
                              }};
    return runPlay(arguments_, around);
  }

  std::string problem() {
    try {
      run();
    } catch (const Problem& problem) {
      EXPECT_EQ(problem.exitCode, kExitWrongUse);
      return problem.sentence;
    }
    return "none";
  }

  static std::string file(const std::string& name, const std::string& bytes) {
    const std::filesystem::path path = std::filesystem::temp_directory_path() / name;
    std::ofstream(path, std::ios::binary) << bytes;
    return path.string();
  }

  FakeLibrary library_;
  PlayArguments arguments_;
  // Ctrl-C comes twice during a play, which does not return before the program has ended.
  void interruptTwiceInVain() {
    library_.duringPlay = [&] {
      interruption_ = true;
      isGivenUp_ = true;
      returned_.get_future().wait_for(std::chrono::seconds(30));
    };
  }

  Interruption interruption_ = false;
  Interruption isGivenUp_ = false;
  std::promise<void> returned_;
  std::optional<int> codeAtOnce_;
  std::string input_;
  std::string existing_;
  std::vector<std::string> removed_;
  std::string folder_ = "C:\\";
  bool isInTerminal_ = false;
  bool isLibraryMissing_ = false;
  std::ostringstream out_;
  std::ostringstream err_;
};

TEST_F(PlayVerb, WithoutAFileTheMacroIsStandardInput) {
  input_ =
      "\xEF\xBB\xBF"
      "extract";

  EXPECT_EQ(run(), kExitSuccess);
  EXPECT_THAT(out_.str(), HasSubstr("  1  extract\n"));
  EXPECT_EQ(err_.str(), "[1] starting Firefox\n[1] playing standard input\n[1] closing the browser\n");
}

TEST_F(PlayVerb, WithoutAMacroAtAllItRefuses) {
  isInTerminal_ = true;

  EXPECT_EQ(problem(), "There is no macro. Give a file, --macro TEXT, or - and the macro as standard input.");
}

TEST_F(PlayVerb, AFileThatIsNotThereIsNamed) {
  arguments_.files = {"no/such/file.txt"};

  EXPECT_EQ(problem(), "The file no/such/file.txt cannot be opened. Is its name right, and is it there?");
}

TEST_F(PlayVerb, EachRowOfTheTableIsARun) {
  arguments_.macros = {"buy"};
  arguments_.rowsFile = file("kx_play_rows.csv", "city\nOslo\nBergen\n");
  arguments_.variables = {{"city", "Rome"}, {"sum", "1"}};
  arguments_.form = OutputForm::AsJson;

  EXPECT_EQ(run(), kExitSuccess);
  EXPECT_THAT(out_.str(), HasSubstr(R"("extracts":["buy city=Oslo sum=1"])"));
  EXPECT_THAT(out_.str(), HasSubstr(R"("extracts":["buy city=Bergen sum=1"])"));
  EXPECT_THAT(err_.str(), HasSubstr("2 of 2 runs ok\n"));
}

TEST_F(PlayVerb, OfAVariableThatIsGivenTwiceTheLastValueCountsAndTheRowsBeforeAll) {
  arguments_.macros = {"buy"};
  arguments_.variables = {{"city", "Rome"}, {"sum", "1"}, {"city", "Paris"}, {"sum", "2"}};
  arguments_.form = OutputForm::AsCsv;

  EXPECT_EQ(run(), kExitSuccess);
  EXPECT_THAT(out_.str(), HasSubstr("seconds,city,sum,extract 1\r\n"));
  EXPECT_THAT(out_.str(), HasSubstr(",Paris,2,buy city=Paris sum=2\r\n"));

  arguments_.rowsFile = file("kx_play_row.csv", "city\nOslo\n");

  EXPECT_EQ(run(), kExitSuccess);
  EXPECT_THAT(out_.str(), HasSubstr(",Oslo,2,buy city=Oslo sum=2\r\n"));
}

TEST_F(PlayVerb, ContextsShareTheRuns) {
  arguments_.macros = {"buy"};
  arguments_.repeat = 20;
  arguments_.parallel = 4;
  arguments_.browser.profile = "p{n}";
  arguments_.form = OutputForm::AsCsv;

  EXPECT_EQ(run(), kExitSuccess);
  const std::string text = out_.str();
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 21);
  EXPECT_EQ(library_.contextsAlive(), 0U);
}

TEST_F(PlayVerb, RunsThatNoContextCouldPlayAreToldOf) {
  arguments_.macros = {"buy"};
  arguments_.repeat = 3;
  library_.answers["start"] = {{2, -2, "Browser binary x doesn't exists"}};

  EXPECT_EQ(run(), kExitConnectionFailed);
  EXPECT_THAT(err_.str(), HasSubstr("0 of 3 runs ok, 1 connection failed, 2 not played"));
  EXPECT_THAT(out_.str(), HasSubstr("There is no program at the browser's path."));
}

TEST_F(PlayVerb, AFailedMacroIsExplainedOnTheErrorStreamWhenTheOutputIsData) {
  arguments_.macros = {"buy"};
  arguments_.form = OutputForm::AsJson;
  arguments_.quiet = true;
  library_.answers["play"] = {{-1, -50, "There is no such button"}};

  EXPECT_EQ(run(), kExitMacroFailed);
  EXPECT_THAT(out_.str(), HasSubstr("\"macro failed\""));
  EXPECT_THAT(err_.str(), HasSubstr("What to do:"));
}

TEST_F(PlayVerb, CtrlCLeavesTheRestUnplayed) {
  arguments_.macros = {"buy"};
  arguments_.repeat = 3;
  library_.duringPlay = [&] { interruption_ = true; };

  EXPECT_EQ(run(), kExitInterrupted);
  EXPECT_THAT(err_.str(), HasSubstr("1 of 3 runs ok, 2 interrupted"));
}

TEST_F(PlayVerb, ACallThatDoesNotReturnAfterTheSecondCtrlCIsGivenUp) {
  arguments_.macros = {"buy"};
  arguments_.repeat = 2;
  arguments_.form = OutputForm::AsCsv;
  interruptTwiceInVain();

  EXPECT_EQ(run(), kExitInterrupted);
  EXPECT_EQ(codeAtOnce_, kExitInterrupted);
  EXPECT_THAT(out_.str(), HasSubstr("\r\n1,interrupted,0,,0.00\r\n2,interrupted,"));
  EXPECT_THAT(err_.str(), HasSubstr("0 of 2 runs ok, 2 interrupted\n"));
}

TEST_F(PlayVerb, APictureDoesNotReplaceAFileUnlessAskedTo) {
  arguments_.macros = {"buy"};
  arguments_.screenshot = "shot.png";
  existing_ = "C:\\shot.png";

  EXPECT_EQ(problem(),
            "The picture's file is there already: C:\\shot.png. Choose another name, or give --overwrite.");
  arguments_.overwrite = true;
  EXPECT_EQ(run(), kExitSuccess);
  EXPECT_THAT(err_.str(), HasSubstr("The picture replaces C:\\shot.png.\n"));
}

TEST_F(PlayVerb, SeveralPicturesNeedNamesOfTheirOwn) {
  arguments_.macros = {"buy"};
  arguments_.repeat = 2;
  arguments_.screenshot = "shot.png";

  EXPECT_EQ(problem(),
            "--screenshot names one file, and there are 2 runs. Write {run} where the run's number is to "
            "stand, for "
            "example shot-{run}.png.");
}

// The report goes to a real file: its place is that of the system's temporary files.
class PlayVerbWithReport : public PlayVerb {
 protected:
  PlayVerbWithReport() {
    folder_ = std::filesystem::temp_directory_path().string() + "/";
    arguments_.macros = {"buy"};
    arguments_.report = "kx_play_report.html";
    std::filesystem::remove(path());
  }
  std::string path() const { return folder_ + arguments_.report; }
  bool reportHolds(const std::string& text) const {
    return fileBytes(path()).find(text) != std::string::npos;
  }
};

TEST_F(PlayVerbWithReport, ThePageIsWrittenAndNamed) {
  EXPECT_EQ(run(), kExitSuccess);

  EXPECT_TRUE(reportHolds("\"extracts\":[\"buy\"]"));
  EXPECT_THAT(err_.str(), HasSubstr("The report is " + path() + "\n"));
  EXPECT_THAT(removed_, ::testing::ElementsAre("own.log"));
}

TEST_F(PlayVerbWithReport, ItDoesNotReplaceAFileUnlessAskedTo) {
  existing_ = path();

  EXPECT_EQ(problem(),
            "The report's file is there already: " + path() + ". Choose another name, or give --overwrite.");
  arguments_.overwrite = true;
  EXPECT_EQ(run(), kExitSuccess);
  EXPECT_THAT(err_.str(), HasSubstr("The report replaces " + path() + ".\n"));
}

TEST_F(PlayVerbWithReport, APlaceThatCannotBeWrittenIsToldBeforeAnythingIsStarted) {
  arguments_.report = "no/such/folder/report.html";

  EXPECT_EQ(problem(),
            "The report cannot be written: " + path() + ". Is its folder there, and may you write to it?");
  EXPECT_TRUE(library_.calls().empty());
}

TEST_F(PlayVerbWithReport, WithoutAPageNoFileStaysBehind) {
  isLibraryMissing_ = true;

  EXPECT_EQ(problem(), "there is no library");
  EXPECT_THAT(removed_, ::testing::ElementsAre(path(), "own.log"));
}

TEST_F(PlayVerbWithReport, CtrlCLeavesAReportOfWhatWasPlayed) {
  arguments_.repeat = 3;
  library_.duringPlay = [&] { interruption_ = true; };

  EXPECT_EQ(run(), kExitInterrupted);
  EXPECT_TRUE(reportHolds("\"outcome\":\"interrupted\""));
}

TEST_F(PlayVerbWithReport, ACallThatIsGivenUpLeavesAReportAndNoLog) {
  interruptTwiceInVain();

  EXPECT_EQ(run(), kExitInterrupted);
  EXPECT_TRUE(reportHolds("\"outcome\":\"interrupted\""));
  EXPECT_THAT(removed_, ::testing::ElementsAre("own.log"));
}

}  // namespace
}  // namespace kx::cli
