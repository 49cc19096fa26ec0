// kxsim.exe, which lies beside this program.
#pragma once

#include "cli/player.h"
#include "cli/sim.h"

#include <string>

namespace kx::cli {

// Its whole path.
std::string simulatorPath();

// Runs it as a child of this process, outside the reach of Ctrl-C, which only this process gets.
RunSimulator simulatorProgram(const Interruption& interruption);

}  // namespace kx::cli
