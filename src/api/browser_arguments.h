// What a host's options mean for one browser: the pipe on which its extension will be met and the arguments
// with which it is started. kx_Init and the runner family differ on purpose, in the checks and in the name of
// Firefox's pipe.
#pragma once

#include "api/options.h"

#include <string>
#include <vector>

namespace kx {

// The pipe name that kx_Init derives from the profile option; empty without one.
std::string initPipeName(const std::string& browser, const Options& options);

struct StartArguments {
  std::vector<std::string> arguments;
  // The path of a start page that could not be written; empty when all went well.
  std::string unwritableStartPage;
};

// The arguments with which kx_Init starts a browser. Writes the start page when there is a profile, unless a
// page is given: that one is only named.
StartArguments startArguments(const std::string& browser, const Options& options, const std::string& pipeName,
                              const char* givenPage = nullptr);

// What the runner family makes of browser and options: the browser's pipe and profile, or what is wrong with
// them.
struct RunnerBrowser {
  enum class Problem {
    None,
    RunnerRequired,
    FirefoxProfileRequired,
    ChromeDataFolderRequired,
    UnsupportedBrowser
  };

  Problem problem = Problem::None;
  std::string profile;
  std::string pipeName;
};

RunnerBrowser runnerBrowser(const std::string& browser, const Options& options);

// The command line for a host that starts the browser itself; empty when the start page could not be written.
// Writes the start page for Chrome. The host's page may be null.
std::string runnerCommandLine(const std::string& browser, const RunnerBrowser& runner, bool useProfiler,
                              const char* hostPage);

}  // namespace kx
