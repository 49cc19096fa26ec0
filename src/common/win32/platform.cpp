#include "common/platform.h"

#include "common/last_error.h"
#include "common/win32/utf16.h"

#include <windows.h>
#include <array>

namespace kx {

namespace {

// Variable names are short ASCII literals. They are widened without a heap allocation, since every log call
// reads one.
class WideName {
 public:
  explicit WideName(const char* name) {
    for (std::size_t i = 0; i + 1 < text_.size() && name[i] != '\0'; ++i) {
      text_[i] = static_cast<wchar_t>(name[i]);
    }
  }
  const wchar_t* get() const { return text_.data(); }

 private:
  std::array<wchar_t, 64> text_{};
};

}  // namespace

namespace platform {

std::uint32_t currentProcessId() {
  return ::GetCurrentProcessId();
}

std::uint32_t currentThreadId() {
  return ::GetCurrentThreadId();
}

std::uint32_t lastErrorNumber() {
  return ::GetLastError();
}

void setLastErrorNumber(std::uint32_t number) {
  ::SetLastError(number);
}

void writeDebuggerLine(const char* line) {
  ::OutputDebugStringA(line);
}

std::optional<std::string> environmentVariable(const char* name) {
  const LastErrorGuard guard;
  const WideName wideName(name);

  std::array<wchar_t, 256> shortValue;
  // An absent variable and an empty one both give length 0, and only the absent one sets an error.
  ::SetLastError(ERROR_SUCCESS);
  DWORD length =
      ::GetEnvironmentVariableW(wideName.get(), shortValue.data(), static_cast<DWORD>(shortValue.size()));
  if (length == 0 && ::GetLastError() == ERROR_ENVVAR_NOT_FOUND) {
    return std::nullopt;
  }
  if (length < shortValue.size()) {
    return utf8FromUtf16({shortValue.data(), length});
  }

  // Another thread may lengthen the value between the two calls, or remove it.
  std::wstring value;
  while (length > value.size()) {
    value.resize(length);
    ::SetLastError(ERROR_SUCCESS);
    length = ::GetEnvironmentVariableW(wideName.get(), value.data(), static_cast<DWORD>(value.size()));
    if (length == 0 && ::GetLastError() == ERROR_ENVVAR_NOT_FOUND) {
      return std::nullopt;
    }
  }
  value.resize(length);
  return utf8FromUtf16(value);
}

std::FILE* openFile(const std::string& path, const char* mode) {
  return ::_wfopen(utf16FromUtf8(path).c_str(), utf16FromUtf8(mode).c_str());
}

}  // namespace platform

}  // namespace kx
