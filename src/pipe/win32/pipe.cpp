#include "pipe/win32/pipe.h"

#include "common/last_error.h"
#include "common/timeouts.h"
#include "common/win32/unique_handle.h"
#include "common/win32/utf16.h"
#include "common/win32/windows_calls.h"
#include "log/log.h"
#include "pipe/win32/pipe_security.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kx {

namespace {

constexpr DWORD kPipeBufferBytes = 512;

// An end has room for so many bytes from the beginning: what answers a request that has gone out can be read,
// whatever memory is left then.
constexpr std::size_t kFirstBytes = 4096;

// Bytes beyond this size are given back once their operation has ended, so that one huge request does not
// stay in memory.
constexpr std::size_t kKeptBytes = 65536;

constexpr DWORD kWaitFinished = WAIT_OBJECT_0;
constexpr DWORD kWaitCancelled = WAIT_OBJECT_0 + 1;

enum class Operation { None, Accept, Read, Write };

}  // namespace

struct pipe_handle {
  HANDLE handle = INVALID_HANDLE_VALUE;
  HANDLE io_event = nullptr;
  HANDLE cancel_event = nullptr;
  PipeSecurity security;  // of a server end
  OVERLAPPED overlapped{};

  // The operation that the kernel has not finished yet, and the bytes that it reads or fills.
  Operation pending = Operation::None;
  std::vector<char> bytes;

  // What a read has received and no caller has got yet: more than the caller asked for, or received before a
  // write ended the read.
  std::vector<char> undelivered;
};

namespace {

// What is left of a time-out for an operation that may have to wait for another one first. The clock starts
// with the first wait: a single wait gets the whole time-out.
class Deadline {
 public:
  explicit Deadline(int timeoutSeconds) : wait_(transportWaitMilliseconds(timeoutSeconds)) {}

  DWORD remaining() {
    const ULONGLONG now = windowsCalls().getTickCount();
    if (wait_ == kWaitForever || !start_) {
      start_ = now;
      return wait_;
    }
    const ULONGLONG passed = now - *start_;
    return passed < wait_ ? static_cast<DWORD>(wait_ - passed) : 0;
  }

 private:
  DWORD wait_;
  std::optional<ULONGLONG> start_;
};

UniqueHandle makeIoEvent() {
  return UniqueHandle(windowsCalls().createEvent(nullptr, TRUE, TRUE, nullptr));
}

UniqueHandle makeCancelEvent() {
  return UniqueHandle(windowsCalls().createEvent(nullptr, FALSE, FALSE, nullptr));
}

pipe_handle* makeEnd(UniqueHandle handle, UniqueHandle ioEvent, UniqueHandle cancelEvent,
                     PipeSecurity security) {
  auto pipe = std::make_unique<pipe_handle>();
  pipe->bytes.resize(kFirstBytes);
  pipe->handle = handle.release();
  pipe->io_event = ioEvent.release();
  pipe->cancel_event = cancelEvent.release();
  pipe->security = std::move(security);
  pipe->overlapped.hEvent = pipe->io_event;
  return pipe.release();
}

int failBadArguments() {
  ::SetLastError(ERROR_BAD_ARGUMENTS);
  return PIPE_ERR_FAILED;
}

// 0 means that the operation has ended, 1 that the wait was cancelled.
DWORD waitForIo(const pipe_handle& pipe, Deadline& deadline) {
  const std::array<HANDLE, 2> events = {pipe.io_event, pipe.cancel_event};
  return windowsCalls().waitForMultipleObjects(static_cast<DWORD>(events.size()), events.data(), FALSE,
                                               deadline.remaining());
}

BOOL finishedResult(pipe_handle& pipe, DWORD& count) {
  return windowsCalls().getOverlappedResult(pipe.handle, &pipe.overlapped, &count, FALSE);
}

// Room for so many bytes. It never shrinks between a short write and the read that follows, which would have
// to clear it again.
void holdBytes(pipe_handle& pipe, std::size_t size) {
  if (pipe.bytes.size() < size) {
    pipe.bytes.resize(size);
  }
}

// The pending operation has ended: nothing of it is the kernel's any more.
void endPending(pipe_handle& pipe) {
  pipe.pending = Operation::None;
  if (pipe.bytes.size() > kKeptBytes) {
    pipe.bytes.resize(kKeptBytes);
    pipe.bytes.shrink_to_fit();  // keeps all when there is no memory for less
  }
}

void keepUndelivered(pipe_handle& pipe, const char* first, std::size_t count) {
  pipe.undelivered.insert(pipe.undelivered.end(), first, first + count);
}

// Cancels the pending operation, if there is one, and waits until the kernel has let go of it. False when it
// cannot be cancelled, with the reason as the last error: then it stays pending, and a wait for its end might
// have none. Logs nothing.
bool cancelPending(pipe_handle& pipe, DWORD& count) {
  count = 0;
  if (pipe.pending == Operation::None) {
    return true;
  }
  if (windowsCalls().cancelIo(pipe.handle, &pipe.overlapped) == FALSE &&
      ::GetLastError() != ERROR_NOT_FOUND) {
    return false;
  }
  if (windowsCalls().getOverlappedResult(pipe.handle, &pipe.overlapped, &count, TRUE) == FALSE) {
    count = 0;
  }
  return true;
}

// Ends a pending read ahead of a write; what it had received is kept for the next read.
bool cancelRead(pipe_handle& pipe) {
  DWORD count = 0;
  if (!cancelPending(pipe, count)) {
    return false;
  }
  keepUndelivered(pipe, pipe.bytes.data(), count);
  endPending(pipe);
  return true;
}

// Waits until the pending operation has ended, if there is one. The result is that of the wait.
DWORD awaitPending(pipe_handle& pipe, Deadline& deadline) {
  if (pipe.pending == Operation::None) {
    return kWaitFinished;
  }
  const DWORD result = waitForIo(pipe, deadline);
  if (result == kWaitFinished) {
    endPending(pipe);
  }
  return result;
}

// The code of a wait that ended before the operation did.
int acceptWaitCode(DWORD waitResult) {
  if (waitResult == kWaitCancelled) {
    return PIPE_ERR_CANCELLED;
  }
  // A failed wait counts as one that ran out.
  __logerr("pipe_accept: timeout");
  return PIPE_ERR_TIMEOUT;
}

int readWaitCode(DWORD waitResult) {
  if (waitResult == kWaitCancelled) {
    return PIPE_ERR_CANCELLED;
  }
  if (waitResult == WAIT_TIMEOUT) {
    __logerr("pipe_read: timeout");
    return PIPE_ERR_TIMEOUT;
  }
  __logerr("pipe_read: wait error %d", lastErrorForLog());
  return PIPE_ERR_FAILED;
}

int writeWaitCode(DWORD waitResult) {
  if (waitResult == kWaitCancelled) {
    return PIPE_ERR_CANCELLED;
  }
  if (waitResult == WAIT_TIMEOUT) {
    __logerr("pipe_write: timeout");
    return PIPE_ERR_TIMEOUT;
  }
  __logerr("pipe_write: wait error %d", lastErrorForLog());
  return PIPE_ERR_FAILED;
}

int deliverKept(pipe_handle& pipe, char* buffer, std::size_t length) {
  const std::size_t count = std::min(length, pipe.undelivered.size());
  std::copy_n(pipe.undelivered.begin(), count, buffer);
  pipe.undelivered.erase(pipe.undelivered.begin(),
                         pipe.undelivered.begin() + static_cast<std::ptrdiff_t>(count));
  return static_cast<int>(count);
}

// Hands out what a finished read has left in the end's own bytes. It may be more than this caller asked for.
int deliver(pipe_handle& pipe, char* buffer, std::size_t length, DWORD count) {
  const std::size_t delivered = std::min<std::size_t>(length, count);
  std::copy_n(pipe.bytes.begin(), delivered, buffer);
  keepUndelivered(pipe, pipe.bytes.data() + delivered, count - delivered);
  endPending(pipe);
  return static_cast<int>(delivered);
}

int awaitRead(pipe_handle& pipe, char* buffer, std::size_t length, Deadline& deadline) {
  if (const DWORD result = waitForIo(pipe, deadline); result != kWaitFinished) {
    return readWaitCode(result);
  }
  DWORD count = 0;
  if (finishedResult(pipe, count) == FALSE && ::GetLastError() != ERROR_MORE_DATA) {
    // A pipe that breaks during the read has simply ended.
    count = 0;
  }
  return deliver(pipe, buffer, length, count);
}

}  // namespace

pipe_handle* pipe_create(const char* name) {
  if (name == nullptr) {
    failBadArguments();
    return nullptr;
  }
  PipeSecurity security = openToEveryone();
  if (!security) {
    __logerr("Can not build security attibutes, error %d", lastErrorForLog());
    return nullptr;
  }
  UniqueHandle handle(windowsCalls().createNamedPipe(
      utf16FromUtf8(name).c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
      PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT, PIPE_UNLIMITED_INSTANCES, kPipeBufferBytes,
      kPipeBufferBytes, 0, security.get()));
  if (!handle) {
    __logerr("Could not create pipe %s, error = %d", name, lastErrorForLog());
    return nullptr;
  }
  UniqueHandle cancelEvent = makeCancelEvent();
  UniqueHandle ioEvent = cancelEvent ? makeIoEvent() : UniqueHandle();
  if (!ioEvent) {
    __logerr("Could not create pipe %s, error = (%d)", name, lastErrorForLog());
    return nullptr;
  }
  return makeEnd(std::move(handle), std::move(ioEvent), std::move(cancelEvent), std::move(security));
}

pipe_handle* pipe_open(const char* name) {
  if (name == nullptr) {
    failBadArguments();
    return nullptr;
  }
  const std::wstring wideName = utf16FromUtf8(name);
  const auto open = [&wideName] {
    return UniqueHandle(windowsCalls().createFile(wideName.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                                  OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr));
  };
  UniqueHandle handle = open();
  while (!handle && ::GetLastError() == ERROR_PIPE_BUSY &&
         windowsCalls().waitNamedPipe(wideName.c_str(), kBusyPipeWaitMilliseconds) != FALSE) {
    handle = open();
  }
  if (!handle) {
    __loginf("Could not open pipe %s, error = %d", name, lastErrorForLog());
    return nullptr;
  }
  DWORD mode = PIPE_READMODE_BYTE;
  if (windowsCalls().setNamedPipeHandleState(handle.get(), &mode, nullptr, nullptr) == FALSE) {
    __loginf("Could not set pipe %s state, error = %d", name, lastErrorForLog());
    // Left open on purpose: the peer has seen a client connect, and closing at once would look to it like one
    // that hung up.
    static_cast<void>(handle.release());
    return nullptr;
  }
  UniqueHandle cancelEvent = makeCancelEvent();
  UniqueHandle ioEvent = cancelEvent ? makeIoEvent() : UniqueHandle();
  if (!ioEvent) {
    __loginf("Could not open pipe %s, error = (%d)", name, lastErrorForLog());
    return nullptr;
  }
  return makeEnd(std::move(handle), std::move(ioEvent), std::move(cancelEvent), nullptr);
}

int pipe_accept(pipe_handle* pipe, int timeoutSeconds) {
  if (pipe == nullptr) {
    return failBadArguments();
  }
  Deadline deadline(timeoutSeconds);
  if (pipe->pending != Operation::Accept) {
    if (const DWORD result = awaitPending(*pipe, deadline); result != kWaitFinished) {
      return acceptWaitCode(result);
    }
    if (windowsCalls().connectNamedPipe(pipe->handle, &pipe->overlapped) != FALSE ||
        ::GetLastError() == ERROR_PIPE_CONNECTED) {
      return 0;
    }
    if (::GetLastError() != ERROR_IO_PENDING) {
      __logerr("pipe_accept: wait error %d", lastErrorForLog());
      return PIPE_ERR_FAILED;
    }
    pipe->pending = Operation::Accept;
  }
  if (const DWORD result = awaitPending(*pipe, deadline); result != kWaitFinished) {
    return acceptWaitCode(result);
  }
  DWORD count = 0;
  if (finishedResult(*pipe, count) == FALSE) {
    __logerr("pipe_accept: get data error %d", lastErrorForLog());
    return PIPE_ERR_FAILED;
  }
  return 0;
}

int pipe_read(pipe_handle* pipe, void* buffer, int length, int timeoutSeconds) {
  if (pipe == nullptr || buffer == nullptr || length < 0) {
    return failBadArguments();
  }
  char* const target = static_cast<char*>(buffer);
  const auto wanted = static_cast<std::size_t>(length);
  if (!pipe->undelivered.empty()) {
    return deliverKept(*pipe, target, wanted);
  }
  Deadline deadline(timeoutSeconds);
  if (pipe->pending == Operation::Read) {
    return awaitRead(*pipe, target, wanted, deadline);
  }
  if (const DWORD result = awaitPending(*pipe, deadline); result != kWaitFinished) {
    return readWaitCode(result);
  }

  holdBytes(*pipe, wanted);
  DWORD count = 0;
  if (windowsCalls().readFile(pipe->handle, pipe->bytes.data(), static_cast<DWORD>(length), &count,
                              &pipe->overlapped) != FALSE) {
    return deliver(*pipe, target, wanted, count);
  }
  switch (::GetLastError()) {
    case ERROR_IO_PENDING:
      pipe->pending = Operation::Read;
      return awaitRead(*pipe, target, wanted, deadline);
    case ERROR_MORE_DATA:
      return deliver(*pipe, target, wanted, count);
    case ERROR_PIPE_NOT_CONNECTED:
    case ERROR_BROKEN_PIPE:
      return 0;
    default:
      __logerr("pipe_read: read error %d", lastErrorForLog());
      return PIPE_ERR_FAILED;
  }
}

int pipe_write(pipe_handle* pipe, const void* buffer, int length, int timeoutSeconds) {
  if (pipe == nullptr || buffer == nullptr || length < 0) {
    return failBadArguments();
  }
  Deadline deadline(timeoutSeconds);
  if (pipe->pending == Operation::Read) {
    if (!cancelRead(*pipe)) {
      __logerr("pipe_write: data write error %d", lastErrorForLog());
      return PIPE_ERR_FAILED;
    }
  } else if (const DWORD result = awaitPending(*pipe, deadline); result != kWaitFinished) {
    return writeWaitCode(result);
  }

  holdBytes(*pipe, static_cast<std::size_t>(length));
  std::copy_n(static_cast<const char*>(buffer), length, pipe->bytes.data());
  DWORD count = 0;
  if (windowsCalls().writeFile(pipe->handle, pipe->bytes.data(), static_cast<DWORD>(length), &count,
                               &pipe->overlapped) != FALSE) {
    endPending(*pipe);
    return static_cast<int>(count);
  }
  if (::GetLastError() != ERROR_IO_PENDING) {
    __logerr("pipe_write: data write error %d", lastErrorForLog());
    endPending(*pipe);
    return PIPE_ERR_FAILED;
  }
  pipe->pending = Operation::Write;
  if (const DWORD result = awaitPending(*pipe, deadline); result != kWaitFinished) {
    return writeWaitCode(result);
  }
  if (finishedResult(*pipe, count) == FALSE) {
    __logerr("pipe_write: get data error %d", lastErrorForLog());
    return PIPE_ERR_FAILED;
  }
  return static_cast<int>(count);
}

void pipe_close(pipe_handle* pipe) {
  if (pipe == nullptr) {
    return;
  }
  {
    const LastErrorGuard guard;
    DWORD count = 0;
    if (cancelPending(*pipe, count)) {
      endPending(*pipe);
    }
  }

  const WindowsCalls& calls = windowsCalls();
  DWORD flags = 0;
  if (calls.getNamedPipeInfo(pipe->handle, &flags, nullptr, nullptr, nullptr) == FALSE) {
    __logerr("Could not get pipe info, error=%d", lastErrorForLog());
  }
  if ((flags & PIPE_SERVER_END) != 0) {
    // The flush returns only when the peer has read everything; a peer that stopped reading holds us here.
    // With a write still pending it would never return.
    if (pipe->pending != Operation::Write && calls.flushFileBuffers(pipe->handle) == FALSE) {
      __logerr("Could not flush pipe buffers before closing, error=%d", lastErrorForLog());
    }
    if (calls.disconnectNamedPipe(pipe->handle) == FALSE) {
      __logerr("Could not disconnect pipe, error=%d", lastErrorForLog());
    }
  }
  if (calls.closeHandle(pipe->handle) == FALSE) {
    __logerr("Could not close pipe, error=%d", lastErrorForLog());
    // The kernel object may still refer to them.
    static_cast<void>(pipe->security.release());
  }
  for (const HANDLE event : {pipe->cancel_event, pipe->io_event}) {
    if (event != nullptr && calls.closeHandle(event) == FALSE) {
      __logerr("Could not release pipe resources, error=%d", lastErrorForLog());
    }
  }
  // The kernel may still write into the record of an operation that could not be cancelled: it is never
  // freed.
  if (pipe->pending == Operation::None) {
    std::default_delete<pipe_handle>()(pipe);
  }
}

HANDLE pipe_cancel_event(const pipe_handle* pipe) {
  return pipe->cancel_event;
}

}  // namespace kx
