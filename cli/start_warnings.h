// What is known to go wrong with a start, each with the way round.
#pragma once

#include "cli/arguments.h"
#include "cli/firefox_choice.h"
#include "cli/machine.h"
#include "cli/start_facts.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kx::cli {

// A start's names and what the machine says of them.
struct StartPlan {
  std::string options;
  std::string program;
  std::uint32_t programError = 0;
  // As given; nothing when none was.
  std::optional<std::string> profile;
  // What the library calls it in names.
  std::string instanceProfile;
  std::string profilesPath;
  bool hasProfilesFile = false;
  FirefoxChoice choice;
  bool isLocked = false;
  std::string pipe;
  PipeState pipeState = PipeState::NotServed;
  // That of kxr_Init() for kx_Init() and the other way round; empty without a profile.
  std::string otherPipe;
  std::string lock;
  LockState lockState = LockState::Free;
  // Empty when none is written.
  std::string page;
  std::uint32_t pageError = 0;
  std::string commandLine;
};

std::vector<Warning> startWarnings(const StartPlan& plan, const BrowserChoice& browser,
                                   const Machine& machine);

}  // namespace kx::cli
