#include "bounds/staged_world.h"

#include <cstring>
#include <utility>

namespace kx {

namespace {

constexpr DWORD kBrowser = 4711;

// Handles that stand for something without being it. Windows has reserved these values for what needs no
// closing, so closing them does nothing, at no cost.
HANDLE reservedHandle(std::intptr_t value) {
  return reinterpret_cast<HANDLE>(value);
}
const HANDLE kAnyHandle = reservedHandle(-2);
const HANDLE kServedPipe = reservedHandle(-4);
const HANDLE kMutex = reservedHandle(-5);

constexpr char kAnswer[] = "{\"errorCode\":1,\"status\":\"OK\",\"waitForProcessId\":4711}";

}  // namespace

StagedWorld::StagedWorld(Peer peer)
    : peer_(std::move(peer)),
      getTickCount_([this] { return clock_; }),
      sleep_([this](DWORD milliseconds) { pass(milliseconds); }),
      createMutex_([](LPSECURITY_ATTRIBUTES, BOOL, LPCWSTR) { return kMutex; }),
      waitForSingleObject_(
          [this](HANDLE handle, DWORD milliseconds) { return awaitObject(handle, milliseconds); }),
      createFile_([this](LPCWSTR name, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD, HANDLE) {
        return openFile(name);
      }),
      waitNamedPipe_([this](LPCWSTR, DWORD milliseconds) {
        pass(milliseconds);
        return TRUE;
      }),
      setNamedPipeHandleState_([](HANDLE, LPDWORD, LPDWORD, LPDWORD) { return TRUE; }),
      createNamedPipe_([](LPCWSTR, DWORD, DWORD, DWORD, DWORD, DWORD, DWORD, LPSECURITY_ATTRIBUTES) {
        return kServedPipe;
      }),
      createEvent_([](LPSECURITY_ATTRIBUTES, BOOL, BOOL, LPCSTR) { return kAnyHandle; }),
      getNamedPipeInfo_([](HANDLE pipe, LPDWORD flags, LPDWORD, LPDWORD, LPDWORD) {
        *flags = pipe == kServedPipe ? PIPE_SERVER_END : PIPE_CLIENT_END;
        return TRUE;
      }),
      connectNamedPipe_([this](HANDLE, LPOVERLAPPED) {
        DWORD count = 0;
        return begin(Moment::ConnectBack, 0, &count);
      }),
      flushFileBuffers_([this](HANDLE) {
        ++flushes_;
        return TRUE;
      }),
      disconnectNamedPipe_([](HANDLE) { return TRUE; }),
      writeFile_([this](HANDLE pipe, LPCVOID, DWORD length, LPDWORD count, LPOVERLAPPED) {
        return begin(pipe == kServedPipe ? Moment::WriteRequest : Moment::WriteName, length, count);
      }),
      readFile_([this](HANDLE, LPVOID buffer, DWORD length, LPDWORD count, LPOVERLAPPED) {
        buffer_ = static_cast<char*>(buffer);
        return begin(Moment::ReadAnswer, length, count);
      }),
      waitForMultipleObjects_(
          [this](DWORD, const HANDLE*, BOOL, DWORD milliseconds) { return awaitPipe(milliseconds); }),
      getOverlappedResult_([this](HANDLE, LPOVERLAPPED, LPDWORD count, BOOL isCancelled) {
        if (isCancelled != FALSE || way_ == Way::Broken || way_ == Way::Never) {
          return failWith(ERROR_BROKEN_PIPE, FALSE);
        }
        *count = moment_ == Moment::ReadAnswer ? fillAnswer() : length_;
        return TRUE;
      }),
      cancelIo_([](HANDLE, LPOVERLAPPED) { return TRUE; }),
      createProcess_([](LPCWSTR, LPWSTR, LPSECURITY_ATTRIBUTES, LPSECURITY_ATTRIBUTES, BOOL, DWORD, LPVOID,
                        LPCWSTR, LPSTARTUPINFOW, LPPROCESS_INFORMATION process) {
        process->hProcess = kAnyHandle;
        process->hThread = kAnyHandle;
        process->dwProcessId = kBrowser;
        return TRUE;
      }),
      openProcess_([](DWORD, BOOL, DWORD) { return kAnyHandle; }),
      terminateProcess_([](HANDLE, UINT) { return TRUE; }) {}

StagedWorld::~StagedWorld() = default;

void StagedWorld::restart(Peer peer) {
  peer_ = std::move(peer);
  start_ = clock_;
  waitedForEver_ = false;
  flushes_ = 0;
  answer_.clear();
}

void StagedWorld::pass(DWORD milliseconds) {
  if (milliseconds == INFINITE) {
    waitedForEver_ = true;
  } else {
    clock_ += milliseconds;
  }
}

Way StagedWorld::ask(Moment moment) {
  return peer_(moment);
}

BOOL StagedWorld::begin(Moment moment, DWORD length, DWORD* count) {
  moment_ = moment;
  length_ = length;
  way_ = ask(moment);
  if (way_ != Way::AtOnce) {
    return failWith(ERROR_IO_PENDING, FALSE);
  }
  if (moment == Moment::ConnectBack) {
    return failWith(ERROR_PIPE_CONNECTED, FALSE);
  }
  *count = moment == Moment::ReadAnswer ? fillAnswer() : length;
  return TRUE;
}

// A wait without a limit ends as soon as it is noted, with a failure when nothing would ever come.
DWORD StagedWorld::awaitPipe(DWORD milliseconds) {
  pass(milliseconds);
  return way_ == Way::Never && milliseconds != INFINITE ? WAIT_TIMEOUT : WAIT_OBJECT_0;
}

DWORD StagedWorld::awaitObject(HANDLE handle, DWORD milliseconds) {
  const Way way = ask(handle == kMutex ? Moment::StartLock : Moment::BrowserEnd);
  if (way == Way::AtOnce) {
    return WAIT_OBJECT_0;
  }
  pass(milliseconds);
  return way == Way::Never ? WAIT_TIMEOUT : WAIT_OBJECT_0;
}

HANDLE StagedWorld::openFile(const std::wstring& name) {
  if (!name.starts_with(L"\\\\.\\pipe\\")) {
    return failWith(ERROR_FILE_NOT_FOUND, INVALID_HANDLE_VALUE);
  }
  if (busyRounds_ > 0) {
    --busyRounds_;
    return failWith(ERROR_PIPE_BUSY, INVALID_HANDLE_VALUE);
  }
  return ask(Moment::OpenPipe) == Way::Missing ? failWith(ERROR_FILE_NOT_FOUND, INVALID_HANDLE_VALUE)
                                               : kAnyHandle;
}

DWORD StagedWorld::fillAnswer() {
  if (answer_.empty()) {
    answer_ = kAnswer;
  }
  const std::size_t count = way_ == Way::Piece ? 1 : answer_.size();
  std::memcpy(buffer_, answer_.data(), count);
  answer_.erase(0, count);
  return static_cast<DWORD>(count);
}

}  // namespace kx
