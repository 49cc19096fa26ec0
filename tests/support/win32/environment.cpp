#include "support/environment.h"

#include <windows.h>
#include <stdexcept>

namespace test_environment {

namespace {

std::wstring wide(const std::string& text) {
  std::wstring result(text.size() + 1, L'\0');
  const int length =
      ::MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, result.data(), static_cast<int>(result.size()));
  result.resize(static_cast<std::size_t>(length) - 1);
  return result;
}

std::string narrow(const std::wstring& text) {
  std::string result(3 * text.size() + 1, '\0');
  const int length = ::WideCharToMultiByte(CP_UTF8, 0, text.c_str(), -1, result.data(),
                                           static_cast<int>(result.size()), nullptr, nullptr);
  result.resize(static_cast<std::size_t>(length) - 1);
  return result;
}

}  // namespace

std::optional<std::string> get(const std::string& name) {
  std::wstring value(32768, L'\0');
  ::SetLastError(ERROR_SUCCESS);
  const DWORD length =
      ::GetEnvironmentVariableW(wide(name).c_str(), value.data(), static_cast<DWORD>(value.size()));
  if (length == 0 && ::GetLastError() == ERROR_ENVVAR_NOT_FOUND) {
    return std::nullopt;
  }
  if (length >= value.size()) {
    throw std::length_error("the value of " + name);
  }
  value.resize(length);
  return narrow(value);
}

void set(const std::string& name, const std::optional<std::string>& value) {
  ::SetEnvironmentVariableW(wide(name).c_str(), value ? wide(*value).c_str() : nullptr);
}

}  // namespace test_environment
