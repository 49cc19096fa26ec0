#include "win32/second_process.h"

#include "win32/unique_handle.h"
#include "win32/windows_text.h"

#include <windows.h>
#include <cstdint>
#include <stdexcept>

namespace kxsim {
namespace {

// Tells the second process its handle of the first.
constexpr wchar_t kFirstProcess[] = L"KXSIM_FIRST_PROCESS";

std::optional<unsigned long> awaitEndOf(const std::string& handleValue) {
  // What this process starts is no second process of anything.
  SetEnvironmentVariableW(kFirstProcess, nullptr);
  const UniqueHandle first(reinterpret_cast<HANDLE>(std::stoull(handleValue)));  // NOLINT
  WaitForSingleObject(first.get(), INFINITE);
  return GetProcessId(first.get());
}

}  // namespace

std::optional<unsigned long> handOverToSecondProcess(const std::string& program) {
  if (const auto first = environmentVariable(toUtf8(kFirstProcess))) {
    return awaitEndOf(*first);
  }
  HANDLE self = nullptr;
  DuplicateHandle(GetCurrentProcess(), GetCurrentProcess(), GetCurrentProcess(), &self,
                  SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, TRUE, 0);
  const UniqueHandle inherited(self);
  SetEnvironmentVariableW(kFirstProcess,
                          std::to_wstring(reinterpret_cast<std::uintptr_t>(self)).c_str());  // NOLINT
  std::wstring line = GetCommandLineW();
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION information{};
  if (CreateProcessW(toWide(program).c_str(), line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                     &startup, &information) == 0) {
    throw std::runtime_error("cannot start " + program + ", error " + std::to_string(GetLastError()));
  }
  const UniqueHandle process(information.hProcess);
  const UniqueHandle thread(information.hThread);
  return std::nullopt;
}

}  // namespace kxsim
