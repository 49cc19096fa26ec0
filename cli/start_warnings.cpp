#include "cli/start_warnings.h"

#include "browser/browser_type.h"
#include "cli/text.h"

#include <cctype>

namespace kx::cli {
namespace {

bool isHexDigit(char c) {
  return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}

// A browser takes %41 in an address for "A".
bool hasEscape(const std::string& text) {
  for (std::size_t i = 0; i + 2 < text.size(); ++i) {
    if (text[i] == '%' && isHexDigit(text[i + 1]) && isHexDigit(text[i + 2])) {
      return true;
    }
  }
  return false;
}

bool has(const std::string& text, char c) {
  return text.find(c) != std::string::npos;
}

// Where a 32-bit browser of that name is installed; empty when the path is not below "Program Files".
std::string placeOf32Bit(const std::string& program) {
  const std::string folder = "\\Program Files\\";
  return program.find(folder) == std::string::npos ? std::string()
                                                   : replacedAll(program, folder, "\\Program Files (x86)\\");
}

class Collector {
 public:
  std::vector<Warning> take() { return std::move(warnings_); }
  void when(bool isSo, const char* id, const std::string& what, const std::string& wayRound) {
    if (isSo) {
      warnings_.push_back({id, what, wayRound});
    }
  }

 private:
  std::vector<Warning> warnings_;
};

void aboutPage(Collector& warn, const StartPlan& plan, const BrowserChoice& browser) {
  warn.when(
      has(plan.page, '#'), "temp-hash",
      "TEMP has a #, at which the browser cuts the start page's address: the extension is not told its pipe.",
      "Give the host a TEMP without #.");
  warn.when(hasEscape(plan.page), "temp-percent",
            "TEMP has a % and two digits, which the browser takes for a character: it does not find the "
            "start page.",
            "Give the host a TEMP without %.");
  warn.when(browser.runner && has(plan.page, ' '), "temp-blank",
            "TEMP has a blank, at which the runner's command line falls into two arguments.",
            "Give the host a TEMP without blanks.");
  warn.when(plan.pageError != 0, "temp-not-writable",
            "The start page cannot be written, error " + std::to_string(plan.pageError) + ".",
            "Let TEMP name a folder that exists and may be written to.");
}

void aboutProfile(Collector& warn, const StartPlan& plan, const BrowserChoice& browser) {
  const bool isFirefox = browser.type == kFirefox;
  const std::string profile = plan.profile.value_or("?");
  warn.when(
      profile.empty(), "empty-profile",
      isFirefox
          ? "The profile is empty: the browser is told neither a profile nor a pipe, and the library looks "
            "for a pipe that nobody is told of."
          : "The user data folder is empty: the browser gets no start page, and is not told its pipe.",
      "Name the profile, or leave --profile out.");
  warn.when(
      profile.ends_with('\\'), "trailing-backslash",
      "The profile ends in a backslash, which together with the double quote behind it is taken for a quote.",
      "Leave the backslash out.");
  const FirefoxChoice& choice = plan.choice;
  const bool isOther =
      isFirefox && !plan.profile && choice.firefoxProfile && *choice.firefoxProfile != plan.instanceProfile;
  warn.when(isOther, "firefox-chooses-another",
            "Firefox 67 and later starts with the profile \"" + choice.firefoxProfile.value_or("") +
                "\" of its [Install...] section; the library goes by Default=1, which marks \"" +
                plan.instanceProfile + "\".",
            "Give --profile \"" + choice.firefoxProfile.value_or("") + "\".");
  warn.when(isFirefox && plan.isLocked && plan.profile && plan.pipeState == PipeState::NotServed,
            "profile-in-use",
            "A running Firefox holds the profile and does not serve its pipe. With a profile given the "
            "library does "
            "not look: it launches a second one, which finds the profile in use.",
            "Close that Firefox, or switch its extension on.");
}

void aboutProgram(Collector& warn, const StartPlan& plan, const BrowserChoice& browser,
                  const Machine& machine) {
  const std::string& program = plan.program;
  warn.when(!has(program, '\\'), "no-backslash",
            "The program's path has no backslash, and therefore no folder to start it in (error 267).",
            "Write the whole path, with backslashes.");
  warn.when(has(program, '"'), "quoted-path",
            "The program's path has a double quote, which no path may have (error 123).",
            "Leave the quotes out, blanks in the path or not.");
  const std::string other = placeOf32Bit(program);
  warn.when(plan.programError != 0 && !browser.program && !other.empty() && machine.findProgram(other) == 0,
            "browser-of-32-bit",
            "A 32-bit browser is installed, in a folder where the library does not look: " + other + ".",
            "Give --program \"" + other + "\".");
}

}  // namespace

std::vector<Warning> startWarnings(const StartPlan& plan, const BrowserChoice& browser,
                                   const Machine& machine) {
  Collector warn;
  aboutPage(warn, plan, browser);
  aboutProfile(warn, plan, browser);
  aboutProgram(warn, plan, browser, machine);
  warn.when(machine.isElevated, "elevated",
            "This program runs elevated. The start lock of an elevated host shuts out the same user's other "
            "hosts, and a "
            "browser may not stay elevated.",
            "Run all hosts and browsers of a user unelevated.");
  warn.when(plan.lockState == LockState::Refused, "lock-refused",
            "The start lock belongs to a program with other rights: an attempt cannot have it, and a browser "
            "is launched "
            "although one may be running.",
            "Run all hosts and browsers of a user with the same rights.");
  warn.when(browser.timeoutSeconds == 0, "no-time-limit",
            "With --timeout 0 a browser that hangs holds the call for ever.", "Give a time-out.");
  return warn.take();
}

}  // namespace kx::cli
