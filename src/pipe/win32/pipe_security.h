// The security attributes of the pipes that the library serves: a descriptor with a present but null access
// list. Every account, including other users and processes at other integrity levels, may open such a pipe
// and use it; browsers need that, since they run parts of themselves at lower levels.
#pragma once

#include <windows.h>
#include <memory>

struct PipeSecurityDeleter {
  void operator()(SECURITY_ATTRIBUTES* attributes) const;
};

// Owns the attributes and the descriptor in them.
using PipeSecurity = std::unique_ptr<SECURITY_ATTRIBUTES, PipeSecurityDeleter>;

// Null on failure, with the reason in the thread's last error.
PipeSecurity openToEveryone();
