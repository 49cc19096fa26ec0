#include "support/win32/raw_pipe.h"

#include "support/win32/text.h"

#include <array>
#include <optional>
#include <utility>

namespace {

constexpr DWORD kLongestStep = 20000;
constexpr DWORD kBufferSize = 4096;

// One operation on a pipe, with an event of its own.
class Operation {
 public:
  Operation() { overlapped_.hEvent = ::CreateEventW(nullptr, TRUE, FALSE, nullptr); }
  Operation(const Operation&) = delete;
  Operation& operator=(const Operation&) = delete;
  ~Operation() { ::CloseHandle(overlapped_.hEvent); }

  OVERLAPPED* get() { return &overlapped_; }

  // The bytes that it has moved; nothing when it failed, or was cancelled after its time.
  std::optional<DWORD> result(HANDLE pipe, BOOL begun, HANDLE end) {
    if (begun == FALSE && ::GetLastError() != ERROR_IO_PENDING) {
      return std::nullopt;
    }
    const std::array<HANDLE, 2> events = {overlapped_.hEvent, end};
    const bool hasEnd = end != nullptr;
    if (::WaitForMultipleObjects(hasEnd ? 2 : 1, events.data(), FALSE, hasEnd ? INFINITE : kLongestStep) !=
        WAIT_OBJECT_0) {
      ::CancelIoEx(pipe, &overlapped_);
    }
    DWORD count = 0;
    return ::GetOverlappedResult(pipe, &overlapped_, &count, TRUE) != FALSE ? std::optional<DWORD>(count)
                                                                            : std::nullopt;
  }

 private:
  OVERLAPPED overlapped_{};
};

}  // namespace

RawPipe::RawPipe(RawPipe&& other) noexcept
    : handle_(std::exchange(other.handle_, INVALID_HANDLE_VALUE)), end_(other.end_) {}

RawPipe& RawPipe::operator=(RawPipe&& other) noexcept {
  std::swap(handle_, other.handle_);
  std::swap(end_, other.end_);
  return *this;
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

bool RawPipe::accept() const {
  Operation connect;
  const BOOL begun = ::ConnectNamedPipe(handle_, connect.get());
  // A client may have come already, and may even have left again: what it wrote can still be read.
  if (begun == FALSE && (::GetLastError() == ERROR_PIPE_CONNECTED || ::GetLastError() == ERROR_NO_DATA)) {
    return true;
  }
  return connect.result(handle_, begun, end_).has_value();
}

std::string RawPipe::read(std::size_t size) const {
  Operation read;
  std::string bytes(size, '\0');
  const BOOL begun = ::ReadFile(handle_, bytes.data(), static_cast<DWORD>(size), nullptr, read.get());
  bytes.resize(read.result(handle_, begun, end_).value_or(0));
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
  for (std::string piece = read(); !piece.empty(); piece = read()) {
    bytes += piece;
  }
  return bytes;
}

bool RawPipe::write(const std::string& bytes) const {
  Operation write;
  const BOOL begun =
      ::WriteFile(handle_, bytes.data(), static_cast<DWORD>(bytes.size()), nullptr, write.get());
  return write.result(handle_, begun, end_) == bytes.size();
}

bool RawPipe::isConnected() const {
  return ::PeekNamedPipe(handle_, nullptr, 0, nullptr, nullptr, nullptr) != FALSE;
}

void RawPipe::close() {
  if (handle_ != INVALID_HANDLE_VALUE) {
    ::CloseHandle(std::exchange(handle_, INVALID_HANDLE_VALUE));
  }
}
