// kx selftest: tries the library on the machine it is started on, prints what was expected and what came, and
// writes one file for a bug report.
#pragma once

#include "cli/arguments.h"
#include "cli/checks.h"
#include "cli/json.h"
#include "cli/start_facts.h"
#include "cli/surroundings.h"

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace kx::cli {

// Everything that a self-test found.
struct SelfTestResult {
  std::string date;
  std::vector<Fact> machine;
  std::vector<CheckResult> checks;
  double seconds = 0;
  bool isInterrupted = false;

  std::size_t count(Verdict verdict) const;
};

// What it needs of the machine.
struct SelfTestGround {
  std::vector<Check> checks;
  // Runs after the chosen ones, whichever they are.
  std::vector<Check> lastChecks;
  std::vector<Fact> machine;
  std::chrono::milliseconds patience{60000};
  std::function<void()> endWhatWasStarted;
  std::function<std::vector<Evidence>()> giveUp;
  // The moment as text, in UTC: "2026-01-31 12:00:00".
  std::string date;
};

// Gives the exit code.
int runSelfTest(const SelfTestArguments& arguments, const SelfTestGround& ground, const Surroundings& around);

std::string selfTestReport(const SelfTestResult& result);
Json selfTestJson(const SelfTestResult& result);
// "101 lines: 93 ok, 2 FAILED; ..."
std::string summaryOf(const SelfTestResult& result);

}  // namespace kx::cli
