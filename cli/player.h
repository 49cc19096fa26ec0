// One context at work: starts its browser when the first run comes, plays run after run, starts afresh after
// a lost connection, and closes the browser that it launched. Belongs to one thread.
#pragma once

#include "cli/arguments.h"
#include "cli/library.h"
#include "cli/runs.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace kx::cli {

// Set by Ctrl-C: calls that are under way end, no further one is made.
using Interruption = std::atomic<bool>;

enum class StepKind { Start, Play, Message, Picture, Close };

// What a context is doing from now on, and how long that may take; 0 is without a limit.
struct Step {
  int context = 1;
  std::string what;
  int allowedSeconds = 0;
  StepKind kind = StepKind::Start;
  // 0 for what belongs to no run.
  std::size_t run = 0;
  Moment begun{};
};

// A step that has ended, and whether it went well.
struct EndedStep {
  Step step;
  Moment ended{};
  bool isGood = false;
};

struct PlayerEvents {
  std::function<void(const Step&)> began;
  std::function<void(RunResult)> ended;
  std::function<void(const EndedStep&)> stepEnded;
  // How long the library's log is at this moment.
  std::function<std::int64_t()> logSize;
};

class Player {
 public:
  // The number counts from 1. Everything given must outlive the player.
  Player(Library& library, const PlayArguments& arguments, const std::vector<Macro>& macros, int number,
         const Interruption& interruption, PlayerEvents events);
  Player(const Player&) = delete;
  Player& operator=(const Player&) = delete;
  ~Player();

  // Plays what it gets from the queue until that is empty, a start fails, or Ctrl-C came. Then exits. Gives
  // the part of the log that tells of this exit.
  LogRange playAll(RunQueue& queue);

 private:
  enum class Progress { Done, Failed, Lost };

  RunResult playWithRetries(const Run& run);
  Progress playOnce(RunResult& result);
  Progress startBrowser(RunResult& result);
  Progress playMacro(const Macro& macro, RunResult& result);
  Progress showMessage(RunResult& result);
  Progress takeScreenshot(RunResult& result);
  void exitBrowser();

  void begin(StepKind kind, const std::string& what);
  void endStep(bool isGood);
  // What the log has got since it was last asked for.
  LogRange newLog();
  // Keeps what the call left, and says what that means for the run.
  Progress judge(RunResult& result, const std::string& exportName, int callResult);
  StartCall startCall() const;

  Library& library_;
  const PlayArguments& arguments_;
  const std::vector<Macro>& macros_;
  int number_;
  const Interruption& interruption_;
  PlayerEvents events_;
  std::optional<std::string> profile_;
  int context_;
  bool hasBrowser_ = false;
  bool isOurs_ = false;
  bool wasStarted_ = false;  // the last start that was tried went well
  bool hasGivenUp_ = false;  // no browser could be started
  std::size_t run_ = 0;      // 0 between runs
  Step step_;
  std::int64_t logSize_;
};

// The picture's path for one run.
std::string screenshotPath(const std::string& pattern, std::size_t run);

}  // namespace kx::cli
