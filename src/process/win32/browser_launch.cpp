#include "process/win32/browser_launch.h"

#include "common/home_directory.h"
#include "common/last_error.h"
#include "common/platform.h"
#include "common/strings.h"
#include "common/win32/unique_handle.h"
#include "common/win32/utf16.h"
#include "common/win32/windows_calls.h"
#include "log/log.h"
#include "process/command_line.h"
#include "process/default_paths.h"

#include <windows.h>
#include <optional>

namespace kx {

namespace {

unsigned long windowsMajorVersion() {
  OSVERSIONINFOA version{};
  version.dwOSVersionInfoSize = sizeof(version);
  windowsCalls().getVersion(&version);
  return version.dwMajorVersion;
}

// Whether the program is there. If not, the instance knows why.
bool findBrowser(BrowserInstance& instance, const std::string& path) {
  WIN32_FIND_DATAW data{};
  const UniqueFindHandle search(windowsCalls().findFirstFile(utf16FromUtf8(path).c_str(), &data));
  if (search) {
    return true;
  }
  const int error = lastErrorForLog();
  if (error == ERROR_FILE_NOT_FOUND) {
    // The log and the host are told in different words; both are matched as they are.
    __logerr("Browser binary %s doesn't exist", path.c_str());
    instance.fail(error, "Browser binary " + path + " doesn't exists");
  } else {
    __logerr("Error %d calling FindFirstFileW on %s", error, path.c_str());
    instance.fail(error, "Error finding browser binary");
  }
  return false;
}

// Starts the process and gives its id, or nothing with the reason in the thread's last error.
std::optional<DWORD> startProcess(const std::string& path, const std::vector<std::string>& arguments) {
  __loginf("Starting binary %s %s", path.c_str(), joinWithSpaces(arguments).c_str());

  // CreateProcessW may write into the command line, so it gets a buffer of its own.
  std::wstring line = utf16FromUtf8(commandLine(path, arguments));
  const std::wstring folder = utf16FromUtf8(workingDirectory(path));
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION process{};
  if (windowsCalls().createProcess(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, folder.c_str(),
                                   &startup, &process) == FALSE) {
    return std::nullopt;
  }
  const UniqueHandle processHandle(process.hProcess);
  const UniqueHandle threadHandle(process.hThread);
  return process.dwProcessId;
}

}  // namespace

std::string defaultBrowserPath(const BrowserInstance& instance) {
  if (instance.browserType() == kFirefox) {
    return defaultFirefoxPath();
  }
  if (instance.browserType() == kChrome) {
    return defaultChromePath(windowsMajorVersion(), homeDirectory(),
                             platform::environmentVariable("LOCALAPPDATA").value_or(""));
  }
  return {};
}

bool launchBrowser(BrowserInstance& instance, const char* path, const std::vector<std::string>& arguments) {
  const std::string program = path != nullptr ? std::string(path) : defaultBrowserPath(instance);
  if (!findBrowser(instance, program)) {
    return false;
  }
  const std::optional<DWORD> processId = startProcess(program, arguments);
  if (!processId) {
    const int error = lastErrorForLog();
    __logerr("Couldn't start browser binary %s", program.c_str());
    instance.fail(error, "Couldn't start browser binary " + program);
    return false;
  }
  instance.setBrowserProcessId(*processId);
  return true;
}

}  // namespace kx
