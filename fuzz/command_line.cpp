// What a host names as program, profile and pipe arrives in a browser: the command line is built here and
// taken apart again by the simulator, as a program on Windows would. Texts with what the simple quoting
// cannot carry (quotes, and a backslash before a closing quote) still come through byte by byte.
#include "command_line.h"

#include "api/browser_arguments.h"
#include "browser/browser_instance.h"
#include "fuzz/property.h"
#include "fuzz/support/input.h"
#include "process/command_line.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace kx {

namespace {

bool hasQuote(std::string_view text) {
  return text.find('"') != std::string_view::npos;
}

bool hasBlank(std::string_view text) {
  return text.find_first_of(" \t") != std::string_view::npos;
}

// Comes out of the quoting as one argument and unchanged. A tab parts arguments as a blank does, but only a
// blank leads to quotes.
bool isCarried(const std::string& argument) {
  const bool isQuoted = argument.find(' ') != std::string::npos;
  return !argument.empty() && !hasQuote(argument) &&
         (isQuoted ? !argument.ends_with('\\') : !hasBlank(argument));
}

// No backslash escapes a quote in a program's name.
bool isCarriedProgram(const std::string& program) {
  return !program.empty() && !hasQuote(program) &&
         (program.find(' ') != std::string::npos || !hasBlank(program));
}

// The quoting is undone by nothing but taking the quotes away that it put there.
void checkThatEveryByteIsThere(const std::string& line, const std::vector<std::string>& parts) {
  std::size_t at = 0;
  for (const std::string& part : parts) {
    const bool isQuoted = part.find(' ') != std::string::npos && part.front() != '"' && part.back() != '"';
    const std::string written = isQuoted ? '"' + part + '"' : part;
    FUZZ_PROPERTY(line.compare(at, written.size(), written) == 0,
                  "a part stands in its place, as it is or quoted");
    at += written.size();
    FUZZ_PROPERTY(at == line.size() || line[at] == ' ', "a blank stands behind each part but the last");
    ++at;
  }
  FUZZ_PROPERTY(at == line.size() + 1, "nothing stands behind the last part");
}

void checkCommandLine(const std::string& program, const std::vector<std::string>& arguments) {
  const std::string line = commandLine(program, arguments);
  std::vector<std::string> parts = {program};
  parts.insert(parts.end(), arguments.begin(), arguments.end());
  checkThatEveryByteIsThere(line, parts);
  if (isCarriedProgram(program) && std::all_of(arguments.begin(), arguments.end(), isCarried)) {
    FUZZ_PROPERTY(kxsim::splitCommandLine(line) == parts, "a program takes the command line apart again");
  }
  const std::string folder = workingDirectory(program);
  FUZZ_PROPERTY(program.starts_with(folder), "the working directory begins as the program's path does");
  FUZZ_PROPERTY(
      folder.size() == program.size()
          ? program.find('\\') == std::string::npos
          : program[folder.size()] == '\\' && program.find('\\', folder.size() + 1) == std::string::npos,
      "it ends before the last backslash");
}

// A profile between quotes of its own.
bool isCarriedProfile(const std::string& profile) {
  return !profile.empty() && !hasQuote(profile) && !profile.ends_with('\\');
}

void checkStart(const std::string& profile) {
  if (!isCarriedProfile(profile)) {
    return;
  }
  // The page's folder does not exist, so it is not written and no argument names it.
  const Options firefox = {{kOptionFirefoxProfile, profile}};
  const StartArguments start = startArguments(kFirefox, firefox, initPipeName(kFirefox, firefox));
  FUZZ_PROPERTY(!start.unwritableStartPage.empty(), "nothing is written");
  // Each argument already holds its quotes; the browser sees the same whether or not there is a blank.
  const kxsim::CommandLine seen =
      kxsim::readCommandLine("firefox " + start.arguments[0] + ' ' + start.arguments[1]);
  FUZZ_PROPERTY(seen.profile == profile && seen.noRemote, "Firefox is started with the profile");
  FUZZ_PROPERTY(
      commandLine("firefox", start.arguments) == "firefox " + start.arguments[0] + ' ' + start.arguments[1],
      "arguments that end in a quote are not quoted again");

  const Options chrome = {{kOptionChromeDataFolder, profile}};
  const StartArguments chromeStart = startArguments(kChrome, chrome, initPipeName(kChrome, chrome));
  const kxsim::CommandLine seenByChrome =
      kxsim::readCommandLine(commandLine("chrome", chromeStart.arguments));
  FUZZ_PROPERTY(seenByChrome.userDataDir == profile, "Chrome is started with the folder");
}

void checkRunner(const std::string& profile, bool useProfiler) {
  const Options options = {{kOptionRunner, ""}, {kOptionFirefoxProfile, profile}};
  const RunnerBrowser runner = runnerBrowser(kFirefox, options);
  FUZZ_PROPERTY(runner.problem == RunnerBrowser::Problem::None && runner.profile == profile,
                "the runner family takes every Firefox profile");
  if (isCarriedProfile(profile)) {
    const kxsim::CommandLine seen =
        kxsim::readCommandLine("firefox " + runnerCommandLine(kFirefox, runner, useProfiler, nullptr));
    FUZZ_PROPERTY(seen.profile == profile, "a runner's Firefox is started with the profile");
    FUZZ_PROPERTY(seen.switchPipe == runner.pipeName, "and told the pipe");
    FUZZ_PROPERTY(seen.profiler == useProfiler && seen.noRemote, "and the flags");
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  return setenv("TEMP", "/nonexistent", 1);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  const unsigned flags = input.takeByte();
  const std::string program = input.takeText();
  std::vector<std::string> arguments;
  while (!input.isEmpty()) {
    arguments.push_back(input.takeText());
  }

  checkCommandLine(program, arguments);
  checkStart(program);
  checkRunner(program, flags % 2 != 0);
  return 0;
}

}  // namespace kx
