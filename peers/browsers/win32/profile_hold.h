// Holds a browser profile for as long as the process lives, the way the browsers do on Windows: a named mutex
// for any profile, and for a Firefox profile with a folder of its own also that folder's parent.lock, which
// other programs try to open to see whether the profile is in use. Owned by the launcher's main thread.
#pragma once

#include "win32/unique_handle.h"

#include <string>

namespace kxbrowser {

class ProfileHold {
 public:
  // False when another process holds it.
  bool takeName(const std::string& mutexName);
  bool takeFirefoxFolder(const std::string& folder);

  // A Firefox for Windows takes the file itself and must find it free.
  void releaseFirefoxFolder() { lockFile_.reset(); }

 private:
  kxsim::UniqueHandle mutex_;
  kxsim::UniqueHandle lockFile_;
};

}  // namespace kxbrowser
