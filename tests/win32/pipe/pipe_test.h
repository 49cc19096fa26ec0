// What the tests of the pipe primitives share: ends of the library that are connected to a raw peer, waits
// that end as a test says, without time passing, and operations that are still pending.
#pragma once

#include "pipe/win32/pipe.h"
#include "support/win32/log_file.h"
#include "support/win32/pipe_name.h"
#include "support/win32/raw_pipe.h"
#include "support/win32/windows_calls_override.h"

#include <gtest/gtest.h>

#include <windows.h>
#include <string>
#include <vector>

namespace kx {

// The library's server end with a raw client.
struct ConnectedServer {
  ConnectedServer() : end(pipe_create(name.c_str())), peer(RawPipe::client(name)) {
    pipe_accept(end.get(), 5);
  }

  std::string name = uniquePipeName();
  UniquePipe end;
  RawPipe peer;
};

// The library's client end with a raw server.
struct ConnectedClient {
  ConnectedClient() : peer(RawPipe::server(name)), end(pipe_open(name.c_str())) { peer.accept(); }

  std::string name = uniquePipeName();
  RawPipe peer;
  UniquePipe end;
};

using WatchedWait = WatchedCall<&WindowsCalls::waitForMultipleObjects>;

// Every wait for two events gives the same result, at once.
class WaitsEndWith {
 public:
  explicit WaitsEndWith(DWORD result, DWORD error = ERROR_SUCCESS)
      : wait_([this, result, error](DWORD, const HANDLE*, BOOL, DWORD time) {
          milliseconds.push_back(time);
          return failWith(error, result);
        }) {}

  // How long each was to last.
  std::vector<DWORD> milliseconds;

 private:
  SubstitutedCall<&WindowsCalls::waitForMultipleObjects> wait_;
};

// The first or the second event of every pipe end cannot be made.
class FailingEvent {
 public:
  explicit FailingEvent(int failing)
      : create_(
            [this, failing](SECURITY_ATTRIBUTES* security, BOOL manualReset, BOOL isSignalled, LPCSTR name) {
              const bool fails = failing == (manualReset != FALSE ? 2 : 1);
              return fails ? failWith(ERROR_TOO_MANY_OPEN_FILES, HANDLE{})
                           : create_.real(security, manualReset, isSignalled, name);
            }) {}

  int count() const { return create_.count(); }

 private:
  SubstitutedCall<&WindowsCalls::createEvent> create_;
};

inline int readWithin(pipe_handle* pipe, std::string& buffer, int timeoutSeconds) {
  return pipe_read(pipe, buffer.data(), static_cast<int>(buffer.size()), timeoutSeconds);
}

// Reads once and gives the bytes; the text "failed: <code>" for a negative result.
inline std::string readText(pipe_handle* pipe, std::size_t size = 4096) {
  std::string buffer(size, '\0');
  const int count = readWithin(pipe, buffer, 10);
  if (count < 0) {
    return "failed: " + std::to_string(count);
  }
  return buffer.substr(0, static_cast<std::size_t>(count));
}

inline int writeText(pipe_handle* pipe, const std::string& text, int timeoutSeconds = 10) {
  return pipe_write(pipe, text.data(), static_cast<int>(text.size()), timeoutSeconds);
}

// Begins a read of so many bytes that runs out of time at once and so stays pending.
inline int readThatTimesOut(pipe_handle* pipe, std::string& buffer) {
  const WaitsEndWith wait(WAIT_TIMEOUT);
  return readWithin(pipe, buffer, 1);
}

// More than the buffers of a pipe hold: a write of it is pending until the peer reads.
inline std::string moreThanAPipeHolds() {
  std::string text;
  for (int i = 0; text.size() < 200000; ++i) {
    text += std::to_string(i) + ";";
  }
  return text;
}

inline int writeThatTimesOut(pipe_handle* pipe, const std::string& text) {
  const WaitsEndWith wait(WAIT_TIMEOUT);
  return writeText(pipe, text, 1);
}

// A server end with an operation that timed out and is still pending, for each kind of operation.
class PendingRead : public testing::Test {
 protected:
  static constexpr char kUntouched[] = "................";

  void SetUp() override { ASSERT_EQ(readThatTimesOut(end(), buffer), -3); }
  pipe_handle* end() const { return pipe.end.get(); }

  std::string buffer = kUntouched;
  ConnectedServer pipe;
};

class PendingWrite : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(writeThatTimesOut(end(), text), -3); }
  pipe_handle* end() const { return pipe.end.get(); }

  const std::string text = moreThanAPipeHolds();
  ConnectedServer pipe;
};

class PendingAccept : public testing::Test {
 protected:
  void SetUp() override {
    const WaitsEndWith wait(WAIT_TIMEOUT);
    ASSERT_EQ(pipe_accept(pipe.get(), 1), -3);
  }

  std::string name = uniquePipeName();
  UniquePipe pipe{pipe_create(name.c_str())};
};

}  // namespace kx
