// One end of a named pipe, made of Windows calls alone: a test plays the library's peer with it. A step that
// cannot be done leaves an empty text or false. Every step is bounded, so that a test that goes wrong fails
// instead of hanging. One thread may read while another one writes.
#pragma once

#include <windows.h>
#include <cstddef>
#include <string>

class RawPipe {
 public:
  RawPipe() = default;
  RawPipe(RawPipe&& other) noexcept;
  RawPipe& operator=(RawPipe&& other) noexcept;
  RawPipe(const RawPipe&) = delete;
  RawPipe& operator=(const RawPipe&) = delete;
  ~RawPipe() { close(); }

  static RawPipe server(const std::string& name, DWORD instances = PIPE_UNLIMITED_INSTANCES);
  static RawPipe client(const std::string& name);

  explicit operator bool() const { return handle_ != INVALID_HANDLE_VALUE; }

  // From now on a step lasts until this event is signalled, and not 20 seconds at most.
  void endStepsWith(HANDLE event) { end_ = event; }

  // Of a server.
  bool accept() const;
  void disconnect() const { ::DisconnectNamedPipe(handle_); }

  // What one read gives, empty at the end.
  std::string read(std::size_t size = 4096) const;
  // Reads on until so many bytes have come, or the end.
  std::string readExactly(std::size_t size) const;
  std::string readToEnd() const;
  bool write(const std::string& bytes) const;
  // Waits until the other end has read what was written. This cannot be cut short.
  bool flush() const { return ::FlushFileBuffers(handle_) != FALSE; }

  // Whether the other end is still there.
  bool isConnected() const;
  void close();

 private:
  explicit RawPipe(HANDLE handle) : handle_(handle) {}

  HANDLE handle_ = INVALID_HANDLE_VALUE;
  HANDLE end_ = nullptr;
};
