#include "cli/report.h"

#include "cli/embedded.h"
#include "cli/results.h"
#include "cli/tests/report_sample.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace kx::cli {
namespace {

using ::testing::HasSubstr;

class Reports : public ::testing::Test {
 protected:
  std::string page(const LogParts* log = nullptr) {
    sample_.all.arguments = &sample_.arguments;
    sample_.all.macros = &sample_.macros;
    std::string text;
    leftOut_ = writeReport(
        sample_.all, log,
        [&](const std::string& path) {
          return path == "there.png" ? std::optional<std::string>("\x89PNG") : std::nullopt;
        },
        [&](std::string_view piece) { text += piece; });
    return text;
  }

  static Json data(const std::string& page, const std::string& id) {
    const std::string begin = "<script type=\"application/json\" id=\"data-" + id + "\">";
    const std::size_t from = page.find(begin) + begin.size();
    return Json::parse(page.substr(from, page.find("</script>", from) - from));
  }

  // A page is too long to be printed when it does not.
  static bool holds(const std::string& page, const std::string& text) {
    return page.find(text) != std::string::npos;
  }

  static std::size_t scriptsOf(std::string_view page) {
    std::size_t count = 0;
    for (std::size_t at = page.find("<script"); at != std::string_view::npos;
         at = page.find("<script", at + 1)) {
      ++count;
    }
    return count;
  }

  ReportSample sample_ = reportSample(20, 2);
  std::string leftOut_;
};

TEST_F(Reports, HoldWhatJsonHoldsOfEachRun) {
  const Json runs = data(page(), "runs");

  ASSERT_EQ(runs.size(), 20U);
  Json own = resultJson(sample_.all.results[2]);
  own["extracts"][1] = runs[2]["extracts"][1];
  EXPECT_EQ(runs[2]["extracts"], own["extracts"]);
  EXPECT_EQ(runs[6]["outcome"], "macro failed");
  EXPECT_EQ(runs[6]["failure"]["id"], "macro-failed");
  EXPECT_EQ(runs[7]["outcome"], "not played");
}

// Besides those of the page itself there are only the ones that hold the data.
TEST_F(Reports, TakeEveryTextForData) {
  sample_.arguments.variables = {{"</script>", "<script>"}};
  sample_.macros.front().name = "</script><script>";
  const std::string text = page();

  EXPECT_EQ(scriptsOf(text), scriptsOf(kReportPage) + 3);
  const Json runs = data(text, "runs");
  for (const RunResult& result : sample_.all.results) {
    if (!result.extracts.empty() && result.extracts[1].find('\xFF') == std::string::npos) {
      EXPECT_EQ(runs[result.run.number - 1]["extracts"][1], result.extracts[1]);
    }
  }
  EXPECT_FALSE(holds(text, "\xE2\x80\xA8"));
  EXPECT_EQ(data(text, "about")["macros"][0]["name"], "</script><script>");
}

TEST_F(Reports, TellTheStepsOfAllContextsInTime) {
  const Json steps = data(page(), "steps");

  // Context, run, kind, what, begin, end, whether it went well.
  EXPECT_EQ(steps["steps"][0], Json::parse(R"([2, 1, "start", 0, 0.0, 2.1, 1])"));
  EXPECT_EQ(steps["whats"][0], "starting Firefox, profile work-2");
  EXPECT_EQ(steps["steps"].back()[2], "close");
  EXPECT_EQ(steps["steps"].size(), 19U + 2U + 2U);
}

TEST_F(Reports, CarryThePictures) {
  sample_.all.results[0].screenshot = "there.png";
  sample_.all.results[1].screenshot = "gone.png";

  EXPECT_TRUE(holds(page(), "<script type=\"text/plain\" data-picture=\"1\">iVBORw==</script>"));
  EXPECT_EQ(leftOut_, "1 picture is not in the report: it takes 64 MB of them, and those that can be read.");
  EXPECT_THAT(data(page(), "about")["notes"][0], HasSubstr("1 picture"));
}

TEST_F(Reports, SayWhatWasRunWhere) {
  const Json about = data(page(), "about");

  EXPECT_EQ(about["command"], "kx play order.txt --rows \"my orders.csv\" --report report.html");
  EXPECT_EQ(about["versions"]["library"], "1.1.0");
  EXPECT_EQ(about["browser"]["how"], "launched (kx_ functions)");
  EXPECT_EQ(about["started"], 1790000000000);
  EXPECT_EQ(about["contexts"].size(), 2U);
}

TEST_F(Reports, LeaveOutWhatIsPrivateWhenTheyAreRedacted) {
  sample_.arguments.isReportRedacted = true;
  sample_.arguments.variables = {{"password", "hunter2"}};
  sample_.all.where.commandLine = {"play",
                                   "-m",
                                   "extract secret",
                                   "--macro=type secret",
                                   "--var",
                                   "password=hunter2",
                                   "-vpassword=hunter2"};
  sample_.arguments.macros = {"extract secret", "type secret"};
  sample_.macros = {{"the macro", "extract secret"}};
  RunResult& result = sample_.all.results[0];
  result.run.variables = {{"password", "hunter2"}};
  result.extracts = {"secret"};
  result.performance = {{"load", "0.25"}, {"state", "secret"}};
  result.profilerData = "secret";
  result.screenshot = "there.png";
  result.profile = "C:\\Users\\beatrix\\data";

  const std::string text = page();
  for (const char* const word : {"hunter2", "secret", "beatrix", "Welcome,", "data-picture=\"1\""}) {
    EXPECT_FALSE(holds(text, word)) << word;
  }
  const Json run = data(text, "runs")[0];
  EXPECT_EQ(run["variables"]["password"], "<removed>");
  EXPECT_EQ(run["extracts"][0], "<6 bytes>");
  EXPECT_EQ(run["performance"][0]["value"], "0.25");
  EXPECT_EQ(
      data(text, "about")["command"],
      "kx play -m \"<removed>\" \"--macro=<removed>\" --var \"password=<removed>\" \"-vpassword=<removed>\"");
  EXPECT_THAT(data(text, "about")["notes"][0], HasSubstr("left out"));
}

}  // namespace
}  // namespace kx::cli
