// Decides which browser the process plays and which well-known pipe it serves, as an extension in that
// browser would. Pure: everything that comes from the system is handed in.
#pragma once

#include "command_line.h"
#include "profiles_ini.h"

#include <optional>
#include <string>

namespace kxsim {

struct Surroundings {
  std::string userName;
  std::string appData;
  IniFile firefoxProfiles;
};

// What the script says, where it says something.
struct Overrides {
  std::optional<std::string> type;
  std::optional<std::string> pipe;
};

struct PipeChoice {
  std::string type;     // "fx" or "cr"
  std::string profile;  // the Firefox profile played; empty for Chrome
  std::string pipe;     // full path of the well-known pipe
  std::string source;   // where the pipe's name came from, for people: "switch", "start page", ...
};

PipeChoice choosePipe(const CommandLine& line, const Overrides& overrides, const Surroundings& surroundings);

}  // namespace kxsim
