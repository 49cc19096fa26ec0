// A host in a process of its own: this test program, run again, loads the library and calls kx_Init(). It
// belongs to the same user as the test that starts it.
#pragma once

#include "support/win32/helper_process.h"

#include <optional>
#include <string>

struct Start;

class HostProcess {
 public:
  explicit HostProcess(const Start& start);

  // Whether kx_Init() has succeeded; waits until it has ended.
  bool isInitialised() const;
  // Lets it play a macro and end without kx_Exit(). Gives the play's result.
  int playAndLeave() const;
  // Ends it in the middle of whatever it does.
  void kill() { process_.reset(); }

 private:
  NamedEvent returned_;
  NamedEvent failed_;
  NamedEvent go_;
  std::optional<HelperProcess> process_;
};

// The exit code when this process was started as a host, otherwise nothing.
std::optional<int> runAsHost(int argc, char** argv);
