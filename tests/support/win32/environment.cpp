#include "support/environment.h"

#include "support/win32/text.h"

#include <windows.h>

std::optional<std::string> EnvironmentVariable::valueOf(const std::string& name) {
  ::SetLastError(ERROR_SUCCESS);
  const DWORD size = ::GetEnvironmentVariableW(wide(name).c_str(), nullptr, 0);
  if (size == 0) {
    return ::GetLastError() == ERROR_ENVVAR_NOT_FOUND ? std::nullopt : std::optional<std::string>("");
  }
  std::wstring value(size, L'\0');
  value.resize(::GetEnvironmentVariableW(wide(name).c_str(), value.data(), size));
  return narrow(value);
}

void EnvironmentVariable::write(const std::string& name, const std::optional<std::string>& value) {
  ::SetEnvironmentVariableW(wide(name).c_str(), value ? wide(*value).c_str() : nullptr);
}
