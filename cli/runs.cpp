#include "cli/runs.h"

#include <algorithm>

namespace kx::cli {
namespace {

// Each name once, with its last value; a row's value counts before all others.
std::vector<Variable> merged(std::vector<Variable> all, const std::vector<Variable>& row) {
  all.insert(all.end(), row.begin(), row.end());
  std::vector<Variable> variables;
  for (const Variable& variable : all) {
    const auto same = std::find_if(variables.begin(), variables.end(),
                                   [&](const Variable& one) { return one.first == variable.first; });
    if (same != variables.end()) {
      same->second = variable.second;
    } else {
      variables.push_back(variable);
    }
  }
  return variables;
}

bool has(const std::vector<RunResult>& results, Outcome outcome) {
  return std::any_of(results.begin(), results.end(),
                     [&](const RunResult& result) { return result.outcome == outcome; });
}

}  // namespace

std::vector<Run> runsOf(const PlayArguments& arguments, const std::vector<std::vector<Variable>>& rows) {
  const std::vector<std::vector<Variable>> oneWithout(1);
  std::vector<Run> runs;
  for (int pass = 0; pass < arguments.repeat; ++pass) {
    for (const std::vector<Variable>& row : rows.empty() ? oneWithout : rows) {
      runs.push_back({runs.size() + 1, merged(arguments.variables, row)});
    }
  }
  return runs;
}

ExitCode exitCodeOf(const std::vector<RunResult>& results) {
  if (has(results, Outcome::Interrupted)) {
    return kExitInterrupted;
  }
  if (has(results, Outcome::ConnectionFailed) || has(results, Outcome::NotPlayed)) {
    return kExitConnectionFailed;
  }
  return has(results, Outcome::MacroFailed) ? kExitMacroFailed : kExitSuccess;
}

const char* nameOf(Outcome outcome) {
  switch (outcome) {
    case Outcome::Ok:
      return "ok";
    case Outcome::MacroFailed:
      return "macro failed";
    case Outcome::ConnectionFailed:
      return "connection failed";
    case Outcome::Interrupted:
      return "interrupted";
    case Outcome::NotPlayed:
      break;
  }
  return "not played";
}

}  // namespace kx::cli
