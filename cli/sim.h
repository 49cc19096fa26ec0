// kx sim: starts the simulator that lies beside this program, with misbehaviours that the simulator itself
// lists, and shows what it gets, for people who test a host of their own.
#pragma once

#include "cli/arguments.h"
#include "cli/machine.h"
#include "cli/surroundings.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kx::cli {

struct Misbehaviour {
  std::string name;
  std::string what;
  std::string script;
};

// The list as the simulator prints it.
std::vector<Misbehaviour> readMisbehaviours(std::string_view list);

// Runs the simulator with these words as its arguments. What it prints is taken piece by piece, cut anywhere.
// Gives its exit code, or nothing when Ctrl-C has ended it. Throws a Problem when it cannot be started.
using RunSimulator = std::function<std::optional<int>(const std::vector<std::string>& words,
                                                      const std::function<void(std::string_view)>& take)>;

// Gives the exit code.
int runSim(const SimArguments& arguments, const Machine& machine, const RunSimulator& run,
           const Surroundings& around);

}  // namespace kx::cli
