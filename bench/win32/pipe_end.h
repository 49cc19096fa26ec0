// One end of an overlapped pipe in as few Windows calls as will do: an event, an OVERLAPPED, and bare
// WriteFile and ReadFile. What the library is measured against, and what the peer uses.
#pragma once

#include <windows.h>
#include <cstddef>
#include <string>

class PipeEnd {
 public:
  // What one read asks for, on both sides and in both legs; the library asks for as many.
  static constexpr DWORD kReadBytes = 4096;

  // The library has a second event for each end, by which a wait can be ended, sets the read mode of a pipe
  // that it opens, and asks what an end is before it closes it.
  enum class Extras { None, AsTheLibrary };

  explicit PipeEnd(Extras extras = Extras::None);
  PipeEnd(const PipeEnd&) = delete;
  PipeEnd& operator=(const PipeEnd&) = delete;
  // NOLINTNEXTLINE(bugprone-exception-escape): an end that cannot be closed ends the benchmark
  ~PipeEnd();

  // The server end of a new pipe, of the kind that the library creates.
  void create(const std::wstring& name);
  void accept();
  // The client end. Waits while the pipe is busy.
  void open(const std::wstring& name);
  bool isOpen() const { return handle_ != INVALID_HANDLE_VALUE; }

  void write(const char* bytes, std::size_t size);
  // The number of bytes read, at most kReadBytes; 0 at the end of the connection.
  std::size_t read(char* buffer);

  void close();
  // As a server lets go of a client: what was written is read first.
  void flushAndClose();

 private:
  void askWhatItIs();
  void letGo();
  bool succeeds(BOOL result, DWORD& count);

  const Extras extras_;
  HANDLE handle_ = INVALID_HANDLE_VALUE;
  HANDLE cancelEvent_ = nullptr;
  OVERLAPPED overlapped_{};
};
