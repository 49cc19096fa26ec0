#include "cli/selftest.h"

#include "cli/runs.h"
#include "cli/text.h"
#include "common/platform.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>

namespace kx::cli {
namespace {

using End = CheckResult::End;

constexpr std::size_t kWordColumns = 13;
constexpr std::size_t kWhatColumns = 44;
constexpr std::size_t kLongestOnScreen = 100;
// Of one text in the report.
constexpr std::size_t kLongestInReport = 2000;

constexpr std::array kVerdicts = {Verdict::Ok,       Verdict::Failed,    Verdict::AsExpected,
                                  Verdict::AsOnWine, Verdict::Otherwise, Verdict::NotTried};

const char* wordOf(Verdict verdict) {
  switch (verdict) {
    case Verdict::Ok:
      return "ok";
    case Verdict::Failed:
      return "FAILED";
    case Verdict::AsExpected:
      return "as expected";
    case Verdict::AsOnWine:
      return "as on Wine";
    case Verdict::Otherwise:
      return "otherwise: please report";
    case Verdict::NotTried:
      break;
  }
  return "not tried";
}

// For programs.
const char* idOf(Verdict verdict) {
  switch (verdict) {
    case Verdict::Ok:
      return "ok";
    case Verdict::Failed:
      return "failed";
    case Verdict::AsExpected:
      return "as expected";
    case Verdict::AsOnWine:
      return "as on Wine";
    case Verdict::Otherwise:
      return "otherwise";
    case Verdict::NotTried:
      break;
  }
  return "not tried";
}

const char* idOf(End end) {
  return end == End::Ran ? "ran" : (end == End::Stuck ? "stuck" : "not run");
}

bool isAboutWindows(Verdict verdict) {
  return verdict == Verdict::AsExpected || verdict == Verdict::AsOnWine || verdict == Verdict::Otherwise;
}

std::string roundedSeconds(double seconds) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.1f s", seconds);
  return text.data();
}

std::string_view colourOf(Verdict verdict, const Palette& palette) {
  if (isBad(verdict)) {
    return palette.bad;
  }
  return verdict == Verdict::Ok || verdict == Verdict::AsExpected ? palette.good : palette.warning;
}

// The parts of a line behind its name, each with its label.
std::vector<std::pair<std::string, std::string>> partsOf(const CheckLine& line) {
  if (isAboutWindows(line.verdict)) {
    return {{"on Windows", line.expected}, {"on Wine", line.onWine}, {"came", line.came}};
  }
  if (line.verdict == Verdict::NotTried) {
    return {{"expected", line.expected}, {"not tried", line.came}};
  }
  if (line.expected == line.came) {
    return {{"expected and came", line.came}};
  }
  return {{"expected", line.expected}, {"came", line.came}};
}

std::string screenLine(const CheckLine& line, const Palette& palette) {
  const std::string word = wordOf(line.verdict);
  std::string text = "  " + palette.paint(colourOf(line.verdict, palette), padded(word, kWordColumns));
  // The long verdict takes a line of its own.
  text += width(word) < kWordColumns ? "" : "\n" + std::string(kWordColumns + 2, ' ');
  text += padded(line.what, kWhatColumns) + "  ";
  const auto parts = partsOf(line);
  const std::string indentation(kWordColumns + kWhatColumns + 4, ' ');
  for (std::size_t i = 0; i < parts.size(); ++i) {
    text += (i == 0 ? "" : indentation) + parts[i].first + ": " +
            shortened(onOneLine(parts[i].second), kLongestOnScreen) + "\n";
  }
  return text;
}

std::string indented(std::string text) {
  while (text.ends_with('\n')) {
    text.pop_back();
  }
  return "    " + replacedAll(text, "\n", "\n    ");
}

std::string reportLine(const CheckLine& line) {
  std::string text = "  " + std::string(wordOf(line.verdict)) + ": " + line.what + "\n";
  for (const auto& [label, value] : partsOf(line)) {
    text += "      " + label + ": " + shortened(onOneLine(value), kLongestInReport) + "\n";
  }
  return line.difference.empty() ? text : text + indented(line.difference) + "\n";
}

Json lineJson(const CheckLine& line) {
  Json json = {{"verdict", idOf(line.verdict)}, {"what", line.what}, {"expected", line.expected}};
  if (isAboutWindows(line.verdict)) {
    json["onWine"] = line.onWine;
  }
  json["came"] = line.came;
  if (!line.difference.empty()) {
    json["difference"] = line.difference;
  }
  return json;
}

bool isBad(const SelfTestResult& result) {
  return result.count(Verdict::Failed) + result.count(Verdict::Otherwise) > 0;
}

int exitCodeFor(const SelfTestResult& result) {
  return result.isInterrupted ? kExitInterrupted : (isBad(result) ? kExitMacroFailed : kExitSuccess);
}

struct Closer {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

// Opened before anything is tried, so that the work is not in vain. A file that is there is kept.
class SelfTestFile {
 public:
  SelfTestFile(const std::string& path, const Surroundings& around) : path_(around.wholePath(path)) {
    if (around.fileExists(path_)) {
      throw Problem{kExitWrongUse,
                    "The report's file is there already: " + path_ + ". Choose another name for --report."};
    }
    file_.reset(platform::openFile(path_, "wb"));
    if (!file_) {
      throw Problem{kExitProblem, "The report " + path_ + " cannot be written, error " +
                                      std::to_string(platform::lastErrorNumber()) +
                                      ". Name a place for it with --report."};
    }
  }

  void write(const std::string& text) {
    const bool isWritten = std::fwrite(text.data(), 1, text.size(), file_.get()) == text.size();
    if (std::fclose(file_.release()) != 0 || !isWritten) {
      throw Problem{kExitProblem, "The report " + path_ + " could not be written to its end."};
    }
  }

  const std::string& path() const { return path_; }

 private:
  std::string path_;
  std::unique_ptr<std::FILE, Closer> file_;
};

// "2026-01-31 12:00:00" becomes "kx-selftest-20260131-120000.txt".
std::string usualReportName(const std::string& date) {
  return "kx-selftest-" + replacedAll(replacedAll(replacedAll(date, "-", ""), ":", ""), " ", "-") + ".txt";
}

}  // namespace

std::size_t SelfTestResult::count(Verdict verdict) const {
  std::size_t sum = 0;
  for (const CheckResult& check : checks) {
    sum += static_cast<std::size_t>(
        std::count_if(check.lines.begin(), check.lines.end(),
                      [&](const CheckLine& line) { return line.verdict == verdict; }));
  }
  return sum;
}

std::string summaryOf(const SelfTestResult& result) {
  std::size_t lines = 0;
  std::string parts;
  for (const Verdict verdict : kVerdicts) {
    const std::size_t count = result.count(verdict);
    lines += count;
    if (count > 0) {
      parts += (parts.empty() ? "" : ", ") + std::to_string(count) + " " + wordOf(verdict);
    }
  }
  const auto notRun = std::count_if(result.checks.begin(), result.checks.end(), [](const CheckResult& check) {
    return check.end == CheckResult::End::NotRun;
  });
  return counted(lines, "line") + (parts.empty() ? "" : ": ") + parts +
         (notRun > 0 ? "; " + counted(static_cast<std::size_t>(notRun), "check") + " not run" : "") + ". " +
         roundedSeconds(result.seconds) + ".";
}

std::string selfTestReport(const SelfTestResult& result) {
  std::string text = "kx selftest, " + result.date + " UTC\n" + summaryOf(result) + "\n\n";
  for (const Fact& fact : result.machine) {
    text += padded(fact.key, 20) + fact.value + (fact.why.empty() ? "" : "  (" + fact.why + ")") + "\n";
  }
  for (const CheckResult& check : result.checks) {
    text += "\n" + check.name + ": " + check.title + ", " +
            (check.end == CheckResult::End::Ran ? roundedSeconds(check.seconds) : idOf(check.end)) + "\n";
    for (const CheckLine& line : check.lines) {
      text += reportLine(line);
    }
    for (const Evidence& evidence : check.evidence) {
      text += "  -- " + evidence.title + "\n" + indented(evidence.text) + "\n";
    }
  }
  return text;
}

Json selfTestJson(const SelfTestResult& result) {
  Json json = {{"date", result.date},    {"seconds", result.seconds}, {"interrupted", result.isInterrupted},
               {"good", !isBad(result)}, {"counts", Json::object()},  {"machine", Json::object()},
               {"checks", Json::array()}};
  for (const Verdict verdict : kVerdicts) {
    json["counts"][idOf(verdict)] = result.count(verdict);
  }
  for (const Fact& fact : result.machine) {
    json["machine"][fact.key] = fact.value;
  }
  for (const CheckResult& check : result.checks) {
    Json one = {{"name", check.name},
                {"title", check.title},
                {"end", idOf(check.end)},
                {"seconds", check.seconds},
                {"lines", Json::array()}};
    for (const CheckLine& line : check.lines) {
      one["lines"].push_back(lineJson(line));
    }
    json["checks"].push_back(std::move(one));
  }
  return json;
}

int runSelfTest(const SelfTestArguments& arguments, const SelfTestGround& ground,
                const Surroundings& around) {
  std::vector<Check> checks = chosenChecks(ground.checks, arguments.only);
  if (arguments.list) {
    for (const Check& check : checks) {
      around.out << padded(check.name, 24) << check.title << "\n";
    }
    return kExitSuccess;
  }
  SelfTestFile report(arguments.reportFile.empty() ? usualReportName(ground.date) : arguments.reportFile,
                      around);
  checks.insert(checks.end(), ground.lastChecks.begin(), ground.lastChecks.end());

  // With --json the screen's lines go where progress goes.
  std::ostream& screen = arguments.json ? around.err : around.out;
  const Palette& palette = arguments.json ? around.errPalette : around.outPalette;
  for (const Fact& fact : ground.machine) {
    screen << padded(fact.key, 20) << fact.value << "\n";
  }
  CheckRun run;
  run.patience = ground.patience;
  run.endWhatWasStarted = ground.endWhatWasStarted;
  run.giveUp = ground.giveUp;
  run.begins = [&](const Check& check) {
    screen << "\n" << palette.paint(palette.strong, check.name) << "  " << check.title << std::endl;
  };
  run.line = [&](const CheckLine& line) { screen << screenLine(line, palette) << std::flush; };
  run.ends = [](const CheckResult&) {};

  const auto begun = std::chrono::steady_clock::now();
  SelfTestResult result;
  result.date = ground.date;
  result.machine = ground.machine;
  result.checks = runChecks(checks, run, around.interruption);
  result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begun).count();
  result.isInterrupted = around.interruption;

  report.write(selfTestReport(result));
  if (arguments.json) {
    around.out << jsonText(selfTestJson(result), kReadable) << "\n";
  }
  screen << "\n"
         << palette.paint(isBad(result) ? palette.bad : palette.good, summaryOf(result))
         << "\nThe report is in " << report.path() << (isBad(result) ? ". Please send it." : "") << std::endl;
  return exitCodeFor(result);
}

}  // namespace kx::cli
