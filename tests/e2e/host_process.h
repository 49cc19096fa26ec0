// A host in a process of its own: this test program, run again. It starts a browser and plays a macro that
// takes for ever, and tells how far it has come; the test kills it there.
#pragma once

#include "support/win32/helper_process.h"

#include <optional>
#include <string>

struct Profile;

class DoomedHost {
 public:
  explicit DoomedHost(const Profile& profile);

  // Waits until the browser is launched but does not serve its pipe yet.
  bool isStarting() const;
  // Waits until the browser has got the macro. Both are false when the host does not come so far.
  bool isPlaying() const;
  void kill() { process_.reset(); }

 private:
  NamedEvent starting_;
  NamedEvent playing_;
  std::optional<HelperProcess> process_;
};

// The exit code when this process was started as a host, otherwise nothing.
std::optional<int> runAsHost();
