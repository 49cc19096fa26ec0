// The other side of a pipe, made of Windows calls alone: a test plays the library's peer with it. Every step
// is bounded, so that a test that goes wrong fails instead of hanging; a step that cannot be done leaves an
// empty text or false. One thread at a time.
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
  ~RawPipe();

  static RawPipe server(const std::string& name, DWORD instances = PIPE_UNLIMITED_INSTANCES);
  static RawPipe client(const std::string& name);

  explicit operator bool() const { return handle_ != INVALID_HANDLE_VALUE; }
  HANDLE handle() const { return handle_; }

  // Of a server.
  bool accept() const;
  void disconnect() const;

  // What one read gives, empty at the end.
  std::string read(std::size_t size) const;
  // Reads on until so many bytes have come, or the end.
  std::string readExactly(std::size_t size) const;
  std::string readToEnd() const;
  bool write(const std::string& bytes) const;

  // Whether the other end is still there.
  bool isConnected() const;
  void close();

 private:
  explicit RawPipe(HANDLE handle);
  DWORD finished(BOOL done, OVERLAPPED& overlapped) const;

  HANDLE handle_ = INVALID_HANDLE_VALUE;
  HANDLE event_ = nullptr;
};
