// Reads the command line a browser would be started with: the switches that tell the browser type, the
// profile and the extension's pipe, and the simulator's own options. Pure text work, used once at the start
// of the process.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kxsim {

// What the command line says. An absent optional means that the switch was not given.
struct CommandLine {
  std::string program;
  std::vector<std::string> arguments;

  std::optional<std::string> profile;        // -P "name"
  std::optional<std::string> userDataDir;    // --user-data-dir="directory"
  std::optional<std::string> switchPipe;     // -kx-pipe "name"
  std::optional<std::string> startPagePipe;  // file://page.html?pipe=name
  bool noRemote = false;
  bool profiler = false;  // -kx-profiler

  bool help = false;
  bool version = false;
  bool describe = false;
  bool verbose = false;
  bool misbehaviours = false;  // list them
  bool showRequests = false;
  std::optional<std::string> typeOption;
  std::optional<std::string> pipeOption;
  std::optional<std::string> scriptOption;
  std::optional<std::string> recordOption;
  std::optional<std::string> misbehaveOption;
};

// Splits a command line the way Windows programs do: blanks part arguments, double quotes hold them together,
// and backslashes are ordinary unless a double quote follows them.
std::vector<std::string> splitCommandLine(std::string_view line);

CommandLine readCommandLine(std::string_view line);

// The part after the last slash or backslash.
std::string fileNameOf(std::string_view path);

}  // namespace kxsim
