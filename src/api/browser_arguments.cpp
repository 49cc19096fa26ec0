#include "api/browser_arguments.h"

#include "browser/browser_type.h"
#include "common/md5.h"
#include "common/strings.h"
#include "pipe/start_page.h"
#include "process/pipe_names.h"

namespace kx {

namespace {

// The option that names the browser's profile, or null for a browser that has none.
const std::string* findProfile(const std::string& browser, const Options& options) {
  if (browser == kFirefox) {
    return findOption(options, kOptionFirefoxProfile);
  }
  return browser == kChrome ? findOption(options, kOptionChromeDataFolder) : nullptr;
}

std::string dataFolderSwitch(const std::string& folder) {
  return "--user-data-dir=" + inDoubleQuotes(folder);
}

std::string startPageStem(const std::string& profile) {
  return md5Hex(stripTrailingBackslash(profile));
}

}  // namespace

std::string initPipeName(const std::string& browser, const Options& options) {
  const std::string* profile = findProfile(browser, options);
  return profile != nullptr ? runnerPipeName(browser, *profile) : std::string();
}

StartArguments startArguments(const std::string& browser, const Options& options, const std::string& pipeName,
                              const char* givenPage) {
  StartArguments start;
  const std::string* profile = findProfile(browser, options);
  if (profile == nullptr) {
    return start;
  }
  if (browser == kChrome) {
    start.arguments.push_back(dataFolderSwitch(*profile));
  } else if (!profile->empty()) {
    start.arguments.emplace_back("-no-remote");
    start.arguments.push_back("-P " + inDoubleQuotes(*profile));
  }
  if (!profile->empty()) {
    const std::string stem = startPageStem(*profile);
    std::string page = startPageUrl(stem, pipeName, givenPage);
    if (page.empty()) {
      start.unwritableStartPage = startPagePath(stem);
    } else {
      start.arguments.push_back(std::move(page));
    }
  }
  return start;
}

RunnerBrowser runnerBrowser(const std::string& browser, const Options& options) {
  using Problem = RunnerBrowser::Problem;
  if (findOption(options, kOptionRunner) == nullptr) {
    return {Problem::RunnerRequired, {}, {}};
  }
  const std::string* profile = findProfile(browser, options);
  if (browser == kFirefox) {
    // An empty profile name is accepted, unlike an empty folder.
    return profile != nullptr ? RunnerBrowser{Problem::None, *profile, firefoxRunnerPipeName(*profile)}
                              : RunnerBrowser{Problem::FirefoxProfileRequired, {}, {}};
  }
  if (browser == kChrome) {
    return profile != nullptr && !profile->empty()
               ? RunnerBrowser{Problem::None, *profile, runnerPipeName(kChrome, *profile)}
               : RunnerBrowser{Problem::ChromeDataFolderRequired, {}, {}};
  }
  return {Problem::UnsupportedBrowser, {}, {}};
}

std::string runnerCommandLine(const std::string& browser, const RunnerBrowser& runner, bool useProfiler,
                              const char* hostPage) {
  if (browser == kFirefox) {
    return "-no-remote -P " + inDoubleQuotes(runner.profile) + " -kx-pipe " +
           inDoubleQuotes(runner.pipeName) + (useProfiler ? " -kx-profiler" : "");
  }
  const std::string page = startPageUrl(startPageStem(runner.profile), runner.pipeName, hostPage);
  return page.empty() ? std::string() : joinWithSpaces({dataFolderSwitch(runner.profile), page});
}

}  // namespace kx
