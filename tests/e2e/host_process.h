// A host in a process of its own: this test program, run again. It starts a browser, plays a macro that takes
// for ever, and tells when the macro is under way; the test kills it then.
#pragma once

#include "support/win32/helper_process.h"

#include <optional>
#include <string>

struct Profile;

class HostInMidPlay {
 public:
  explicit HostInMidPlay(const Profile& profile);

  // Waits until the browser has got the macro; false when the host could not start.
  bool isPlaying() const;
  void kill() { process_.reset(); }

 private:
  NamedEvent playing_;
  std::optional<HelperProcess> process_;
};

// The exit code when this process was started as a host, otherwise nothing.
std::optional<int> runAsHost();
