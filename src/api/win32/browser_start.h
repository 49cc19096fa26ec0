// How a context gets its browser: kx_Init attaches to one or launches it, kxr_Init attaches to one that its
// host has started. A start that fails leaves its error in the record, no instance there, and no browser that
// it launched. One thread at a time for each record. Both block for as long as the start takes.
#pragma once

#include "api/options.h"
#include "api/win32/context_registry.h"

#include <string>

namespace kx {

struct StartRequest {
  std::string browser;
  Options options;
  const char* browserPath;  // null for the browser's usual place
  bool openNewBrowser;
  int timeoutSeconds;
};

// The result that kx_Init gives its host.
int startBrowser(ContextRecord& record, const StartRequest& request);

struct RunnerStartRequest {
  std::string browser;
  std::string pipeName;
  bool openNewBrowser;
  int timeoutSeconds;
};

// The result that kxr_Init gives its host.
int startWithRunner(ContextRecord& record, const RunnerStartRequest& request);

}  // namespace kx
