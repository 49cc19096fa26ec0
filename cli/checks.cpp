#include "cli/checks.h"

#include "cli/runs.h"
#include "cli/surroundings.h"
#include "cli/text.h"

#include <algorithm>
#include <array>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>

namespace kx::cli {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kStep = std::chrono::milliseconds(50);
constexpr std::size_t kBytesPerLine = 16;
// Around a difference.
constexpr std::size_t kBytesBefore = 48;
constexpr std::size_t kBytesShown = 160;

// What the check's thread and the program's own share. It belongs to both: a check that is stuck goes on
// after the program has given it up.
struct Desk {
  std::mutex mutex;
  std::condition_variable changed;
  std::deque<CheckLine> lines;
  std::vector<Evidence> evidence;
  bool isDone = false;
};

void runOnThread(const Check& check, const std::shared_ptr<Desk>& desk) {
  const auto put = [&](CheckLine line) {
    const std::lock_guard lock(desk->mutex);
    desk->lines.push_back(std::move(line));
    desk->changed.notify_all();
  };
  CheckNotes notes(put);
  std::string stopped;
  try {
    check.run(notes);
  } catch (const std::exception& exception) {
    stopped = exception.what();
  } catch (const Problem& problem) {
    stopped = problem.sentence;
  }
  if (!stopped.empty()) {
    put({Verdict::Failed, "the check goes on to its end", "yes", {}, "no: " + stopped, {}});
  }
  const std::lock_guard lock(desk->mutex);
  desk->evidence = notes.evidence();
  desk->isDone = true;
  desk->changed.notify_all();
}

// One check, as the program's own thread sees it.
class Watch {
 public:
  Watch(const Check& check, const CheckRun& run) : run_(run), begun_(Clock::now()) {
    result_.name = check.name;
    result_.title = check.title;
    thread_ = std::thread([check, desk = desk_] { runOnThread(check, desk); });
  }

  CheckResult wait() {
    if (!waitUntil(begun_ + run_.patience)) {
      takeLine({Verdict::Failed,
                "the check comes to its end",
                "within " + std::to_string(run_.patience.count() / 1000) + " s",
                {},
                "no: a call does not return. What was started is ended now",
                {}});
      run_.endWhatWasStarted();
      if (!waitUntil(Clock::now() + run_.patience)) {
        thread_.detach();
        result_.end = CheckResult::End::Stuck;
        result_.evidence = run_.giveUp();
        return finished();
      }
    }
    thread_.join();
    result_.end = CheckResult::End::Ran;
    return finished();
  }

 private:
  // Passes on what the check writes down.
  bool waitUntil(Clock::time_point moment) {
    std::unique_lock lock(desk_->mutex);
    while (true) {
      while (!desk_->lines.empty()) {
        CheckLine line = std::move(desk_->lines.front());
        desk_->lines.pop_front();
        lock.unlock();
        takeLine(std::move(line));
        lock.lock();
      }
      if (desk_->isDone || Clock::now() >= moment) {
        return desk_->isDone;
      }
      desk_->changed.wait_for(lock, kStep);
    }
  }

  void takeLine(CheckLine line) {
    run_.line(line);
    result_.lines.push_back(std::move(line));
  }

  CheckResult finished() {
    result_.seconds = std::chrono::duration<double>(Clock::now() - begun_).count();
    const bool isBad = std::any_of(result_.lines.begin(), result_.lines.end(),
                                   [](const CheckLine& line) { return cli::isBad(line.verdict); });
    if (isBad && result_.end == CheckResult::End::Ran) {
      const std::lock_guard lock(desk_->mutex);
      result_.evidence = desk_->evidence;
    }
    return std::move(result_);
  }

  const CheckRun& run_;
  Clock::time_point begun_;
  std::shared_ptr<Desk> desk_ = std::make_shared<Desk>();
  std::thread thread_;
  CheckResult result_;
};

std::size_t firstDifference(std::string_view one, std::string_view other) {
  const std::size_t shorter = std::min(one.size(), other.size());
  for (std::size_t i = 0; i < shorter; ++i) {
    if (one[i] != other[i]) {
      return i;
    }
  }
  return shorter;
}

std::string sizeText(const std::string& bytes) {
  return bytes.size() > kBytesShown ? counted(bytes.size(), "byte") : bytes;
}

}  // namespace

bool isBad(Verdict verdict) {
  return verdict == Verdict::Failed || verdict == Verdict::Otherwise;
}

std::string hexDump(std::string_view bytes, std::size_t from, std::size_t count) {
  std::string text;
  const std::size_t end = std::min(bytes.size(), from + count);
  for (std::size_t line = from; line < end; line += kBytesPerLine) {
    std::array<char, 24> number{};
    std::snprintf(number.data(), number.size(), "%8zu ", line);
    std::string characters;
    text += number.data();
    for (std::size_t i = line; i < line + kBytesPerLine; ++i) {
      if (i >= end) {
        text += "   ";
        continue;
      }
      const auto byte = static_cast<unsigned char>(bytes[i]);
      std::snprintf(number.data(), number.size(), " %02x", byte);
      text += number.data();
      characters += byte >= 0x20U && byte < 0x7FU ? bytes[i] : '.';
    }
    text += "  " + characters + "\n";
  }
  return text;
}

void CheckNotes::same(const std::string& what, const std::string& expected, const std::string& came) {
  holds(what, expected == came, expected, came);
}

void CheckNotes::sameBytes(const std::string& what, const std::string& expected, const std::string& came) {
  CheckLine line{Verdict::Ok, what, sizeText(expected), {}, sizeText(came), {}};
  if (expected != came) {
    const std::size_t at = firstDifference(expected, came);
    const std::size_t from = (at > kBytesBefore ? at - kBytesBefore : 0) / kBytesPerLine * kBytesPerLine;
    line.verdict = Verdict::Failed;
    line.difference = "the first difference is at byte " + std::to_string(at) + " of " +
                      std::to_string(expected.size()) + " expected, " + std::to_string(came.size()) +
                      " that came\nexpected:\n" + hexDump(expected, from, kBytesShown) + "came:\n" +
                      hexDump(came, from, kBytesShown);
  }
  listener_(line);
}

void CheckNotes::holds(const std::string& what, bool isGood, const std::string& expected,
                       const std::string& came) {
  listener_({isGood ? Verdict::Ok : Verdict::Failed, what, expected, {}, came, {}});
}

void CheckNotes::differs(const std::string& what, const std::string& onWindows, bool isAsOnWindows,
                         const std::string& onWine, bool isAsOnWine, const std::string& came) {
  const Verdict verdict = isAsOnWindows ? Verdict::AsExpected
                          : isAsOnWine  ? Verdict::AsOnWine
                                        : Verdict::Otherwise;
  listener_({verdict, what, onWindows, onWine, came, {}});
}

void CheckNotes::notTried(const std::string& what, const std::string& expected, const std::string& why) {
  listener_({Verdict::NotTried, what, expected, {}, why, {}});
}

std::vector<CheckResult> runChecks(const std::vector<Check>& checks, const CheckRun& run,
                                   const Interruption& interruption) {
  std::vector<CheckResult> results;
  bool goesOn = true;
  for (const Check& check : checks) {
    goesOn = goesOn && !interruption;
    if (goesOn) {
      run.begins(check);
      results.push_back(Watch(check, run).wait());
      run.ends(results.back());
      goesOn = results.back().end == CheckResult::End::Ran;
    } else {
      CheckResult result;
      result.name = check.name;
      result.title = check.title;
      results.push_back(std::move(result));
    }
  }
  return results;
}

std::vector<Check> chosenChecks(const std::vector<Check>& checks, const std::vector<std::string>& names) {
  std::vector<std::string> known(checks.size());
  std::transform(checks.begin(), checks.end(), known.begin(), [](const Check& check) { return check.name; });
  for (const std::string& name : names) {
    if (std::find(known.begin(), known.end(), name) == known.end()) {
      const auto meant = nearest(name, known);
      throw Problem{kExitWrongUse, "There is no check " + onOneLine(name) + "." +
                                       (meant ? " Did you mean " + *meant + "?" : "") +
                                       " `kx selftest --list` lists them."};
    }
  }
  std::vector<Check> chosen;
  for (const Check& check : checks) {
    if (names.empty() || std::find(names.begin(), names.end(), check.name) != names.end()) {
      chosen.push_back(check);
    }
  }
  return chosen;
}

}  // namespace kx::cli
