// What the tests of the pipe primitives share: ends of the library that are connected to a raw peer, and
// waits that end as a test says, without time passing.
#pragma once

#include "pipe/win32/pipe.h"
#include "support/win32/log_file.h"
#include "support/win32/pipe_name.h"
#include "support/win32/windows_calls_override.h"
#include "win32/pipe/raw_pipe.h"

#include <gtest/gtest.h>

#include <windows.h>
#include <array>
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

// Every wait for two events gives the same result, at once.
class WaitsEndWith {
 public:
  explicit WaitsEndWith(DWORD result, DWORD error = ERROR_SUCCESS)
      : wait_([result, error](DWORD, const HANDLE*, BOOL, DWORD) { return failWith(error, result); }) {}

  int count() const { return wait_.count(); }

 private:
  SubstitutedCall<&WindowsCalls::waitForMultipleObjects> wait_;
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

}  // namespace kx
