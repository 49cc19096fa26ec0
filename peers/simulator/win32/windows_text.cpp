#include "win32/windows_text.h"

#include "win32/unique_handle.h"

#include <windows.h>
#include <array>

namespace kxsim {

std::wstring toWide(std::string_view text) {
  if (text.empty()) {
    return {};
  }
  const int bytes = static_cast<int>(text.size());
  const int size = MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(size), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, wide.data(), size);
  return wide;
}

std::string toUtf8(std::wstring_view text) {
  if (text.empty()) {
    return {};
  }
  const int units = static_cast<int>(text.size());
  const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), units, nullptr, 0, nullptr, nullptr);
  std::string bytes(static_cast<std::size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), units, bytes.data(), size, nullptr, nullptr);
  return bytes;
}

std::optional<std::string> environmentVariable(const std::string& name) {
  const std::wstring wideName = toWide(name);
  const DWORD size = GetEnvironmentVariableW(wideName.c_str(), nullptr, 0);
  if (size <= 1) {
    return std::nullopt;
  }
  std::wstring value(size, L'\0');
  value.resize(GetEnvironmentVariableW(wideName.c_str(), value.data(), size));
  return toUtf8(value);
}

std::optional<std::string> readWholeFile(const std::string& path) {
  const UniqueHandle file(CreateFileW(toWide(path).c_str(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) {
    return std::nullopt;
  }
  std::string content;
  std::array<char, 65536> buffer{};
  DWORD count = 0;
  while (ReadFile(file.get(), buffer.data(), static_cast<DWORD>(buffer.size()), &count, nullptr) != 0 &&
         count != 0) {
    content.append(buffer.data(), count);
  }
  return content;
}

unsigned long writeWholeFile(const std::string& path, std::string_view bytes) {
  const UniqueHandle file(CreateFileW(toWide(path).c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                      CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) {
    return GetLastError();
  }
  DWORD count = 0;
  if (WriteFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr) == 0) {
    return GetLastError();
  }
  return count == bytes.size() ? 0 : ERROR_DISK_FULL;
}

}  // namespace kxsim
