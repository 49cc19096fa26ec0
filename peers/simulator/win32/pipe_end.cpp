#include "win32/pipe_end.h"

#include "win32/windows_text.h"

#include <algorithm>
#include <array>

namespace kxsim {
namespace {

constexpr std::size_t kLargestRead = 65536;
constexpr DWORD kBusyWaitMilliseconds = 2000;

}  // namespace

PipeEnd::PipeEnd(HANDLE pipe, bool served)
    : handle_(pipe), event_(CreateEventW(nullptr, TRUE, FALSE, nullptr)), served_(served) {}

PipeEnd PipeEnd::serve(const std::string& name, DWORD bufferBytes) {
  const HANDLE pipe = CreateNamedPipeW(toWide(name).c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
                                       PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT,
                                       PIPE_UNLIMITED_INSTANCES, bufferBytes, bufferBytes, 0, nullptr);
  return pipe == INVALID_HANDLE_VALUE ? PipeEnd() : PipeEnd(pipe, true);
}

PipeEnd PipeEnd::open(const std::string& name) {
  const std::wstring wideName = toWide(name);
  for (;;) {
    const HANDLE pipe = CreateFileW(wideName.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                    FILE_FLAG_OVERLAPPED, nullptr);
    if (pipe != INVALID_HANDLE_VALUE) {
      return {pipe, false};
    }
    if (GetLastError() != ERROR_PIPE_BUSY || WaitNamedPipeW(wideName.c_str(), kBusyWaitMilliseconds) == 0) {
      return {};
    }
  }
}

bool PipeEnd::accept() {
  OVERLAPPED overlapped{};
  overlapped.hEvent = event_.get();
  DWORD count = 0;
  if (ConnectNamedPipe(handle_.get(), &overlapped) != 0) {
    return true;
  }
  switch (GetLastError()) {
    case ERROR_PIPE_CONNECTED:
    case ERROR_NO_DATA:
      // A client that has come and left before it was waited for counts too: what it wrote can still be read.
      return true;
    case ERROR_IO_PENDING:
      return GetOverlappedResult(handle_.get(), &overlapped, &count, TRUE) != 0;
    default:
      return false;
  }
}

PipeEnd::Outcome PipeEnd::finish(BOOL started, OVERLAPPED& overlapped, DWORD& count, DWORD milliseconds) {
  if (started == 0 && GetLastError() != ERROR_IO_PENDING) {
    return Outcome::kEnded;
  }
  if (WaitForSingleObject(event_.get(), milliseconds) != WAIT_OBJECT_0) {
    CancelIoEx(handle_.get(), &overlapped);
  }
  if (GetOverlappedResult(handle_.get(), &overlapped, &count, TRUE) != 0) {
    return Outcome::kDone;
  }
  return GetLastError() == ERROR_OPERATION_ABORTED ? Outcome::kTimeout : Outcome::kEnded;
}

PipeEnd::Outcome PipeEnd::read(std::string& into, std::size_t most, DWORD milliseconds) {
  std::array<char, kLargestRead> buffer{};
  OVERLAPPED overlapped{};
  overlapped.hEvent = event_.get();
  DWORD count = 0;
  const auto size = static_cast<DWORD>(std::min(most, buffer.size()));
  const BOOL started = ReadFile(handle_.get(), buffer.data(), size, nullptr, &overlapped);
  const Outcome outcome = finish(started, overlapped, count, milliseconds);
  if (outcome == Outcome::kDone) {
    into.append(buffer.data(), count);
  }
  return outcome;
}

PipeEnd::Outcome PipeEnd::peek(std::string& into) {
  std::array<char, kLargestRead> buffer{};
  DWORD count = 0;
  if (PeekNamedPipe(handle_.get(), buffer.data(), static_cast<DWORD>(buffer.size()), &count, nullptr,
                    nullptr) == 0) {
    return Outcome::kEnded;
  }
  into.assign(buffer.data(), count);
  return Outcome::kDone;
}

bool PipeEnd::write(std::string_view bytes) {
  while (!bytes.empty()) {
    OVERLAPPED overlapped{};
    overlapped.hEvent = event_.get();
    DWORD count = 0;
    const auto size = static_cast<DWORD>(std::min<std::size_t>(bytes.size(), 1U << 30U));
    const BOOL started = WriteFile(handle_.get(), bytes.data(), size, nullptr, &overlapped);
    if (finish(started, overlapped, count, INFINITE) != Outcome::kDone || count == 0) {
      return false;
    }
    unflushed_ = true;
    bytes.remove_prefix(count);
  }
  return true;
}

void PipeEnd::flush() {
  if (unflushed_) {
    FlushFileBuffers(handle_.get());
    unflushed_ = false;
  }
}

void PipeEnd::disconnect() {
  DisconnectNamedPipe(handle_.get());
}

void PipeEnd::close() {
  if (handle_) {
    flush();
    if (served_) {
      disconnect();
    }
    handle_.reset();
  }
}

}  // namespace kxsim
