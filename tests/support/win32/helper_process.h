// Processes to be launched, waited for and killed: the test program itself, run again with a switch.
// runAsHelper() is called first in main(); the rest is for tests.
#pragma once

#include "support/win32/pipe_name.h"
#include "support/win32/text.h"

#include <windows.h>
#include <array>
#include <cstdlib>
#include <optional>
#include <shellapi.h>
#include <string>
#include <vector>

inline constexpr char kHelperSwitch[] = "--kx-helper";

inline std::string ownProgramPath() {
  std::array<wchar_t, 1024> path{};
  const DWORD length = ::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
  return narrow(std::wstring(path.data(), length));
}

// An event that two processes know by name. Signalled stays signalled.
class NamedEvent {
 public:
  explicit NamedEvent(std::string name = uniqueName("event"))
      : name_(std::move(name)), handle_(::CreateEventW(nullptr, TRUE, FALSE, wide(name_).c_str())) {}
  NamedEvent(const NamedEvent&) = delete;
  NamedEvent& operator=(const NamedEvent&) = delete;
  ~NamedEvent() { ::CloseHandle(handle_); }

  const std::string& name() const { return name_; }
  void signal() const { ::SetEvent(handle_); }
  bool wait(DWORD milliseconds = 30000) const {
    return ::WaitForSingleObject(handle_, milliseconds) == WAIT_OBJECT_0;
  }

 private:
  std::string name_;
  HANDLE handle_;
};

// What a helper process can do; each verb's arguments are those of the function below that starts it.
namespace helper {

// Ends with 0 when it is told, with 7 when nobody told it.
inline int waitForEvent(const std::string& eventName) {
  return NamedEvent(eventName).wait(60000) ? 0 : 7;
}

// Ends while it owns the mutex.
inline int abandonMutex(const std::string& mutexName, const std::string& readyEvent) {
  const HANDLE mutex = ::CreateMutexW(nullptr, FALSE, wide(mutexName).c_str());
  ::WaitForSingleObject(mutex, 30000);
  NamedEvent(readyEvent).signal();
  return 0;
}

inline int holdMutex(const std::string& mutexName, const std::string& readyEvent,
                     const std::string& endEvent) {
  const HANDLE mutex = ::CreateMutexW(nullptr, FALSE, wide(mutexName).c_str());
  ::WaitForSingleObject(mutex, 30000);
  NamedEvent(readyEvent).signal();
  NamedEvent(endEvent).wait(60000);
  ::ReleaseMutex(mutex);
  return 0;
}

// Holds a file open that nobody else may open meanwhile, as a running browser does with its profile's lock.
inline int holdFile(const std::string& path, const std::string& readyEvent, const std::string& endEvent) {
  const HANDLE file = ::CreateFileW(wide(path).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
  NamedEvent(readyEvent).signal();
  NamedEvent(endEvent).wait(60000);
  ::CloseHandle(file);
  return 0;
}

// Writes its command line, its folder and the value of KX_TEST_MARK to a file, a line each.
inline int report(const std::string& path) {
  std::array<wchar_t, 1024> folder{};
  std::array<wchar_t, 256> mark{};
  ::GetCurrentDirectoryW(static_cast<DWORD>(folder.size()), folder.data());
  ::GetEnvironmentVariableW(L"KX_TEST_MARK", mark.data(), static_cast<DWORD>(mark.size()));
  const std::string text =
      narrow(::GetCommandLineW()) + "\n" + narrow(folder.data()) + "\n" + narrow(mark.data()) + "\n";
  const HANDLE file = ::CreateFileW(wide(path).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
  DWORD count = 0;
  ::WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &count, nullptr);
  ::CloseHandle(file);
  return 0;
}

inline int run(const std::string& verb, const std::vector<std::string>& arguments) {
  const auto is = [&](const char* name, std::size_t count) {
    return verb == name && arguments.size() == count;
  };
  if (is("exit", 1)) {
    return std::atoi(arguments[0].c_str());
  }
  if (is("wait", 1)) {
    return waitForEvent(arguments[0]);
  }
  if (is("abandon-mutex", 2)) {
    return abandonMutex(arguments[0], arguments[1]);
  }
  if (is("hold-mutex", 3)) {
    return holdMutex(arguments[0], arguments[1], arguments[2]);
  }
  if (is("hold-file", 3)) {
    return holdFile(arguments[0], arguments[1], arguments[2]);
  }
  if (is("report", 1)) {
    return report(arguments[0]);
  }
  return 99;
}

}  // namespace helper

// The words of this process's command line, in UTF-8 whatever its code page is.
inline std::vector<std::string> commandLineWords() {
  int count = 0;
  wchar_t** words = ::CommandLineToArgvW(::GetCommandLineW(), &count);
  std::vector<std::string> result;
  for (int i = 0; i < count; ++i) {
    result.push_back(narrow(words[i]));
  }
  ::LocalFree(words);
  return result;
}

// The exit code when this process was started as a helper, otherwise nothing.
inline std::optional<int> runAsHelper() {
  const std::vector<std::string> words = commandLineWords();
  if (words.size() < 3 || words[1] != kHelperSwitch) {
    return std::nullopt;
  }
  return helper::run(words[2], {words.begin() + 3, words.end()});
}

// A running helper. It is killed at the end if it still runs.
class HelperProcess {
 public:
  explicit HelperProcess(const std::vector<std::string>& verbAndArguments) {
    std::wstring line = L"\"" + wide(ownProgramPath()) + L"\" " + wide(kHelperSwitch);
    for (const std::string& word : verbAndArguments) {
      line += L" \"" + wide(word) + L"\"";
    }
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    ::CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process_);
  }
  HelperProcess(const HelperProcess&) = delete;
  HelperProcess& operator=(const HelperProcess&) = delete;
  ~HelperProcess() {
    ::TerminateProcess(process_.hProcess, 98);
    ::WaitForSingleObject(process_.hProcess, 30000);
    ::CloseHandle(process_.hThread);
    ::CloseHandle(process_.hProcess);
  }

  DWORD id() const { return process_.dwProcessId; }
  bool isRunning() const { return ::WaitForSingleObject(process_.hProcess, 0) == WAIT_TIMEOUT; }

  // Waits for the end and gives the exit code.
  DWORD exitCode(DWORD patienceMilliseconds = 30000) const {
    ::WaitForSingleObject(process_.hProcess, patienceMilliseconds);
    DWORD code = STILL_ACTIVE;
    ::GetExitCodeProcess(process_.hProcess, &code);
    return code;
  }

 private:
  PROCESS_INFORMATION process_{};
};
