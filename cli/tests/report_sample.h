// Runs that were never played, for the tests of the report: texts of every kind, failures, several contexts.
#pragma once

#include "cli/report.h"

#include <string>
#include <vector>

namespace kx::cli {

// What a page must take for text, whatever it looks like.
inline const std::vector<std::string> kNastyTexts = {
    "</script><script>document.title = 'taken over'</script>",
    "<!-- <script> -->",
    "<img src=x onerror=\"document.title = 'taken over'\">",
    "\xE2\x80\xA8 and \xE2\x80\xA9",
    "&lt;b&gt; ${x} \\u003c ]]> \"quotes\" 'too'",
    std::string("\x01\x1b[31m\xFF", 7),
    "<!--DATA-->",
};

struct ReportSample {
  PlayArguments arguments;
  std::vector<Macro> macros;
  PlayedAll all;
};

// So many runs in so many contexts. Of 50 runs, one fails and one is not played at all.
inline ReportSample reportSample(std::size_t runs, int contexts) {
  ReportSample sample;
  sample.arguments.browser.profile = "work-{n}";
  sample.arguments.parallel = contexts;
  sample.arguments.report = "report.html";
  sample.macros = {{"order.txt", "extract Welcome, $(customer)\nextract </script>"}};
  PlayedAll& all = sample.all;
  all.where = {{"play", "order.txt", "--rows", "my orders.csv", "--report", "report.html"},
               "C:\\Users\\beatrix\\macros",
               "1.1.0",
               "1.1.0",
               "C:\\sdk\\bin\\KXTCP64.dll",
               "Windows 10.0.19045",
               4};
  all.log = {"", true, false};
  all.started = std::chrono::system_clock::time_point(std::chrono::seconds(1790000000));
  std::vector<double> clocks(static_cast<std::size_t>(contexts), 0);
  all.closings.resize(clocks.size());
  const auto at = [&](double seconds) {
    return all.begin + std::chrono::duration_cast<Moment::duration>(std::chrono::duration<double>(seconds));
  };
  const auto step = [&](std::size_t context, const std::string& what, StepKind kind, std::size_t run,
                        double length, bool isGood) {
    double& clock = clocks[context - 1];
    all.steps.push_back(
        {{static_cast<int>(context), what, 60, kind, run, at(clock)}, at(clock + length), isGood});
    clock += length;
  };
  for (std::size_t number = 1; number <= runs; ++number) {
    const std::size_t context = number % clocks.size() + 1;
    const bool isFirst = number <= clocks.size();
    const bool hasFailed = number % 50 == 7;
    const double length = 0.2 + static_cast<double>(number * 37 % 101) / 200;
    RunResult result;
    result.run = {number,
                  {{"customer", "Customer " + std::to_string(number * 7919 % runs + 1)},
                   {"city", number % 2 == 0 ? "Oslo" : "Troms\xC3\xB8"}}};
    if (number % 50 == 8) {
      all.results.push_back(result);
      continue;
    }
    result.context = static_cast<int>(context);
    result.profile = "work-" + std::to_string(context);
    result.attempts = 1;
    result.began = at(clocks[context - 1]);
    if (isFirst) {
      step(context, "starting Firefox, profile work-" + std::to_string(context), StepKind::Start, number, 2.1,
           true);
    }
    step(context, "playing order.txt", StepKind::Play, number, length, !hasFailed);
    result.seconds = length + (isFirst ? 2.1 : 0);
    result.outcome = hasFailed ? Outcome::MacroFailed : Outcome::Ok;
    result.call = hasFailed ? CallResult{"kx_Play", -1, -50, "There is no such button"}
                            : CallResult{"kx_Play", 0, 1, "OK"};
    result.reason = hasFailed ? Catalogue::builtIn().find(result.call) : nullptr;
    result.macro = hasFailed ? "order.txt" : "";
    result.extracts = {"Welcome, " + result.run.variables.front().second,
                       kNastyTexts[number % kNastyTexts.size()],
                       "cell 1\t" + std::to_string(number * 31 % 1000)};
    result.performance = {
        {"load", std::to_string(length / 2)}, {"total", std::to_string(length)}, {"state", "warm"}};
    result.profilerData = R"({"steps":[{"name":"</script>","ms":12}]})";
    all.results.push_back(std::move(result));
  }
  for (std::size_t context = 1; context <= clocks.size(); ++context) {
    step(context, "closing the browser", StepKind::Close, 0, 0.4, true);
    all.seconds = std::max(all.seconds, clocks[context - 1]);
  }
  return sample;
}

}  // namespace kx::cli
