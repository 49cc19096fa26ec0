// What is to be played, and what came of it. A run is one pass through all macros with one set of variables.
#pragma once

#include "cli/arguments.h"
#include "cli/catalogue.h"
#include "cli/library.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace kx::cli {

using Moment = std::chrono::steady_clock::time_point;

struct Macro {
  std::string name;
  std::string text;
};

struct Run {
  // Counted from 1.
  std::size_t number = 1;
  std::vector<Variable> variables;
};

// The part of the library's log between two moments, and the thread whose entries are meant.
struct LogRange {
  std::uint32_t thread = 0;
  std::int64_t begin = 0;
  std::int64_t end = 0;
};

enum class Outcome { Ok, MacroFailed, ConnectionFailed, Interrupted, NotPlayed };

struct RunResult {
  Run run;
  Outcome outcome = Outcome::NotPlayed;
  // Counted from 1; 0 when no context took the run.
  int context = 0;
  std::optional<std::string> profile;
  // The call that decided: the one that failed, or the last play.
  CallResult call;
  // Its row in the catalogue, when it failed and has one.
  const ErrorRow* reason = nullptr;
  // The macro in which it failed.
  std::string macro;
  std::vector<std::string> extracts;
  std::vector<PerformanceValue> performance;
  std::string profilerData;
  std::string screenshot;
  Moment began{};
  double seconds = 0;
  LogRange log;
  // How often it was begun: more than once after a lost connection.
  int attempts = 0;
};

// Everything that all contexts play, each run once.
class RunQueue {
 public:
  explicit RunQueue(std::vector<Run> runs) : runs_(std::move(runs)) {}

  std::optional<Run> next() {
    const std::lock_guard lock(mutex_);
    return taken_ < runs_.size() ? std::optional(runs_[taken_++]) : std::nullopt;
  }

 private:
  std::mutex mutex_;
  std::vector<Run> runs_;
  std::size_t taken_ = 0;
};

// One run for each row, and all of that as often as is asked for. Variables of the command line come first;
// of several with one name the last counts, and a row's counts before all.
std::vector<Run> runsOf(const PlayArguments& arguments, const std::vector<std::vector<Variable>>& rows);

// What the process ends with.
enum ExitCode {
  kExitSuccess = 0,
  kExitMacroFailed = 1,
  kExitWrongUse = 2,
  kExitConnectionFailed = 3,
  kExitProblem = 4,
  kExitInterrupted = 130
};

// The gravest of them counts.
ExitCode exitCodeOf(const std::vector<RunResult>& results);

const char* nameOf(Outcome outcome);

}  // namespace kx::cli
