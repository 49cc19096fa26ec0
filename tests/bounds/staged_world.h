// A world in which no time passes: the exports are the real ones, but every Windows call that waits, or that
// decides whether there is something to wait for, is staged. A wait takes its whole time on a clock of the
// world's own. What the peer does at each moment is up to the test. One object at a time, one thread.
#pragma once

#include "support/win32/windows_calls_override.h"

#include <cstdint>
#include <functional>
#include <string>

namespace kx {

// Where the library waits for somebody else.
enum class Moment { StartLock, OpenPipe, WriteName, ConnectBack, WriteRequest, ReadAnswer, BrowserEnd };

// How it goes on there.
enum class Way {
  AtOnce,   // without a wait
  Late,     // well, at the last moment
  Broken,   // the other side leaves, at the last moment
  Never,    // the wait runs out
  Missing,  // nobody serves the pipe
  Piece,    // a part of the answer, at the last moment
};

class StagedWorld {
 public:
  using Peer = std::function<Way(Moment)>;

  explicit StagedWorld(Peer peer);
  ~StagedWorld();
  StagedWorld(const StagedWorld&) = delete;
  StagedWorld& operator=(const StagedWorld&) = delete;

  // From now on somebody else decides, the clock shows 0, and nothing has happened.
  void restart(Peer peer);

  std::uint64_t waitedMilliseconds() const { return clock_ - start_; }
  // Whether a wait without a limit was begun. The world ends it, so that the call returns.
  bool waitedForEver() const { return waitedForEver_; }
  // How many connections were closed that the library serves: each waits for the peer.
  int flushes() const { return flushes_; }
  // How often the well-known pipe is found busy before it opens.
  void setBusyRounds(int rounds) { busyRounds_ = rounds; }

 private:
  void pass(DWORD milliseconds);
  Way ask(Moment moment);
  BOOL begin(Moment moment, DWORD length, DWORD* count);
  DWORD awaitPipe(DWORD milliseconds);
  DWORD awaitObject(HANDLE handle, DWORD milliseconds);
  HANDLE openFile(const std::wstring& name);
  DWORD fillAnswer();

  Peer peer_;
  ULONGLONG clock_ = 1000000;
  ULONGLONG start_ = clock_;
  bool waitedForEver_ = false;
  int flushes_ = 0;
  int busyRounds_ = 0;

  // The operation under way.
  Moment moment_ = Moment::ConnectBack;
  Way way_ = Way::AtOnce;
  DWORD length_ = 0;
  char* buffer_ = nullptr;
  std::string answer_;

  SubstitutedCall<&WindowsCalls::getTickCount> getTickCount_;
  SubstitutedCall<&WindowsCalls::sleep> sleep_;
  SubstitutedCall<&WindowsCalls::createMutex> createMutex_;
  SubstitutedCall<&WindowsCalls::waitForSingleObject> waitForSingleObject_;
  SubstitutedCall<&WindowsCalls::createFile> createFile_;
  SubstitutedCall<&WindowsCalls::waitNamedPipe> waitNamedPipe_;
  SubstitutedCall<&WindowsCalls::setNamedPipeHandleState> setNamedPipeHandleState_;
  SubstitutedCall<&WindowsCalls::createNamedPipe> createNamedPipe_;
  SubstitutedCall<&WindowsCalls::createEvent> createEvent_;
  SubstitutedCall<&WindowsCalls::getNamedPipeInfo> getNamedPipeInfo_;
  SubstitutedCall<&WindowsCalls::connectNamedPipe> connectNamedPipe_;
  SubstitutedCall<&WindowsCalls::flushFileBuffers> flushFileBuffers_;
  SubstitutedCall<&WindowsCalls::disconnectNamedPipe> disconnectNamedPipe_;
  SubstitutedCall<&WindowsCalls::writeFile> writeFile_;
  SubstitutedCall<&WindowsCalls::readFile> readFile_;
  SubstitutedCall<&WindowsCalls::waitForMultipleObjects> waitForMultipleObjects_;
  SubstitutedCall<&WindowsCalls::getOverlappedResult> getOverlappedResult_;
  SubstitutedCall<&WindowsCalls::cancelIo> cancelIo_;
  SubstitutedCall<&WindowsCalls::createProcess> createProcess_;
  SubstitutedCall<&WindowsCalls::openProcess> openProcess_;
  SubstitutedCall<&WindowsCalls::terminateProcess> terminateProcess_;
};

}  // namespace kx
