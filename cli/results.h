// What came of the runs, as text for people, as CSV and as JSON. Every text that a browser has sent is data:
// control characters in it do not reach a terminal.
#pragma once

#include "cli/json.h"
#include "cli/palette.h"
#include "cli/runs.h"

#include <string>
#include <vector>

namespace kx::cli {

// What happened, why, and what to do, as several lines. Empty for a run that went well.
std::string explanationOf(const RunResult& result, const Palette& palette);

// One run, for people. The heading names the run and its variables where there are several.
std::string resultTable(const RunResult& result, bool hasHeading, const Palette& palette);

// All runs, a line each, behind a header.
std::string resultCsv(const std::vector<RunResult>& results);

Json resultJson(const RunResult& result);

// "3 of 4 runs ok, 1 macro failed".
std::string summaryOf(const std::vector<RunResult>& results);

}  // namespace kx::cli
