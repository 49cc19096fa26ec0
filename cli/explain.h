// kx explain: tells what a start would do and why. Changes nothing.
#pragma once

#include "cli/arguments.h"
#include "cli/machine.h"
#include "cli/palette.h"

#include <string>

namespace kx::cli {

// The text for people or, when asked for, JSON.
std::string explain(const ExplainArguments& arguments, const Machine& machine, const Palette& palette);

}  // namespace kx::cli
