// What a start would do on a machine, and why: a list of facts, and warnings of what is known to go wrong.
// The names, lines and numbers are worked out by the library's own functions.
#pragma once

#include "cli/arguments.h"
#include "cli/machine.h"

#include <string>
#include <vector>

namespace kx::cli {

struct Fact {
  std::string key;
  std::string value;
  // Why it is so, or what follows from it; may be empty.
  std::string why;
};

struct Warning {
  std::string id;
  std::string what;
  std::string wayRound;
};

struct StartFacts {
  // What a start would do now, in one sentence.
  std::string verdict;
  std::vector<Fact> facts;
  std::vector<Warning> warnings;
};

// The well-known pipe at which a start looks.
std::string pipeOfStart(const BrowserChoice& browser, const Machine& machine);

StartFacts startFacts(const BrowserChoice& browser, const Machine& machine);

}  // namespace kx::cli
