#include "win32/pipe/raw_pipe.h"

#include "support/win32/text.h"

#include <utility>

namespace {

constexpr DWORD kLongestStep = 20000;
constexpr DWORD kBufferSize = 4096;
constexpr DWORD kFailed = 0xFFFFFFFF;

}  // namespace

RawPipe::RawPipe(HANDLE handle) : handle_(handle), event_(::CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}

RawPipe::RawPipe(RawPipe&& other) noexcept
    : handle_(std::exchange(other.handle_, INVALID_HANDLE_VALUE)),
      event_(std::exchange(other.event_, nullptr)) {}

RawPipe& RawPipe::operator=(RawPipe&& other) noexcept {
  std::swap(handle_, other.handle_);
  std::swap(event_, other.event_);
  return *this;
}

RawPipe::~RawPipe() {
  close();
  if (event_ != nullptr) {
    ::CloseHandle(event_);
  }
}

RawPipe RawPipe::server(const std::string& name, DWORD instances) {
  return RawPipe(::CreateNamedPipeW(wide(name).c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
                                    PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT, instances, kBufferSize,
                                    kBufferSize, 0, nullptr));
}

RawPipe RawPipe::client(const std::string& name) {
  return RawPipe(::CreateFileW(wide(name).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                               FILE_FLAG_OVERLAPPED, nullptr));
}

// The bytes that the step has moved, or kFailed.
DWORD RawPipe::finished(BOOL done, OVERLAPPED& overlapped) const {
  if (done == FALSE && ::GetLastError() != ERROR_IO_PENDING) {
    return kFailed;
  }
  if (::WaitForSingleObject(event_, kLongestStep) != WAIT_OBJECT_0) {
    ::CancelIoEx(handle_, &overlapped);
  }
  DWORD count = 0;
  return ::GetOverlappedResult(handle_, &overlapped, &count, TRUE) != FALSE ? count : kFailed;
}

bool RawPipe::accept() const {
  OVERLAPPED overlapped{};
  overlapped.hEvent = event_;
  const BOOL done = ::ConnectNamedPipe(handle_, &overlapped);
  // A client may have come already, and may even have left again: what it wrote can still be read.
  if (done == FALSE && (::GetLastError() == ERROR_PIPE_CONNECTED || ::GetLastError() == ERROR_NO_DATA)) {
    return true;
  }
  return finished(done, overlapped) != kFailed;
}

void RawPipe::disconnect() const {
  ::DisconnectNamedPipe(handle_);
}

std::string RawPipe::read(std::size_t size) const {
  OVERLAPPED overlapped{};
  overlapped.hEvent = event_;
  std::string bytes(size, '\0');
  const BOOL done = ::ReadFile(handle_, bytes.data(), static_cast<DWORD>(size), nullptr, &overlapped);
  const DWORD count = finished(done, overlapped);
  bytes.resize(count != kFailed ? count : 0);
  return bytes;
}

std::string RawPipe::readExactly(std::size_t size) const {
  std::string bytes;
  while (bytes.size() < size) {
    const std::string piece = read(size - bytes.size());
    if (piece.empty()) {
      break;
    }
    bytes += piece;
  }
  return bytes;
}

std::string RawPipe::readToEnd() const {
  std::string bytes;
  for (std::string piece = read(kBufferSize); !piece.empty(); piece = read(kBufferSize)) {
    bytes += piece;
  }
  return bytes;
}

bool RawPipe::write(const std::string& bytes) const {
  OVERLAPPED overlapped{};
  overlapped.hEvent = event_;
  const BOOL done =
      ::WriteFile(handle_, bytes.data(), static_cast<DWORD>(bytes.size()), nullptr, &overlapped);
  return finished(done, overlapped) == bytes.size();
}

bool RawPipe::isConnected() const {
  return ::PeekNamedPipe(handle_, nullptr, 0, nullptr, nullptr, nullptr) != FALSE;
}

void RawPipe::close() {
  if (handle_ != INVALID_HANDLE_VALUE) {
    ::CloseHandle(std::exchange(handle_, INVALID_HANDLE_VALUE));
  }
}
