// Ready-made misbehaviours: each has a name, and a piece of script that does it. The command line and the
// environment choose them; their list is printed for people, and for programs that start the simulator.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace kxsim {

struct Misbehaviour {
  std::string_view name;
  std::string_view what;    // what the browser does, as the end of a sentence that begins with "The browser"
  std::string_view script;  // lines, each with its line end
};

std::span<const Misbehaviour> misbehaviours();

// For each one a line "name: what", and its script's lines, indented by four blanks.
std::string listOfMisbehaviours();

// The script of all that are named, in their order; commas part the names. Throws a ScriptError for a name
// that there is not.
std::string scriptOfMisbehaviours(std::string_view names);

}  // namespace kxsim
