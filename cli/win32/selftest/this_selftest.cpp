#include "cli/win32/selftest/this_selftest.h"

#include "cli/runs.h"
#include "cli/selftest.h"
#include "cli/text.h"
#include "cli/win32/processes.h"
#include "cli/win32/selftest/all_checks.h"
#include "cli/win32/selftest/machine_facts.h"
#include "cli/win32/simulator_program.h"
#include "cli/win32/this_machine.h"

#include <windows.h>
#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>

namespace kx::cli {
namespace {

// How long one check may take: many times what it takes on a slow machine.
constexpr std::chrono::milliseconds kPatience{45000};
constexpr std::size_t kMostOfLog = 8192;

std::string dateText() {
  SYSTEMTIME now{};
  ::GetSystemTime(&now);
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02d-%02d %02d:%02d:%02d", now.wYear, now.wMonth, now.wDay,
                now.wHour, now.wMinute, now.wSecond);
  return text.data();
}

// Looks after each check for processes that it has left running, and ends them.
std::vector<Check> watched(std::vector<Check> checks, std::string& leftRunning) {
  for (Check& check : checks) {
    check.run = [run = std::move(check.run), name = check.name, &leftRunning](CheckNotes& notes) {
      struct Look {
        const std::string& name;
        std::string& leftRunning;
        ~Look() {
          if (const std::size_t count = countDescendants(); count > 0) {
            leftRunning += (leftRunning.empty() ? "" : ", ") + std::to_string(count) + " of " + name;
            endDescendants();
          }
        }
      } const look{name, leftRunning};
      run(notes);
    };
  }
  return checks;
}

Check nothingLeft(Room& room, const std::string& leftRunning) {
  return {"nothing-left", "no process and no file stays behind", [&](CheckNotes& notes) {
            notes.same("processes left running", "none", leftRunning.empty() ? "none" : leftRunning);
            const std::string left = room.remove();
            notes.same("files left in TEMP", "none", left.empty() ? "none" : left);
          }};
}

void append(std::vector<Check>& checks, std::vector<Check> more) {
  for (Check& check : more) {
    checks.push_back(std::move(check));
  }
}

}  // namespace

int selfTest(const SelfTestArguments& arguments, const Surroundings& around) {
  struct Everything {
    Descendants simulators{false};
    Machine machine = thisMachine();
    Room room;
    std::string leftRunning;
    std::unique_ptr<Scene> scene;
  };
  Library& library = around.library();
  if (!isThere(simulatorPath())) {
    throw Problem{kExitProblem, simulatorPath() + " is not there. It belongs beside kx.exe."};
  }
  auto everything = std::make_unique<Everything>();
  everything->scene = std::make_unique<Scene>(Scene{everything->room, library, everything->machine});
  Scene& scene = *everything->scene;

  SelfTestGround ground;
  for (const auto& checksOf : {startChecks, playChecks, troubleChecks, severalChecks, windowsChecks}) {
    append(ground.checks, watched(checksOf(scene), everything->leftRunning));
  }
  ground.lastChecks = {nothingLeft(everything->room, everything->leftRunning)};
  ground.machine = machineFacts(everything->machine.isElevated);
  ground.patience = kPatience;
  ground.endWhatWasStarted = endDescendants;
  bool hasGivenUp = false;
  ground.giveUp = [&] {
    hasGivenUp = true;
    const std::string log = everything->room.log();
    return std::vector<Evidence>{
        {"the end of the library's log", log.substr(log.size() - std::min(log.size(), kMostOfLog))}};
  };
  ground.date = dateText();
  const int code = runSelfTest(arguments, ground, around);
  if (hasGivenUp) {
    // The check that is stuck still uses all of it.
    everything->room.remove();
    static_cast<void>(everything.release());
  }
  return code;
}

}  // namespace kx::cli
