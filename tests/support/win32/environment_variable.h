// An environment variable of this process that a test sets or removes. The old value, or its absence, is put
// back at the end. Works on the process block, where every host's changes arrive, and takes any UTF-8 value.
#pragma once

#include "support/win32/text.h"

#include <windows.h>
#include <optional>
#include <string>

class EnvironmentVariable {
 public:
  // Remembers the value and leaves it as it is.
  explicit EnvironmentVariable(const std::string& name) : name_(wide(name)), old_(read(name_)) {}
  EnvironmentVariable(const std::string& name, const std::string& value) : EnvironmentVariable(name) {
    set(value);
  }
  EnvironmentVariable(const EnvironmentVariable&) = delete;
  EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;
  ~EnvironmentVariable() { ::SetEnvironmentVariableW(name_.c_str(), old_ ? old_->c_str() : nullptr); }

  void set(const std::string& value) { ::SetEnvironmentVariableW(name_.c_str(), wide(value).c_str()); }
  void remove() { ::SetEnvironmentVariableW(name_.c_str(), nullptr); }

  static std::optional<std::string> valueOf(const std::string& name) {
    const std::optional<std::wstring> value = read(wide(name));
    return value ? std::optional<std::string>(narrow(*value)) : std::nullopt;
  }

 private:
  static std::optional<std::wstring> read(const std::wstring& name) {
    ::SetLastError(ERROR_SUCCESS);
    const DWORD size = ::GetEnvironmentVariableW(name.c_str(), nullptr, 0);
    if (size == 0) {
      return ::GetLastError() == ERROR_ENVVAR_NOT_FOUND ? std::nullopt : std::optional<std::wstring>(L"");
    }
    std::wstring value(size, L'\0');
    value.resize(::GetEnvironmentVariableW(name.c_str(), value.data(), size));
    return value;
  }

  std::wstring name_;
  std::optional<std::wstring> old_;
};
