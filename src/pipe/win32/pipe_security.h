// The security attributes of the pipes that the library serves: a descriptor with a present but null access
// list, so every account may open such a pipe and use it. A browser may run under another account than its
// host, or with fewer rights.
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
