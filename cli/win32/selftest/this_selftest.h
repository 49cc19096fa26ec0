// kx selftest on the machine that this program runs on.
#pragma once

#include "cli/arguments.h"
#include "cli/surroundings.h"

namespace kx::cli {

// Gives the exit code. Throws a Problem when there is nothing to try.
int selfTest(const SelfTestArguments& arguments, const Surroundings& around);

}  // namespace kx::cli
