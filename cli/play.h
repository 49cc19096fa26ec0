// kx play: plays macros in one or several browsers at once and prints what they leave.
#pragma once

#include "cli/arguments.h"
#include "cli/surroundings.h"

namespace kx::cli {

// Gives the exit code. Throws a Problem for what is wrong before anything is started.
int runPlay(PlayArguments arguments, const Surroundings& around);

}  // namespace kx::cli
