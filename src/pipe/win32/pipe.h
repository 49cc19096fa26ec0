// Six operations on one end of a Windows named pipe, all overlapped, each wait with a time-out in seconds and
// a cancel event that ends it early. Failures are told by null or a negative code and in the log; nothing
// throws, except for lack of memory. An end belongs to one thread at a time; only its cancel event may be
// signalled from another.
//
// An operation that timed out or was cancelled stays pending: the kernel may still read or fill its bytes.
// These therefore belong to the pipe_handle, never to the caller, and at most one operation is under way per
// end. The next operation of the same kind goes on with it. A write ends a pending read first, and what that
// read had received is kept for the next one. Every other operation waits, within its own time-out, for the
// one under way to end.
#pragma once

#include <windows.h>
#include <memory>

namespace kx {

inline constexpr int PIPE_ERR_FAILED = -1;     // a Windows call failed, or bad arguments
inline constexpr int PIPE_ERR_TIMEOUT = -3;    // the wait ran out
inline constexpr int PIPE_ERR_CANCELLED = -4;  // the cancel event was signalled

// One end of a pipe, owned by whoever created or opened it until pipe_close().
struct pipe_handle;

// Time-outs: 0 waits for ever, a negative value ten minutes. Names are UTF-8. A null name, end or buffer and
// a negative length give null or PIPE_ERR_FAILED with ERROR_BAD_ARGUMENTS as the last error and no log entry.

// The server end of a new pipe that every account may open. Null on failure, which is logged as an error.
pipe_handle* pipe_create(const char* name);

// The client end of an existing pipe. A busy pipe is waited for, up to five seconds each time, as often as it
// becomes free and somebody else takes it first. Null on failure, which is logged as information: nobody
// serving the pipe yet is nothing unusual, and a pipe that stays busy for five seconds counts as that.
pipe_handle* pipe_open(const char* name);

// Waits until a client has connected to a server end. 0 on success.
int pipe_accept(pipe_handle* pipe, int timeoutSeconds);

// Reads up to length bytes. The number read, or 0 when the other end has closed.
int pipe_read(pipe_handle* pipe, void* buffer, int length, int timeoutSeconds);

// Writes up to length bytes. The number written, which may be smaller.
int pipe_write(pipe_handle* pipe, const void* buffer, int length, int timeoutSeconds);

// Cancels what is pending and frees the end; null is ignored. A server end is flushed first, which takes as
// long as the peer needs to read what was written or to close.
void pipe_close(pipe_handle* pipe);

// The event that ends a wait on this end early. Owned by the end.
HANDLE pipe_cancel_event(const pipe_handle* pipe);

struct PipeCloser {
  void operator()(pipe_handle* pipe) const { pipe_close(pipe); }
};
using UniquePipe = std::unique_ptr<pipe_handle, PipeCloser>;

}  // namespace kx
