#include "soak/soak_host.h"

#include "soak/process_state.h"
#include "support/win32/dll.h"
#include "support/win32/environment_variable.h"
#include "support/win32/log_file.h"
#include "support/win32/log_signal.h"
#include "support/win32/named_mutex.h"
#include "support/win32/temp_folder.h"

#include <fstream>
#include <limits>

namespace {

constexpr char kLaunchVerb[] = "soak-launch";
constexpr char kFightVerb[] = "soak-fight";
constexpr char kHoldVerb[] = "soak-hold";
constexpr char kLockIsHeld[] = "Client: connecting to server";
constexpr int kEveryTime = std::numeric_limits<int>::max();

void report(const std::string& path, const std::string& text) {
  std::ofstream(std::filesystem::path(wide(path)), std::ios::binary) << text;
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

int launch(const LaunchingHost& host) {
  const EnvironmentVariable user("USERNAME", host.userName);
  const KxLibrary dll;
  std::string problems = cycle(dll, host.browser, host.options, host.program);
  const ProcessState before = ProcessState::now();
  for (int i = 1; i < host.cycles && problems.empty(); ++i) {
    problems = cycle(dll, host.browser, host.options, host.program);
  }
  if (problems.empty()) {
    problems = growth(before, ProcessState::now());
  }
  report(host.reportPath, problems);
  return problems.empty() ? 0 : 1;
}

int fight(const FightingHost& host) {
  const LogFile log;
  const KxLibrary dll;
  LockWatch watch(EnvironmentVariable::valueOf("USERNAME").value_or(""));
  if (!NamedEvent(host.go).wait(INFINITE)) {
    return 2;
  }
  std::string problems;
  for (int i = 0; i < host.cycles && problems.empty(); ++i) {
    log.clear();
    const LogSignal withTheLock(kLockIsHeld, 1, [&] { watch.look(); });
    problems = cycle(dll, "fx", "", "");
  }
  report(host.reportPath, problems);
  return problems.empty() ? 0 : 1;
}

int hold(const HoldingHost& host) {
  const LogFile log;
  const KxLibrary dll;
  const LogSignal withTheLock(kLockIsHeld, 1, [&] {
    NamedEvent(host.holding).signal();
    ::Sleep(INFINITE);
  });
  cycle(dll, "fx", "", "");
  return 1;
}

}  // namespace

SoakHost::SoakHost(const LaunchingHost& host) {
  process_.emplace(std::vector<std::string>{kLaunchVerb, host.userName, host.browser, host.options,
                                            host.program, host.reportPath, std::to_string(host.cycles)});
}

SoakHost::SoakHost(const FightingHost& host) {
  process_.emplace(
      std::vector<std::string>{kFightVerb, host.go, host.reportPath, std::to_string(host.cycles)});
}

SoakHost::SoakHost(const HoldingHost& host) {
  process_.emplace(std::vector<std::string>{kHoldVerb, host.holding});
}

LockWatch::LockWatch(const std::string& userName)
    : mapping_(::CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(Shared),
                                    wide("kxtest-lock-watch-" + userName).c_str())),
      lockName_("kx-fx-default." + userName + ".lock"),
      shared_(static_cast<Shared*>(::MapViewOfFile(mapping_, FILE_MAP_WRITE, 0, 0, sizeof(Shared)))) {}

LockWatch::~LockWatch() {
  ::UnmapViewOfFile(shared_);
  ::CloseHandle(mapping_);
}

void LockWatch::look() {
  const bool isAlone = ::InterlockedIncrement(&shared_->inside) == 1;
  const bool isKeptOut = stateOfMutex(lockName_) == MutexState::Owned;
  ::InterlockedDecrement(&shared_->inside);
  if (!isAlone || !isKeptOut) {
    ::InterlockedIncrement(&shared_->violations);
  }
  ::InterlockedIncrement(&shared_->looks);
}

long LockWatch::violations() const {
  return shared_->violations;
}

long LockWatch::looks() const {
  return shared_->looks;
}

std::optional<int> runAsSoakHost() {
  const std::vector<std::string> words = commandLineWords();
  if (words.size() < 3 || words[1] != kHelperSwitch) {
    return std::nullopt;
  }
  const std::vector<std::string> arguments(words.begin() + 3, words.end());
  if (words[2] == kLaunchVerb && arguments.size() == 6) {
    return launch(
        {arguments[0], arguments[1], arguments[2], arguments[3], arguments[4], std::stoi(arguments[5])});
  }
  if (words[2] == kFightVerb && arguments.size() == 3) {
    return fight({arguments[0], arguments[1], std::stoi(arguments[2])});
  }
  if (words[2] == kHoldVerb && arguments.size() == 1) {
    return hold({arguments[0]});
  }
  return std::nullopt;
}
