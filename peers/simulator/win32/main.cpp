// kxsim.exe: plays a browser that carries the extension.
#include "command_line.h"
#include "escapes.h"
#include "help_text.h"
#include "misbehaviours.h"
#include "pipe_choice.h"
#include "script.h"
#include "win32/action_runner.h"
#include "win32/second_process.h"
#include "win32/server.h"
#include "win32/simulator.h"
#include "win32/watchdog.h"
#include "win32/windows_text.h"
#include "words.h"

#include <windows.h>
#include <cstdio>
#include <exception>
#include <optional>
#include <string>

namespace {

using kxsim::CommandLine;
using kxsim::Simulator;

std::string currentDirectory() {
  std::wstring path(GetCurrentDirectoryW(0, nullptr), L'\0');
  path.resize(GetCurrentDirectoryW(static_cast<DWORD>(path.size()), path.data()));
  return kxsim::toUtf8(path);
}

std::string programPath() {
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return kxsim::toUtf8(path);
}

// C:\x\kxsim.exe gives C:\x\kxsim.script.
std::string besideProgram() {
  const std::string path = programPath();
  return path.substr(0, path.rfind('.')) + ".script";
}

// Throws when a script is named that cannot be read. The one beside the program may be missing.
kxsim::Script loadScript(const CommandLine& line, std::string& path) {
  const auto named = line.scriptOption ? line.scriptOption : kxsim::environmentVariable("KXSIM_SCRIPT");
  path = named.value_or(besideProgram());
  const auto text = kxsim::readWholeFile(path);
  if (!text && named) {
    throw kxsim::ScriptError("the script cannot be read");
  }
  if (!text) {
    path.clear();
  }
  const auto misbehave =
      line.misbehaveOption ? line.misbehaveOption : kxsim::environmentVariable("KXSIM_MISBEHAVE");
  // Behind the script, so that its lines keep their numbers.
  return kxsim::parseScript(text.value_or("") + "\n" + kxsim::scriptOfMisbehaviours(misbehave.value_or("")));
}

kxsim::Surroundings readSurroundings() {
  kxsim::Surroundings surroundings;
  surroundings.userName = kxsim::environmentVariable("USERNAME").value_or("");
  surroundings.appData = kxsim::environmentVariable("APPDATA").value_or("");
  const auto profiles = kxsim::readWholeFile(surroundings.appData + "\\Mozilla\\Firefox\\profiles.ini");
  surroundings.firefoxProfiles = kxsim::parseIni(profiles.value_or(""));
  return surroundings;
}

std::string recordFolder(const Simulator& simulator, const CommandLine& line) {
  auto folder = line.recordOption;
  if (!folder) {
    folder = simulator.script.record;
  }
  if (!folder) {
    folder = kxsim::environmentVariable("KXSIM_RECORD");
  }
  // Several processes that share one setting can so be told to keep apart.
  return kxsim::substitute(folder.value_or(""),
                           [](const std::string& name) {
                             return name == "pid" ? std::optional(std::to_string(GetCurrentProcessId()))
                                                  : std::nullopt;
                           })
      .text;
}

std::optional<unsigned long> watchedParent(const kxsim::Script& script) {
  auto id = script.watchedParent;
  if (!id) {
    id = kxsim::toNumber(kxsim::environmentVariable("KXSIM_PARENT_PID").value_or(""));
  }
  return id ? std::optional(static_cast<unsigned long>(*id)) : std::nullopt;
}

void describe(const Simulator& simulator, const std::string& script, const std::string& record) {
  std::printf("type=%s\nprofile=%s\npipe=%s\npipe-from=%s\nscript=%s\nrecord=%s\n",
              simulator.choice.type.c_str(), simulator.choice.profile.c_str(), simulator.choice.pipe.c_str(),
              simulator.choice.source.c_str(), script.c_str(), record.c_str());
}

void startRecording(Simulator& simulator, const std::string& folder, const std::string& commandLine,
                    const std::string& scriptPath) {
  if (!folder.empty() && !simulator.recorder.open(folder)) {
    std::fprintf(stderr, "kxsim: cannot record in %s\n", folder.c_str());
    simulator.end(kxsim::kExitBadScript, "cannot record");
  }
  simulator.recorder.save("command-line.txt", commandLine);
  simulator.recorder.save("working-directory.txt", currentDirectory());
  simulator.recorder.event("start pid=" + std::to_string(GetCurrentProcessId()) +
                           " type=" + simulator.choice.type +
                           " profile=" + kxsim::escapeForLog(simulator.choice.profile));
  simulator.recorder.event("pipe from=" + simulator.choice.source +
                           " name=" + kxsim::escapeForLog(simulator.choice.pipe));
  simulator.recorder.event("script path=" + kxsim::escapeForLog(scriptPath));
}

int run() {
  const std::string commandLine = kxsim::toUtf8(GetCommandLineW());
  const CommandLine line = kxsim::readCommandLine(commandLine);
  if (line.help || line.version || line.misbehaviours) {
    std::fputs(line.help      ? kxsim::helpText().c_str()
               : line.version ? kxsim::kVersionText
                              : kxsim::listOfMisbehaviours().c_str(),
               stdout);
    return 0;
  }

  // Connections go on using it until the process is ended, so it is never destroyed.
  static Simulator& simulator = *new Simulator();  // NOLINT(cppcoreguidelines-owning-memory)
  std::string scriptPath;
  simulator.surroundings = readSurroundings();
  try {
    simulator.script = loadScript(line, scriptPath);
  } catch (const kxsim::ScriptError& error) {
    std::fprintf(stderr, "kxsim: %s: %s\n", scriptPath.c_str(), error.what());
    const std::string folder = recordFolder(simulator, line);
    if (!folder.empty() && simulator.recorder.open(folder)) {
      simulator.recorder.event("bad-script path=" + kxsim::escapeForLog(scriptPath) + " " + error.what());
    }
    return kxsim::kExitBadScript;
  }
  simulator.choice =
      kxsim::choosePipe(line, {simulator.script.type, simulator.script.pipe}, simulator.surroundings);
  const std::string folder = recordFolder(simulator, line);
  if (line.describe) {
    describe(simulator, scriptPath, folder);
    return 0;
  }

  std::optional<unsigned long> launcher;
  if (simulator.script.launcherProcess) {
    launcher = kxsim::handOverToSecondProcess(programPath());
    if (!launcher) {
      return 0;
    }
  }

  simulator.recorder.setVerbose(line.verbose || simulator.script.verbose ||
                                kxsim::environmentVariable("KXSIM_VERBOSE").has_value());
  simulator.recorder.setShowing(line.showRequests);
  startRecording(simulator, folder, commandLine, scriptPath);
  if (launcher) {
    simulator.recorder.event("launcher pid=" + std::to_string(*launcher));
  }
  kxsim::startWatchdog(simulator, watchedParent(simulator.script));
  kxsim::ActionRunner(simulator).run({simulator.happened("start", 0)}, {});
  if (simulator.script.serve) {
    kxsim::serveWellKnownPipe(simulator);
  }
  Sleep(INFINITE);
  return 0;
}

}  // namespace

int main() {
  try {
    return run();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "kxsim: %s\n", error.what());
    return 1;
  }
}
