#include "cli/player.h"

#include "cli/catalogue.h"
#include "cli/text.h"
#include "common/platform.h"

#include <chrono>

namespace kx::cli {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kOk = 0;
constexpr int kSuccess = 1;
constexpr int kNoFolder = 3;  // what the library makes of an empty text as the browser's program
constexpr int kPictureOfBrowser = 0;
constexpr int kPictureOfPage = 1;

double secondsSince(Moment start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

}  // namespace

std::string screenshotPath(const std::string& pattern, std::size_t run) {
  return replacedAll(pattern, "{run}", std::to_string(run));
}

Player::Player(Library& library, const PlayArguments& arguments, const std::vector<Macro>& macros, int number,
               const Interruption& interruption, PlayerEvents events)
    : library_(library),
      arguments_(arguments),
      macros_(macros),
      number_(number),
      interruption_(interruption),
      events_(std::move(events)),
      profile_(profileOf(arguments.browser, number)),
      context_(library.createContext()),
      logSize_(events_.logSize ? events_.logSize() : 0) {}

Player::~Player() {
  library_.destroyContext(context_);
}

LogRange Player::playAll(RunQueue& queue) {
  while (!hasGivenUp_ && !interruption_) {
    const std::optional<Run> run = queue.next();
    if (!run) {
      break;
    }
    events_.ended(playWithRetries(*run));
  }
  if (!arguments_.stay) {
    exitBrowser();
  }
  return newLog();
}

RunResult Player::playWithRetries(const Run& run) {
  const Moment start = Clock::now();
  run_ = run.number;
  RunResult result;
  for (int retry = 0; retry <= arguments_.retries; ++retry) {
    const int attempts = result.attempts + 1;
    result = RunResult();
    result.run = run;
    result.context = number_;
    result.profile = profile_;
    result.attempts = attempts;
    const Progress progress = playOnce(result);
    if (progress == Progress::Lost) {
      exitBrowser();
    }
    if (interruption_ && progress != Progress::Done) {
      result.outcome = Outcome::Interrupted;
    }
    if (progress != Progress::Lost || interruption_) {
      break;
    }
  }
  hasGivenUp_ = result.outcome == Outcome::ConnectionFailed && !wasStarted_;
  result.began = start;
  result.seconds = secondsSince(start);
  result.log = newLog();
  run_ = 0;
  return result;
}

Player::Progress Player::playOnce(RunResult& result) {
  if (!hasBrowser_) {
    wasStarted_ = false;
    if (const Progress progress = startBrowser(result); progress != Progress::Done) {
      return progress;
    }
    wasStarted_ = true;
  }
  for (const Macro& macro : macros_) {
    if (interruption_) {
      return Progress::Failed;
    }
    if (const Progress progress = playMacro(macro, result); progress != Progress::Done) {
      result.macro = macro.name;
      return progress;
    }
  }
  const CallResult lastPlay = result.call;
  for (const auto& afterwards : {&Player::showMessage, &Player::takeScreenshot}) {
    if (const Progress progress = (this->*afterwards)(result); progress != Progress::Done) {
      return progress;
    }
  }
  result.call = lastPlay;
  return Progress::Done;
}

Player::Progress Player::startBrowser(RunResult& result) {
  const BrowserChoice& browser = arguments_.browser;
  const StartCall call = startCall();
  begin(StepKind::Start, std::string(browser.attach ? "looking for " : "starting ") +
                             (browser.type == "fx" ? "Firefox" : "Chrome") +
                             (profile_ ? ", profile " + *profile_ : std::string()));
  if (!browser.runner) {
    const int started = library_.start(context_, call);
    hasBrowser_ = started == kOk;
    isOurs_ = hasBrowser_ && library_.processId(context_) != 0;
    return judge(result, "kx_Init", started);
  }
  if (!browser.attach) {
    std::string failedExport;
    const int launched = library_.launchRunner(context_, call, failedExport);
    if (launched != kOk) {
      endStep(false);
      result.call = {failedExport, launched, 0, {}};
      result.outcome = Outcome::ConnectionFailed;
      return Progress::Lost;
    }
    isOurs_ = true;
  }
  const int started = library_.startRunner(context_, call);
  hasBrowser_ = started == kOk;
  return judge(result, "kxr_Init", started);
}

Player::Progress Player::playMacro(const Macro& macro, RunResult& result) {
  begin(StepKind::Play, "playing " + macro.name);
  for (const Variable& variable : result.run.variables) {
    library_.setVariable(context_, variable.first, variable.second);
  }
  const int played = library_.play(context_, macro.text, arguments_.browser.timeoutSeconds);
  const Progress progress = judge(result, "kx_Play", played);
  for (std::string& extract : library_.extracts(context_)) {
    result.extracts.push_back(std::move(extract));
  }
  for (PerformanceValue& value : library_.performance(context_)) {
    result.performance.push_back(std::move(value));
  }
  result.profilerData += library_.profilerData(context_);
  return progress;
}

Player::Progress Player::showMessage(RunResult& result) {
  if (arguments_.message.empty()) {
    return Progress::Done;
  }
  if (interruption_) {
    return Progress::Failed;
  }
  begin(StepKind::Message, "showing the message");
  return judge(result, "kx_Display",
               library_.display(context_, arguments_.message, arguments_.browser.timeoutSeconds));
}

Player::Progress Player::takeScreenshot(RunResult& result) {
  if (arguments_.screenshot.empty()) {
    return Progress::Done;
  }
  if (interruption_) {
    return Progress::Failed;
  }
  const std::string path = screenshotPath(arguments_.screenshot, result.run.number);
  begin(StepKind::Picture, "taking a picture");
  const Progress progress =
      judge(result, "kx_TakeBrowserScreenshot",
            library_.takeScreenshot(context_, path,
                                    arguments_.screenshotOfPage ? kPictureOfPage : kPictureOfBrowser,
                                    arguments_.browser.timeoutSeconds));
  if (progress == Progress::Done) {
    result.screenshot = path;
  }
  return progress;
}

// A browser that was running before is left as it is: a context that is destroyed does not tell it anything.
void Player::exitBrowser() {
  const int timeout = arguments_.browser.timeoutSeconds;
  if (isOurs_) {
    begin(StepKind::Close, "closing the browser");
    bool isGood = true;
    if (arguments_.browser.runner) {
      if (hasBrowser_) {
        isGood = library_.exitRunner(context_, timeout) == kOk;
      }
      library_.endRunner(context_, timeout);
    } else {
      isGood = library_.exit(context_, timeout) == kOk;
    }
    endStep(isGood);
  }
  library_.destroyContext(context_);
  context_ = library_.createContext();
  hasBrowser_ = false;
  isOurs_ = false;
}

void Player::begin(StepKind kind, const std::string& what) {
  step_ = {number_, what, arguments_.browser.timeoutSeconds, kind, run_, Clock::now()};
  events_.began(step_);
}

void Player::endStep(bool isGood) {
  if (events_.stepEnded) {
    events_.stepEnded({step_, Clock::now(), isGood});
  }
}

LogRange Player::newLog() {
  const std::int64_t begin = logSize_;
  logSize_ = events_.logSize ? events_.logSize() : 0;
  return {platform::currentThreadId(), begin, logSize_};
}

// A browser is started again after a lost connection, and goes on after an error of the extension's own.
Player::Progress Player::judge(RunResult& result, const std::string& exportName, int callResult) {
  result.call = {exportName, callResult, library_.errorNumber(context_), library_.errorText(context_)};
  const bool isGood = callResult == kOk && result.call.number == kSuccess;
  endStep(isGood);
  if (isGood) {
    result.outcome = Outcome::Ok;
    return Progress::Done;
  }
  const Catalogue& catalogue = Catalogue::builtIn();
  const bool isNobodyThere = exportName == "kx_Init" && arguments_.browser.attach && callResult == kNoFolder;
  result.reason = isNobodyThere ? &catalogue.row("pipe-not-served") : catalogue.find(result.call);
  const bool isLost = result.reason == nullptr || result.reason->kind != ErrorKind::Macro;
  result.outcome = isLost ? Outcome::ConnectionFailed : Outcome::MacroFailed;
  return isLost ? Progress::Lost : Progress::Failed;
}

// To attach, and do nothing else, is to be unable to launch: the library takes an empty text for no program.
StartCall Player::startCall() const {
  const BrowserChoice& browser = arguments_.browser;
  return {browser.type, libraryOptions(browser, profile_),
          browser.attach && !browser.runner ? std::optional<std::string>("") : browser.program,
          browser.newWindow, browser.timeoutSeconds};
}

}  // namespace kx::cli
