// Texts between tests and Windows: tests speak UTF-8, Windows calls take UTF-16. Apart from the library's own
// conversion, so that a slip there cannot hide itself in a test.
#pragma once

#include <windows.h>
#include <string>

inline std::wstring wide(const std::string& text) {
  const int bytes = static_cast<int>(text.size());
  std::wstring result(
      static_cast<std::size_t>(::MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, nullptr, 0)), L'\0');
  ::MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, result.data(), static_cast<int>(result.size()));
  return result;
}

inline std::string narrow(const std::wstring& text) {
  const int units = static_cast<int>(text.size());
  std::string result(static_cast<std::size_t>(
                         ::WideCharToMultiByte(CP_UTF8, 0, text.data(), units, nullptr, 0, nullptr, nullptr)),
                     '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, text.data(), units, result.data(), static_cast<int>(result.size()),
                        nullptr, nullptr);
  return result;
}
