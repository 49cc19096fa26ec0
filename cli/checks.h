// What kx selftest is made of: checks, each of which writes down lines that say what was expected and what
// came. A check runs on a thread of its own, so that a call that never returns is seen.
#pragma once

#include "cli/player.h"

#include <chrono>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace kx::cli {

enum class Verdict {
  Ok,
  Failed,
  // Where Windows and Wine differ: it is as the documentation says of Windows; as it is under Wine; neither.
  AsExpected,
  AsOnWine,
  Otherwise,
  // This machine has not what it takes.
  NotTried
};

struct CheckLine {
  Verdict verdict = Verdict::Ok;
  std::string what;
  std::string expected;
  // For lines about Windows and Wine alone.
  std::string onWine;
  std::string came;
  // Where bytes differ: those around the first difference.
  std::string difference;
};

// A piece of what a check has seen, for the report of one that failed.
struct Evidence {
  std::string title;
  std::string text;
};

// Filled by one check, on its thread.
class CheckNotes {
 public:
  using Listener = std::function<void(const CheckLine&)>;

  explicit CheckNotes(Listener listener) : listener_(std::move(listener)) {}

  void same(const std::string& what, const std::string& expected, const std::string& came);
  // Also tells where the bytes differ.
  void sameBytes(const std::string& what, const std::string& expected, const std::string& came);
  // For what is expected of both, and may be different in words.
  void holds(const std::string& what, bool isGood, const std::string& expected, const std::string& came);
  // A place where Windows is expected to differ; what is expected there is told in words.
  void differs(const std::string& what, const std::string& onWindows, bool isAsOnWindows,
               const std::string& onWine, bool isAsOnWine, const std::string& came);
  void notTried(const std::string& what, const std::string& expected, const std::string& why);

  void keep(const std::string& title, const std::string& text) { evidence_.push_back({title, text}); }
  const std::vector<Evidence>& evidence() const { return evidence_; }

 private:
  Listener listener_;
  std::vector<Evidence> evidence_;
};

struct Check {
  std::string name;
  std::string title;
  // Anything that is thrown is a failed line.
  std::function<void(CheckNotes&)> run;
};

struct CheckResult {
  enum class End { Ran, NotRun, Stuck };

  std::string name;
  std::string title;
  End end = End::NotRun;
  double seconds = 0;
  std::vector<CheckLine> lines;
  // Kept when a line failed.
  std::vector<Evidence> evidence;
};

struct CheckRun {
  // How long a check may take before what it started is ended, and then how long again before it is given up.
  std::chrono::milliseconds patience{60000};
  std::function<void()> endWhatWasStarted;
  // A check is stuck and goes on using what it has, for as long as the process lives. Gives what is known of
  // it.
  std::function<std::vector<Evidence>()> giveUp;
  std::function<void(const Check&)> begins;
  std::function<void(const CheckLine&)> line;
  std::function<void(const CheckResult&)> ends;
};

// Runs the checks one after the other. After Ctrl-C, or a check that is stuck, the rest is not run.
std::vector<CheckResult> runChecks(const std::vector<Check>& checks, const CheckRun& run,
                                   const Interruption& interruption);

// The checks with these names, in their own order; all of them when there are no names. Throws a Problem for
// a name that there is not.
std::vector<Check> chosenChecks(const std::vector<Check>& checks, const std::vector<std::string>& names);

bool isBad(Verdict verdict);

// Sixteen bytes a line, as numbers and as characters.
std::string hexDump(std::string_view bytes, std::size_t from, std::size_t count);

}  // namespace kx::cli
