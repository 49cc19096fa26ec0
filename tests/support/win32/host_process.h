// A host in a process of its own: this test program, run again for the same user. It starts a browser, plays
// a macro and ends without an exit, or is killed by its test before that.
#pragma once

#include "support/win32/helper_process.h"

#include <optional>
#include <string>

class HostProcess {
 public:
  struct Task {
    std::string browser;
    std::string options = "";
    std::string program = "C:\\no such folder\\browser.exe";
    std::string macro = "";
  };
  explicit HostProcess(const Task& task);

  // Waits until the browser has got the macro; false when the host does not come so far. The log has to be
  // switched on.
  bool isPlaying() const;
  // Waits for the end. 0 when the macro has succeeded.
  DWORD exitCode() const { return process_->exitCode(); }
  // Ends it in the middle of whatever it does.
  void kill() { process_.reset(); }

 private:
  const NamedEvent playing_;
  std::optional<HelperProcess> process_;
};

// Called first in main(): the exit code when this process was started as a host, otherwise nothing.
std::optional<int> runAsHost();
