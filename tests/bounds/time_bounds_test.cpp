// How long each export may block, measured on a staged clock, and compared with what docs/time-bounds.md
// tells hosts.
#include "api/kxtcp64.h"
#include "api/win32/context_registry.h"
#include "bounds/staged_world.h"
#include "support/win32/debugger_lines.h"
#include "support/win32/helper_process.h"
#include "support/win32/temp_folder.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace kx {

namespace {

using Peer = StagedWorld::Peer;

// The time-outs of the page's columns. A negative one counts as the last of them.
constexpr std::array<int, 5> kTimeouts = {0, 1, 10, 60, 600};

// ---- Peers -----------------------------------------------------------------------------------------------

Way allAtOnce(Moment) {
  return Way::AtOnce;
}

Way serveNothing(Moment moment) {
  return moment == Moment::OpenPipe ? Way::Missing : Way::AtOnce;
}

Way takeTheNameAndStayAway(Moment moment) {
  return moment == Moment::ConnectBack ? Way::Never : Way::AtOnce;
}

Way neverAnswer(Moment moment) {
  return moment == Moment::ReadAnswer ? Way::Never : Way::AtOnce;
}

Way answerAndStay(Moment moment) {
  return moment == Moment::BrowserEnd ? Way::Never : Way::AtOnce;
}

// Everything comes well, and at the last moment; the browser does not end.
Way lastMoment(Moment moment) {
  return moment == Moment::BrowserEnd ? Way::Never : Way::Late;
}

// Serves nothing the first time, so that the browser is launched.
Peer launchedThen(Peer peer) {
  return [peer = std::move(peer), isFirst = true](Moment moment) mutable {
    return moment == Moment::OpenPipe && std::exchange(isFirst, false) ? Way::Missing : peer(moment);
  };
}

// Every connection breaks at the last moment, so many times; then everything comes at the last moment.
Peer breakTimes(int times) {
  return [times](Moment moment) mutable {
    return moment == Moment::ConnectBack && times-- > 0 ? Way::Broken : lastMoment(moment);
  };
}

// The same, but the first request is not answered. The browser, which was launched after the first break,
// takes the exit request and answers it at once, and then does not end.
Peer breakTimesAndStay(int times) {
  return [breaking = breakTimes(times), isGivenUp = false](Moment moment) mutable {
    if (moment == Moment::ReadAnswer && !std::exchange(isGivenUp, true)) {
      return Way::Never;
    }
    return isGivenUp ? answerAndStay(moment) : breaking(moment);
  };
}

Peer answerInPieces(int pieces) {
  return [left = pieces](Moment moment) mutable {
    return moment == Moment::ReadAnswer && --left > 0 ? Way::Piece : lastMoment(moment);
  };
}

// ---- Calls -----------------------------------------------------------------------------------------------

int initChrome(int context, int timeout) {
  return kx_Init(context, "cr", nullptr, ownProgramPath().c_str(), 0, 0, timeout);
}
int initRunner(int context, int timeout) {
  return kxr_Init(context, "cr", "-runner -crUserDataDir C:\\data", 0, timeout);
}

enum class Before { NoBrowser, Browser };

// A call as hosts make it, and what it needs.
struct TimedCall {
  Before before;
  std::function<int(int context, int timeout)> make;
};

const TimedCall kTimedInit = {Before::NoBrowser, initChrome};
const TimedCall kTimedRunnerInit = {Before::NoBrowser, initRunner};
const TimedCall kTimedPlay = {Before::Browser,
                              [](int context, int timeout) { return kx_Play(context, "macro", timeout); }};
const TimedCall kTimedDisplay = {
    Before::Browser, [](int context, int timeout) { return kx_Display(context, "message", timeout); }};
const TimedCall kTimedScreenshot = {Before::Browser, [](int context, int timeout) {
                                      return kx_TakeBrowserScreenshot(context, "C:\\p.png", 0, timeout);
                                    }};
const TimedCall kTimedExit = {Before::Browser, kx_Exit};
const TimedCall kTimedRunnerExit = {Before::Browser, kxr_Exit};

struct Measured {
  bool isForEver = false;
  std::uint64_t seconds = 0;
  bool closes = false;
};

std::string textOf(const Measured& time) {
  return time.isForEver ? "for ever" : std::to_string(time.seconds);
}

class TimeBounds : public ::testing::Test {
 protected:
  TimeBounds() { openContextRegistry(); }
  ~TimeBounds() override { closeContextRegistry(false); }

  Measured measure(const TimedCall& call, int timeout, Peer peer, int busyRounds = 0) {
    const int context = kx_ContextCreate();
    if (call.before == Before::Browser) {
      world_.restart(allAtOnce);
      EXPECT_EQ(initChrome(context, 10), KX_OK);
    }
    lines_.clear();
    world_.restart(std::move(peer));
    world_.setBusyRounds(busyRounds);
    call.make(context, timeout);
    const Measured time = {world_.waitedForEver(), world_.waitedMilliseconds() / 1000, world_.flushes() > 0};
    EXPECT_EQ(world_.waitedMilliseconds() % 1000, 0U);
    world_.restart(allAtOnce);
    kx_Exit(context, 1);
    kx_ContextDestroy(context);
    return time;
  }

  StagedWorld world_{allAtOnce};
  // Nobody reads the lines, but handing them to somebody is much quicker than finding that nobody listens.
  DebuggerLines lines_;
};

// ---- The page --------------------------------------------------------------------------------------------

// How many connections of a start break at most: that of the last attempt succeeds.
int breaksOfInit(int timeout) {
  return timeout == 0 ? 10 : std::max(timeout / 2, 1);
}
int breaksOfRunner(int timeout) {
  return timeout == 0 ? 0 : timeout + 1;
}

struct Row {
  std::string call;
  std::string situation;
  TimedCall timed;
  std::function<Peer(int timeout)> peer;
};

std::function<Peer(int)> always(Peer peer) {
  return [peer = std::move(peer)](int) { return peer; };
}

const std::vector<Row>& rows() {
  static const std::vector<Row> all = {
      {"`kx_Init`", "nobody serves the pipe, launch or not", kTimedInit, always(serveNothing)},
      {"`kx_Init`", "the extension takes the name and does not connect", kTimedInit,
       always(takeTheNameAndStayAway)},
      {"`kx_Init`", "it attached, and the first request is not answered", kTimedInit, always(neverAnswer)},
      {"`kx_Init`", "it launched, and the first request is not answered", kTimedInit,
       [](int) { return launchedThen(neverAnswer); }},
      {"`kx_Init`", "the slowest start whose browser answers the exit request at once", kTimedInit,
       [](int timeout) { return breakTimesAndStay(breaksOfInit(timeout)); }},
      {"`kxr_Init`", "nobody serves the pipe", kTimedRunnerInit, always(serveNothing)},
      {"`kxr_Init`", "the extension takes the name and does not connect", kTimedRunnerInit,
       always(takeTheNameAndStayAway)},
      {"`kxr_Init`", "the first request is not answered", kTimedRunnerInit, always(neverAnswer)},
      {"`kxr_Init`", "the slowest start", kTimedRunnerInit,
       [](int timeout) { return breakTimes(breaksOfRunner(timeout)); }},
      {"`kx_Play`", "not answered", kTimedPlay, always(neverAnswer)},
      {"`kx_Play`", "taken and answered at the last moment", kTimedPlay, always(lastMoment)},
      {"`kx_Play`", "the same, with an answer in 5 pieces", kTimedPlay,
       [](int) { return answerInPieces(5); }},
      {"`kx_Display`", "taken and answered at the last moment", kTimedDisplay, always(lastMoment)},
      {"`kx_TakeBrowserScreenshot`", "taken and answered at the last moment", kTimedScreenshot,
       always(lastMoment)},
      {"`kx_Exit`", "not answered", kTimedExit, always(neverAnswer)},
      {"`kx_Exit`", "answered at once, and the process stays", kTimedExit, always(answerAndStay)},
      {"`kx_Exit`", "taken and answered at the last moment, and the process stays", kTimedExit,
       always(lastMoment)},
      {"`kxr_Exit`", "not answered", kTimedRunnerExit, always(neverAnswer)},
      {"`kxr_Exit`", "taken and answered at the last moment", kTimedRunnerExit, always(lastMoment)},
  };
  return all;
}

std::vector<std::string> tableOfThePage() {
  std::istringstream page(fileBytes(KX_GOLDEN_DIR "/../../docs/time-bounds.md"));
  std::vector<std::string> table;
  for (std::string line; std::getline(page, line);) {
    if (line.starts_with("| `kx")) {
      table.push_back(line);
    }
  }
  return table;
}

TEST_F(TimeBounds, TheBoundsAreThoseOfThePage) {
  std::vector<std::string> table;
  for (const Row& row : rows()) {
    std::string line = "| " + row.call + " | " + row.situation + " |";
    bool closes = false;
    for (const int timeout : kTimeouts) {
      const Measured time = measure(row.timed, timeout, row.peer(timeout));
      line += " " + textOf(time) + " |";
      closes = closes || time.closes;
    }
    table.push_back(line + (closes ? " yes |" : " no |"));
  }

  EXPECT_EQ(tableOfThePage(), table) << ::testing::PrintToString(table);
}

TEST_F(TimeBounds, ANegativeTimeoutIsBoundedAsOneOfTenMinutes) {
  for (const Row& row : rows()) {
    SCOPED_TRACE(row.call + ": " + row.situation);
    EXPECT_EQ(textOf(measure(row.timed, -1, row.peer(600))), textOf(measure(row.timed, 600, row.peer(600))));
  }
}

// ---- Whatever a peer does --------------------------------------------------------------------------------

const std::vector<Way>& waysAt(Moment moment) {
  static const std::vector<Way> lock = {Way::Late, Way::Never};
  static const std::vector<Way> open = {Way::Late, Way::Missing};
  static const std::vector<Way> connection = {Way::Late, Way::Broken, Way::Never};
  // The exit request of a start that gives up has no limit, so it counts only when it is answered at once.
  static const std::vector<Way> exchange = {Way::Late, Way::Broken, Way::Never, Way::AtOnce};
  switch (moment) {
    case Moment::StartLock:
    case Moment::BrowserEnd:
      return lock;
    case Moment::OpenPipe:
      return open;
    case Moment::WriteName:
    case Moment::ConnectBack:
      return connection;
    default:
      return exchange;
  }
}

// Goes through every sequence of choices that a call can meet.
class EveryPeer {
 public:
  Peer peer() {
    depth_ = 0;
    return [this](Moment moment) { return choose(moment); };
  }

  // Turns to the next sequence; false when there is none.
  bool next() {
    while (!choices_.empty() && choices_.back() + 1 == counts_.back()) {
      choices_.pop_back();
      counts_.pop_back();
    }
    if (choices_.empty()) {
      return false;
    }
    ++choices_.back();
    return true;
  }

 private:
  Way choose(Moment moment) {
    const std::vector<Way>& ways = waysAt(moment);
    if (depth_ == choices_.size()) {
      choices_.push_back(0);
      counts_.push_back(ways.size());
    }
    return ways[choices_[depth_++]];
  }

  std::vector<std::size_t> choices_;
  std::vector<std::size_t> counts_;
  std::size_t depth_ = 0;
};

class WhateverAPeerDoes : public TimeBounds {
 protected:
  // The longest of the waits that end. An answer comes in one piece.
  Measured longest(const TimedCall& call, int timeout) {
    EveryPeer every;
    Measured result;
    do {
      const Measured time = measure(call, timeout, every.peer());
      result.isForEver = result.isForEver || time.isForEver;
      result.seconds = time.isForEver ? result.seconds : std::max(result.seconds, time.seconds);
      ++peers_;
    } while (every.next());
    return result;
  }

  int peers_ = 0;
};

TEST_F(WhateverAPeerDoes, AStartTakesNoLongerThanTheSlowestOneUnlessItsExitRequestIsNotAnswered) {
  constexpr int kThreeAttempts = 4;

  const Measured time = longest(kTimedInit, kThreeAttempts);

  EXPECT_EQ(time.seconds,
            measure(kTimedInit, kThreeAttempts, breakTimesAndStay(breaksOfInit(kThreeAttempts))).seconds);
  EXPECT_TRUE(time.isForEver) << "the exit request to a browser that was launched has no limit";
  EXPECT_GT(peers_, 1000);
}

TEST_F(WhateverAPeerDoes, ARunnersStartTakesNoLongerThanTheSlowestOne) {
  const Measured time = longest(kTimedRunnerInit, 1);

  EXPECT_EQ(time.seconds, measure(kTimedRunnerInit, 1, breakTimes(breaksOfRunner(1))).seconds);
  EXPECT_FALSE(time.isForEver);
  EXPECT_GT(peers_, 500);
}

TEST_F(WhateverAPeerDoes, ARequestTakesNoLongerThanItsWriteAndItsRead) {
  for (const TimedCall& call : {kTimedPlay, kTimedDisplay, kTimedScreenshot, kTimedRunnerExit}) {
    const Measured time = longest(call, 10);

    EXPECT_EQ(time.seconds, 20U);
    EXPECT_FALSE(time.isForEver);
  }
}

TEST_F(WhateverAPeerDoes, AnExitTakesNoLongerThanItsRequestAndTheBrowsersEnd) {
  const Measured time = longest(kTimedExit, 10);

  EXPECT_EQ(time.seconds, 30U);
  EXPECT_FALSE(time.isForEver);
}

// ---- What has no bound -----------------------------------------------------------------------------------

TEST_F(TimeBounds, APipeThatStaysBusyHoldsAStartFiveSecondsEachTime) {
  constexpr int kRounds = 1000;

  EXPECT_EQ(measure(kTimedInit, 1, allAtOnce, kRounds).seconds, 5000U);
  EXPECT_EQ(measure(kTimedRunnerInit, 1, allAtOnce, kRounds).seconds, 5000U);
}

TEST_F(TimeBounds, EveryPieceOfAnAnswerMayTakeTheWholeTimeout) {
  EXPECT_EQ(measure(kTimedPlay, 7, answerInPieces(50)).seconds, 7U + 50U * 7U);
}

TEST_F(TimeBounds, AllOtherExportsDoNotWait) {
  const int context = kx_ContextCreate();
  ASSERT_EQ(initChrome(context, 10), KX_OK);
  world_.restart(lastMoment);
  std::array<char, 4096> text{};
  int size = static_cast<int>(text.size());

  EXPECT_GE(kx_GetLastErrorNumber(context), 0);
  EXPECT_GT(kx_GetLastErrorText(context, text.data(), size), 0);
  EXPECT_EQ(kx_SetVar(context, "name", "value"), KX_OK);
  EXPECT_EQ(kx_GetLastExtract(context, text.data(), size, 1), 0);
  EXPECT_GT(kx_GetPerformance(context, text.data(), size), 0);
  EXPECT_EQ(kx_GetLastPerformance(context, 1, text.data(), &size, text.data(), &size), KX_FAILED);
  EXPECT_EQ(kx_GetBrowserProcessId(context), 0);
  EXPECT_EQ(kxr_GetCommandLine("cr", "-runner -crUserDataDir C:\\data", text.data(), size, nullptr), KX_OK);
  kx_ContextDestroy(kx_ContextCreate());
  // The context's browser is let go, not closed.
  kx_ContextDestroy(context);

  EXPECT_FALSE(world_.waitedForEver());
  EXPECT_EQ(world_.waitedMilliseconds(), 0U);
  EXPECT_EQ(world_.flushes(), 0);
}

}  // namespace

}  // namespace kx
