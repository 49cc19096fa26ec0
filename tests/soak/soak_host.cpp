#include "soak/soak_host.h"

#include "soak/process_state.h"
#include "support/environment.h"
#include "support/win32/dll.h"
#include "support/win32/log_file.h"
#include "support/win32/log_signal.h"
#include "support/win32/named_mutex.h"

#include <fstream>

namespace {

constexpr char kLaunchVerb[] = "soak-launch";
constexpr char kFightVerb[] = "soak-fight";
constexpr char kHoldVerb[] = "soak-hold";
constexpr char kLockIsHeld[] = "Client: connecting to server";

int report(const std::string& path, const std::string& problems) {
  std::ofstream(std::filesystem::path(wide(path)), std::ios::binary) << problems;
  return problems.empty() ? 0 : 1;
}

// What a cycle expects and does not get; empty when all went well.
std::string cycle(const KxLibrary& dll, const std::string& browser, const std::string& options,
                  const std::string& program) {
  const int context = dll.kx_ContextCreate();
  std::string problem;
  if (dll.kx_Init(context, browser.c_str(), options.c_str(), program.c_str(), 0, 0, 120) != KX_OK) {
    problem = "no start: " + dll.lastErrorText(context) + "\n";
  } else {
    if (dll.kx_Play(context, "extract x", 120) != KX_OK) {
      problem = "no play: " + dll.lastErrorText(context) + "\n";
    }
    if (dll.kx_Exit(context, 120) != KX_OK) {
      problem += "no exit\n";
    }
  }
  dll.kx_ContextDestroy(context);
  return problem;
}

int launch(const HostWords& words) {
  const EnvironmentVariable user("USERNAME", words[0]);
  const KxLibrary dll;
  std::string problems = cycle(dll, words[1], words[2], words[3]);
  const ProcessState before = ProcessState::now();
  for (int i = std::stoi(words[5]); i > 1 && problems.empty(); --i) {
    problems = cycle(dll, words[1], words[2], words[3]);
  }
  return report(words[4], problems.empty() ? growth(before, ProcessState::now()) : problems);
}

int fight(const HostWords& words) {
  const LogFile log;
  const KxLibrary dll;
  const std::string user = EnvironmentVariable::valueOf("USERNAME").value_or("");
  const NamedMutex inside("kxtest-inside-" + user);
  std::string problems = NamedEvent(words[0]).wait(INFINITE) ? "" : "no signal to begin\n";
  for (int i = std::stoi(words[2]); i > 0 && problems.empty(); --i) {
    log.clear();
    bool wasAlone = false;
    const LogSignal withTheLock(kLockIsHeld, 1, [&] {
      wasAlone = inside.acquire() && stateOfMutex("kx-fx-default." + user + ".lock") == MutexState::Owned;
      inside.release();
    });
    problems = cycle(dll, "fx", "", "");
    problems += wasAlone ? "" : "the lock was not its own\n";
  }
  return report(words[1], problems);
}

int hold(const HostWords& words) {
  const LogFile log;
  const KxLibrary dll;
  const LogSignal withTheLock(kLockIsHeld, 1, [&] {
    NamedEvent(words[0]).signal();
    ::Sleep(INFINITE);
  });
  cycle(dll, "fx", "", "");
  return 1;
}

}  // namespace

HostWords launchingHost(const std::string& userName, const std::string& browser, const std::string& options,
                        const std::string& program, const std::string& reportPath, int cycles) {
  return {kLaunchVerb, userName, browser, options, program, reportPath, std::to_string(cycles)};
}

HostWords fightingHost(const NamedEvent& go, const std::string& reportPath, int cycles) {
  return {kFightVerb, go.name(), reportPath, std::to_string(cycles)};
}

HostWords holdingHost(const NamedEvent& holding) {
  return {kHoldVerb, holding.name()};
}

std::optional<int> runAsSoakHost() {
  const std::vector<std::string> words = commandLineWords();
  if (words.size() < 4 || words[1] != kHelperSwitch) {
    return std::nullopt;
  }
  const HostWords arguments(words.begin() + 3, words.end());
  return words[2] == kLaunchVerb  ? launch(arguments)
         : words[2] == kFightVerb ? fight(arguments)
         : words[2] == kHoldVerb  ? std::optional(hold(arguments))
                                  : std::nullopt;
}
