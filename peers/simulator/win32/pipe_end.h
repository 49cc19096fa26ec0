// One end of a named pipe in byte mode with overlapped I/O, used by the one thread that serves its
// connection. Every operation waits until it has ended, so nothing is ever left pending.
#pragma once

#include "win32/unique_handle.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace kxsim {

class PipeEnd {
 public:
  enum class Outcome { kDone, kEnded, kTimeout };

  PipeEnd() = default;

  // A new instance of a served pipe; empty on failure, with the last error set.
  static PipeEnd serve(const std::string& name, DWORD bufferBytes);

  // The client end of somebody's pipe; empty on failure, with the last error set.
  static PipeEnd open(const std::string& name);

  explicit operator bool() const { return static_cast<bool>(handle_); }
  HANDLE nativeHandle() const { return handle_.get(); }

  // Waits for a client. False when the pipe itself has failed.
  bool accept();

  // Appends what there is, at most that many bytes.
  Outcome read(std::string& into, std::size_t most, DWORD milliseconds = INFINITE);

  // A copy of what waits to be read; nothing is taken out. kEnded when the other end is gone.
  Outcome peek(std::string& into);

  // False when the other end is gone.
  bool write(std::string_view bytes);

  // Returns once the other end has read everything or is gone.
  void flush();

  // Flushes and closes. A served end is disconnected too.
  void close();

  // Drops a client of a served end, so that accept() can be called again.
  void disconnect();

 private:
  PipeEnd(HANDLE pipe, bool served);

  // Waits for the operation that was just started. `started` is what the call gave.
  Outcome finish(BOOL started, OVERLAPPED& overlapped, DWORD& count, DWORD milliseconds);

  UniqueHandle handle_;
  UniqueHandle event_;
  bool served_ = false;
  bool unflushed_ = false;
};

}  // namespace kxsim
