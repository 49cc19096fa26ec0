#include "common/win32/utf16.h"

#include "common/last_error.h"

#include <windows.h>
#include <algorithm>
#include <limits>

namespace kx {

namespace {

// The conversion calls count in int. No text of that size reaches a Windows call, so a longer one is cut.
int countedSize(std::size_t size) {
  return static_cast<int>(std::min<std::size_t>(size, std::numeric_limits<int>::max()));
}

}  // namespace

std::wstring utf16FromUtf8(std::string_view text) {
  const LastErrorGuard guard;
  const int bytes = countedSize(text.size());
  if (bytes == 0) {
    return {};
  }
  const int needed = ::MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, nullptr, 0);
  // A second call without room would only tell the size once more.
  if (needed <= 0) {
    return {};
  }
  std::wstring wide(static_cast<std::size_t>(needed), L'\0');
  const int written = ::MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, wide.data(), needed);
  wide.resize(static_cast<std::size_t>(std::max(written, 0)));
  return wide;
}

std::string utf8FromUtf16(std::wstring_view text) {
  const LastErrorGuard guard;
  const int units = countedSize(text.size());
  if (units == 0) {
    return {};
  }
  const int needed = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), units, nullptr, 0, nullptr, nullptr);
  if (needed <= 0) {
    return {};
  }
  std::string narrow(static_cast<std::size_t>(needed), '\0');
  const int written =
      ::WideCharToMultiByte(CP_UTF8, 0, text.data(), units, narrow.data(), needed, nullptr, nullptr);
  narrow.resize(static_cast<std::size_t>(std::max(written, 0)));
  return narrow;
}

}  // namespace kx
