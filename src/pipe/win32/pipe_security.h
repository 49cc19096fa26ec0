// The security attributes of the pipes that the library serves: a descriptor with a present but null access
// list, by which every account may open such a pipe and use it: a browser may run under another account than
// its host. It does not let in processes of low integrity or in app containers.
#pragma once

#include <windows.h>
#include <memory>

namespace kx {

struct PipeSecurityDeleter {
  void operator()(SECURITY_ATTRIBUTES* attributes) const;
};

// Owns the attributes and the descriptor in them.
using PipeSecurity = std::unique_ptr<SECURITY_ATTRIBUTES, PipeSecurityDeleter>;

// Null on failure, with the reason in the thread's last error.
PipeSecurity openToEveryone();

}  // namespace kx
