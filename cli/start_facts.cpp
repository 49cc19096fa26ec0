#include "cli/start_facts.h"

#include "api/browser_arguments.h"
#include "api/options.h"
#include "browser/browser_type.h"
#include "cli/bounds.h"
#include "cli/firefox_choice.h"
#include "cli/start_warnings.h"
#include "cli/text.h"
#include "common/md5.h"
#include "common/platform.h"
#include "common/strings.h"
#include "pipe/start_page.h"
#include "process/command_line.h"
#include "process/default_paths.h"
#include "process/pipe_names.h"

namespace kx::cli {
namespace {

std::string environment(const char* name) {
  return platform::environmentVariable(name).value_or("");
}

std::string secondsText(const std::optional<std::int64_t>& seconds) {
  return seconds ? std::to_string(*seconds) + " s" : "for ever";
}

std::string pipeText(PipeState state) {
  switch (state) {
    case PipeState::Served:
      return "somebody serves it now";
    case PipeState::Busy:
      return "somebody serves it now, and is busy with another host";
    case PipeState::NotServed:
      break;
  }
  return "nobody serves it now";
}

std::string programText(std::uint32_t error) {
  constexpr std::uint32_t kFileNotFound = 2;
  return error == 0 ? "it is there"
                    : (error == kFileNotFound ? "it is not there"
                                              : "it cannot be looked at, error " + std::to_string(error));
}

// What the names, the profile and the arguments of a start are, before anything is asked of the machine.
class Plan {
 public:
  Plan(const BrowserChoice& browser, const Machine& machine) : browser_(browser) {
    plan_.profile = profileOf(browser, 1);
    plan_.options = libraryOptions(browser, plan_.profile);
    plan_.program = browser.program.value_or(machine.defaultProgram(browser.type));
    if (browser.type == kFirefox) {
      plan_.profilesPath = firefoxProfilesPath(environment("APPDATA"));
      if (const auto text = machine.fileText(plan_.profilesPath)) {
        plan_.hasProfilesFile = true;
        plan_.choice = firefoxChoice(*text);
        profiles_ = parseFirefoxProfiles(*text);
      }
    }
    name();
    if (plan_.profile && !plan_.profile->empty() && (browser.type != kFirefox || !browser.runner)) {
      plan_.page = startPagePath(md5Hex(stripTrailingBackslash(*plan_.profile)));
    }
    writeCommandLine();
  }

  StartPlan take() { return std::move(plan_); }

 private:
  void name() {
    const Options options = parseOptions(plan_.options.c_str());
    const std::string given = browser_.runner ? runnerBrowser(browser_.type, options).pipeName
                                              : initPipeName(browser_.type, options);
    const std::string user = environment("USERNAME");
    const ServerPipe pipe = given.empty() ? defaultServerPipe(browser_.type, user, profiles_)
                                          : explicitServerPipe(browser_.type, given, user);
    plan_.pipe = pipe.pipePath;
    plan_.instanceProfile = pipe.profileName;
    plan_.lock = startLockName(browser_.type, pipe.profileName, user);
    BrowserChoice other = browser_;
    other.runner = !browser_.runner;
    const Options otherOptions = parseOptions(libraryOptions(other, plan_.profile).c_str());
    if (plan_.profile) {
      plan_.otherPipe = other.runner ? runnerBrowser(browser_.type, otherOptions).pipeName
                                     : initPipeName(browser_.type, otherOptions);
    }
  }

  void writeCommandLine() {
    const Options options = parseOptions(plan_.options.c_str());
    const char* const page = plan_.page.empty() ? nullptr : plan_.page.c_str();
    if (browser_.runner) {
      plan_.commandLine =
          quotedIfNeeded(plan_.program) + " " +
          runnerCommandLine(browser_.type, runnerBrowser(browser_.type, options), browser_.profiler, page);
    } else {
      plan_.commandLine =
          commandLine(plan_.program, startArguments(browser_.type, options, plan_.pipe, page).arguments);
    }
  }

  const BrowserChoice& browser_;
  FirefoxProfileList profiles_;
  StartPlan plan_;
};

void ask(StartPlan& plan, const BrowserChoice& browser, const Machine& machine) {
  plan.programError = machine.findProgram(plan.program);
  plan.pipeState = machine.pipe(plan.pipe);
  plan.lockState = machine.lock(plan.lock);
  plan.pageError = plan.page.empty() ? 0 : machine.writing(plan.page);
  // The library looks at the lock of the profile whose name it knows; a user wants to know of the own one.
  plan.isLocked = machine.profileIsLocked(browser.type, plan.profile.value_or(plan.instanceProfile));
}

std::string whyProfile(const StartPlan& plan, const BrowserChoice& browser) {
  if (plan.profile) {
    return "given by --profile";
  }
  if (browser.type != kFirefox) {
    return "none was given: Chrome takes its own";
  }
  if (!plan.hasProfilesFile) {
    return "there is no " + plan.profilesPath;
  }
  if (plan.choice.profile) {
    return "section [" + plan.choice.section + "] of " + plan.profilesPath + ", line " +
           std::to_string(plan.choice.line) + ", marks it with Default=1";
  }
  return plan.choice.isAskedFor ? "StartWithLastProfile=0 in " + plan.profilesPath + ": Firefox asks its user"
                                : "no section of " + plan.profilesPath + " is marked with Default=1";
}

std::string lockText(LockState state) {
  switch (state) {
    case LockState::Held:
      return "another start holds it now: a start waits for it, up to ten minutes at each attempt";
    case LockState::Refused:
      return "it belongs to a program with other rights, an elevated one for example";
    case LockState::Free:
      break;
  }
  return "nobody holds it now";
}

std::string verdictOf(const StartPlan& plan, const BrowserChoice& browser, const StartBounds& bounds) {
  if (plan.pipeState == PipeState::Served) {
    return "A start would attach to the browser that serves the pipe.";
  }
  if (plan.pipeState == PipeState::Busy) {
    return "A start would wait for the busy pipe, up to five seconds at each attempt.";
  }
  if (browser.attach) {
    return "A start would fail: nobody serves the pipe, and --attach launches no browser.";
  }
  const std::string attempts =
      counted(static_cast<std::size_t>(bounds.attempts), "attempt") + ", " + secondsText(bounds.nobodyServes);
  if (plan.isLocked && !browser.runner && !plan.profile) {
    return "A start would launch nothing, since a running Firefox holds the profile, and wait for its "
           "extension: " +
           attempts + ".";
  }
  if (plan.pageError != 0) {
    return "A start would fail: the start page cannot be written, error " + std::to_string(plan.pageError) +
           ".";
  }
  if (plan.programError != 0) {
    return "A start would fail: the program " + programText(plan.programError).substr(3) + ".";
  }
  return "A start would launch the browser and try to connect: up to " + attempts + ".";
}

}  // namespace

std::string pipeOfStart(const BrowserChoice& browser, const Machine& machine) {
  return Plan(browser, machine).take().pipe;
}

StartFacts startFacts(const BrowserChoice& browser, const Machine& machine) {
  StartPlan plan = Plan(browser, machine).take();
  ask(plan, browser, machine);
  const StartBounds bounds = startBounds(browser.runner, browser.timeoutSeconds);

  StartFacts result;
  result.verdict = verdictOf(plan, browser, bounds);
  const auto add = [&](const char* key, const std::string& value, const std::string& why = "") {
    result.facts.push_back({key, value, why});
  };
  const std::string family = browser.runner ? "kxr_Init" : "kx_Init";
  const std::string otherFamily = browser.runner ? "kx_Init" : "kxr_Init";
  add("browser", browser.type == kFirefox ? "Firefox" : "Chrome",
      family + ", browser \"" + browser.type + "\"");
  add("options", plan.options.empty() ? "none" : plan.options);
  add("program", plan.program,
      programText(plan.programError) + (browser.program ? "" : "; the one place where the library looks"));
  add("profile", plan.profile ? (plan.profile->empty() ? "(empty)" : *plan.profile) : plan.instanceProfile,
      whyProfile(plan, browser));
  if (browser.type == kFirefox) {
    add("profile lock", plan.isLocked ? "held" : "free",
        plan.isLocked ? "a running Firefox has the profile"
                      : "no running Firefox is known to have the profile");
  }
  add("pipe", plan.pipe, family + ": " + pipeText(plan.pipeState));
  if (!plan.otherPipe.empty() && plan.otherPipe != plan.pipe) {
    add("other family's pipe", plan.otherPipe, otherFamily + ": " + pipeText(machine.pipe(plan.otherPipe)));
  }
  add("start lock", plan.lock, lockText(plan.lockState));
  if (!plan.page.empty()) {
    add("start page", plan.page,
        plan.pageError == 0 ? "it can be written"
                            : "it cannot be written, error " + std::to_string(plan.pageError));
  }
  add("command line", plan.commandLine);
  add("attempts", std::to_string(bounds.attempts),
      "from --timeout " + std::to_string(browser.timeoutSeconds));
  add("longest, nobody serves", secondsText(bounds.nobodyServes));
  add("longest, no connection back", secondsText(bounds.noConnectionBack));
  add("longest of all", secondsText(bounds.slowest), "when every wait takes its whole time");
  add("log", machine.logPath.empty() ? "nowhere" : machine.logPath,
      machine.isLogOn ? "KORVEX_LOG is on: everything"
                      : (machine.logPath.empty() ? "KORVEX_LOG is off" : "KORVEX_LOG is off: errors only"));
  result.warnings = startWarnings(plan, browser, machine);
  return result;
}

}  // namespace kx::cli
