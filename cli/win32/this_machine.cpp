#include "cli/win32/this_machine.h"

#include "cli/win32/processes.h"
#include "common/platform.h"
#include "common/strings.h"
#include "common/win32/unique_handle.h"
#include "common/win32/utf16.h"
#include "log/log.h"
#include "process/win32/profile_store.h"

#include <windows.h>
#include <array>
#include <cstdio>
#include <vector>

namespace kx::cli {
namespace {

// As winternl.h leaves it out.
struct MutantInformation {
  LONG count;
  BOOLEAN isOwnedByCaller;
  BOOLEAN isAbandoned;
};
using QueryMutant = LONG(WINAPI*)(HANDLE, int, void*, ULONG, ULONG*);
constexpr DWORD kMutantQueryState = 1;

template <typename Function>
Function functionOfNtdll(const char* name) {
  return reinterpret_cast<Function>(
      reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), name)));
}

std::optional<std::string> fileText(const std::string& path) {
  std::FILE* const file = platform::openFile(path, "r");
  if (file == nullptr) {
    return std::nullopt;
  }
  std::string text;
  for (int byte = std::fgetc(file); byte != EOF; byte = std::fgetc(file)) {
    text += static_cast<char>(byte);
  }
  std::fclose(file);
  return text;
}

// Asks without opening: the extension does not notice.
PipeState pipeState(const std::string& pipe) {
  constexpr DWORD kOneMillisecond = 1;
  if (::WaitNamedPipeW(utf16FromUtf8(pipe).c_str(), kOneMillisecond) != FALSE) {
    return PipeState::Served;
  }
  return ::GetLastError() == ERROR_SEM_TIMEOUT ? PipeState::Busy : PipeState::NotServed;
}

// Looks at the mutex without taking it.
LockState lockState(const std::string& name) {
  const UniqueHandle mutex(::OpenMutexW(kMutantQueryState, FALSE, utf16FromUtf8(name).c_str()));
  if (!mutex) {
    return ::GetLastError() == ERROR_ACCESS_DENIED ? LockState::Refused : LockState::Free;
  }
  const auto query = functionOfNtdll<QueryMutant>("NtQueryMutant");
  MutantInformation information{};
  const bool isKnown =
      query != nullptr && query(mutex.get(), 0, &information, sizeof(information), nullptr) >= 0;
  return isKnown && information.count <= 0 ? LockState::Held : LockState::Free;
}

std::uint32_t findProgram(const std::string& path) {
  WIN32_FIND_DATAW data{};
  const UniqueFindHandle search(::FindFirstFileW(utf16FromUtf8(path).c_str(), &data));
  return search ? 0 : ::GetLastError();
}

// Opens the file for writing and writes nothing; when it is not there, asks its folder for the right to add
// one.
std::uint32_t writingError(const std::string& path) {
  constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  if (!platform::environmentVariable("TEMP")) {
    return ERROR_ENVVAR_NOT_FOUND;
  }
  const UniqueHandle file(::CreateFileW(utf16FromUtf8(path).c_str(), GENERIC_WRITE, kShareAll, nullptr,
                                        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (file || ::GetLastError() != ERROR_FILE_NOT_FOUND) {
    return file ? 0 : ::GetLastError();
  }
  const std::string folder = path.substr(0, path.rfind('\\') + 1);
  const UniqueHandle opened(::CreateFileW(utf16FromUtf8(folder).c_str(), FILE_ADD_FILE, kShareAll, nullptr,
                                          OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  return opened ? 0 : ::GetLastError();
}

bool isElevated() {
  HANDLE token = nullptr;
  ::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &token);
  const UniqueHandle owner(token);
  TOKEN_ELEVATION_TYPE type = TokenElevationTypeDefault;
  DWORD size = 0;
  // An account without a split token is as elevated as it ever is.
  return ::GetTokenInformation(token, TokenElevationType, &type, sizeof(type), &size) != FALSE &&
         type == TokenElevationTypeFull;
}

bool isLogOn() {
  const std::string log = platform::environmentVariable("KORVEX_LOG").value_or("");
  return equalsIgnoringCase(log, "on") || equalsIgnoringCase(log, "true");
}

}  // namespace

Machine thisMachine() {
  Machine machine;
  machine.isLogOn = isLogOn();
  machine.logPath = logFilePath();
  ::SetEnvironmentVariableW(L"KORVEX_LOG", nullptr);
  ::SetEnvironmentVariableW(L"KORVEX_LOGPATH", nullptr);
  machine.fileText = fileText;
  machine.pipe = pipeState;
  machine.lock = lockState;
  machine.profileIsLocked = [](const std::string& browser, const std::string& profile) {
    return profileIsLocked(browser, profile);
  };
  machine.findProgram = findProgram;
  machine.writing = writingError;
  machine.defaultProgram = [](const std::string& browser) { return defaultProgram(browser); };
  machine.isElevated = isElevated();
  return machine;
}

std::string systemText() {
  // Unlike the usual calls it tells every program the true version.
  const auto versionOf = functionOfNtdll<LONG(WINAPI*)(OSVERSIONINFOW*)>("RtlGetVersion");
  const auto wineVersion = functionOfNtdll<const char*(CDECL*)()>("wine_get_version");
  OSVERSIONINFOW version{};
  version.dwOSVersionInfoSize = sizeof(version);
  versionOf(&version);
  return "Windows " + std::to_string(version.dwMajorVersion) + "." + std::to_string(version.dwMinorVersion) +
         "." + std::to_string(version.dwBuildNumber) +
         (wineVersion != nullptr ? std::string(", of Wine ") + wineVersion() : std::string());
}

ReportLog logForReport() {
  const std::string path = logFilePath();
  if (!path.empty()) {
    return {path, false, !isLogOn()};
  }
  std::vector<wchar_t> folder(MAX_PATH + 1);
  folder.resize(::GetTempPathW(static_cast<DWORD>(folder.size()), folder.data()));
  const std::string own = utf8FromUtf16({folder.data(), folder.size()}) + "kx-report-" +
                          std::to_string(::GetCurrentProcessId()) + ".log";
  ::DeleteFileW(utf16FromUtf8(own).c_str());
  ::SetEnvironmentVariableW(L"KORVEX_LOG", L"on");
  ::SetEnvironmentVariableW(L"KORVEX_LOGPATH", utf16FromUtf8(own).c_str());
  return {own, true, false};
}

}  // namespace kx::cli
