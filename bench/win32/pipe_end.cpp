#include "win32/pipe_end.h"

#include "win32/windows_error.h"

#include <utility>

namespace {

constexpr DWORD kPipeBufferBytes = 512;
constexpr DWORD kBusyMilliseconds = 5000;

}  // namespace

PipeEnd::PipeEnd(Extras extras) : extras_(extras) {
  overlapped_.hEvent = ::CreateEventW(nullptr, TRUE, TRUE, nullptr);
  if (extras_ == Extras::AsTheLibrary) {
    cancelEvent_ = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
  }
  if (overlapped_.hEvent == nullptr || (extras_ == Extras::AsTheLibrary && cancelEvent_ == nullptr)) {
    failWith("cannot make an event");
  }
}

// NOLINTNEXTLINE(bugprone-exception-escape): an end that cannot be closed ends the benchmark
PipeEnd::~PipeEnd() {
  close();
  ::CloseHandle(overlapped_.hEvent);
  if (cancelEvent_ != nullptr) {
    ::CloseHandle(cancelEvent_);
  }
}

void PipeEnd::create(const std::wstring& name) {
  handle_ = ::CreateNamedPipeW(name.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
                               PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT, PIPE_UNLIMITED_INSTANCES,
                               kPipeBufferBytes, kPipeBufferBytes, 0, nullptr);
  if (handle_ == INVALID_HANDLE_VALUE) {
    failWith("cannot create a pipe");
  }
}

void PipeEnd::accept() {
  DWORD count = 0;
  const BOOL result = ::ConnectNamedPipe(handle_, &overlapped_);
  if (result == FALSE && ::GetLastError() == ERROR_PIPE_CONNECTED) {
    return;
  }
  if (!succeeds(result, count)) {
    failWith("nobody came to the pipe");
  }
}

void PipeEnd::open(const std::wstring& name) {
  const auto tryToOpen = [&] {
    handle_ = ::CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                            FILE_FLAG_OVERLAPPED, nullptr);
    return isOpen();
  };
  while (!tryToOpen()) {
    if (::GetLastError() != ERROR_PIPE_BUSY || ::WaitNamedPipeW(name.c_str(), kBusyMilliseconds) == FALSE) {
      failWith("cannot open a pipe");
    }
  }
  DWORD mode = PIPE_READMODE_BYTE;
  if (extras_ == Extras::AsTheLibrary &&
      ::SetNamedPipeHandleState(handle_, &mode, nullptr, nullptr) == FALSE) {
    failWith("cannot set the mode of a pipe");
  }
}

void PipeEnd::write(const char* bytes, std::size_t size) {
  DWORD count = 0;
  const BOOL result = ::WriteFile(handle_, bytes, static_cast<DWORD>(size), &count, &overlapped_);
  if (!succeeds(result, count) || count != size) {
    failWith("cannot write to a pipe");
  }
}

std::size_t PipeEnd::read(char* buffer) {
  DWORD count = 0;
  const BOOL result = ::ReadFile(handle_, buffer, kReadBytes, &count, &overlapped_);
  return succeeds(result, count) ? count : 0;
}

void PipeEnd::close() {
  if (isOpen()) {
    askWhatItIs();
    letGo();
  }
}

void PipeEnd::flushAndClose() {
  askWhatItIs();
  if (::FlushFileBuffers(handle_) == FALSE || ::DisconnectNamedPipe(handle_) == FALSE) {
    failWith("cannot let go of a pipe");
  }
  letGo();
}

void PipeEnd::askWhatItIs() {
  DWORD flags = 0;
  if (extras_ == Extras::AsTheLibrary &&
      ::GetNamedPipeInfo(handle_, &flags, nullptr, nullptr, nullptr) == FALSE) {
    failWith("the system knows nothing of a pipe");
  }
}

void PipeEnd::letGo() {
  ::CloseHandle(std::exchange(handle_, INVALID_HANDLE_VALUE));
}

bool PipeEnd::succeeds(BOOL result, DWORD& count) {
  return result != FALSE || (::GetLastError() == ERROR_IO_PENDING &&
                             ::GetOverlappedResult(handle_, &overlapped_, &count, TRUE) != FALSE);
}
