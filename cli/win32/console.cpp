#include "cli/win32/console.h"

#include "cli/win32/processes.h"
#include "common/platform.h"
#include "common/win32/utf16.h"

#include <windows.h>
#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <shellapi.h>

namespace kx::cli {
namespace {

#ifndef ENABLE_VIRTUAL_TERMINAL_PROCESSING
constexpr DWORD ENABLE_VIRTUAL_TERMINAL_PROCESSING = 4;
#endif

constexpr DWORD kLargestWrite = 8192;

// What calls have to return in, once their browser has been ended.
constexpr std::uint64_t kGiveUpAfterMilliseconds = 3000;

Interruption interrupted = false;
// By the system's clock; 0 before the second key.
std::atomic<std::uint64_t> endedAt = 0;

// Runs on a thread of the system's.
BOOL WINAPI onKey(DWORD event) {
  const bool isKey = event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT;
  // When the window is closed there is no time for more.
  if (interrupted.exchange(true) || !isKey) {
    endDescendants();
    std::uint64_t never = 0;
    endedAt.compare_exchange_strong(never, ::GetTickCount64());
  }
  return TRUE;
}

bool isConsole(HANDLE handle) {
  DWORD mode = 0;
  return ::GetConsoleMode(handle, &mode) != FALSE;
}

}  // namespace

OutputBuffer::OutputBuffer(DWORD standardHandle)
    : handle_(::GetStdHandle(standardHandle)), isConsole_(::GetConsoleMode(handle_, &mode_) != FALSE) {
  isTerminal_ = isConsole_ && ::SetConsoleMode(handle_, mode_ | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != FALSE;
}

OutputBuffer::~OutputBuffer() {
  close();
}

void OutputBuffer::close() {
  OutputBuffer::sync();
  if (isTerminal_) {
    ::SetConsoleMode(handle_, mode_);
  }
}

Palette OutputBuffer::palette() const {
  const bool isWanted = platform::environmentVariable("NO_COLOR").value_or("").empty();
  return isTerminal_ && isWanted ? Palette::coloured() : Palette();
}

std::size_t OutputBuffer::columns() const {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  constexpr std::size_t kUsual = 80;
  return ::GetConsoleScreenBufferInfo(handle_, &info) != FALSE && info.dwSize.X > 1
             ? static_cast<std::size_t>(info.dwSize.X) - 1
             : kUsual;
}

int OutputBuffer::sync() {
  write(str());
  str({});
  return 0;
}

void OutputBuffer::write(const std::string& text) {
  const std::wstring wide = isConsole_ ? utf16FromUtf8(text) : std::wstring();
  const std::size_t length = isConsole_ ? wide.size() : text.size();
  for (std::size_t begin = 0; begin < length;) {
    const DWORD count = static_cast<DWORD>(std::min<std::size_t>(length - begin, kLargestWrite));
    DWORD written = 0;
    const BOOL isWritten = isConsole_
                               ? ::WriteConsoleW(handle_, wide.data() + begin, count, &written, nullptr)
                               : ::WriteFile(handle_, text.data() + begin, count, &written, nullptr);
    if (isWritten == FALSE || written == 0) {
      hasFailed_ = true;
      return;
    }
    begin += written;
  }
}

bool isInputTerminal() {
  return isConsole(::GetStdHandle(STD_INPUT_HANDLE));
}

std::string standardInput() {
  std::string bytes;
  std::array<char, 65536> piece;
  DWORD count = 0;
  while (::ReadFile(::GetStdHandle(STD_INPUT_HANDLE), piece.data(), static_cast<DWORD>(piece.size()), &count,
                    nullptr) != FALSE &&
         count > 0) {
    bytes.append(piece.data(), count);
  }
  return bytes;
}

std::vector<std::string> commandLineWords() {
  int count = 0;
  wchar_t** const words = ::CommandLineToArgvW(::GetCommandLineW(), &count);
  std::vector<std::string> result;
  for (int i = 1; i < count; ++i) {
    result.push_back(utf8FromUtf16(words[i]));
  }
  ::LocalFree(words);
  return result;
}

const Interruption& watchForInterruption() {
  ::SetConsoleCtrlHandler(&onKey, TRUE);
  return interrupted;
}

bool isGivenUp() {
  const std::uint64_t since = endedAt;
  return since != 0 && ::GetTickCount64() - since >= kGiveUpAfterMilliseconds;
}

}  // namespace kx::cli
