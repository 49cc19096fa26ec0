// Firefox's profiles as they lie on disk: profiles.ini below APPDATA, and the lock file that a running
// Firefox holds open in its profile's folder. Both are only read.
#pragma once

#include "process/firefox_profiles.h"

#include <string>

namespace kx {

// The list of profiles; empty, with an error entry in the log, when the file cannot be opened.
FirefoxProfileList readFirefoxProfiles();

// Whether another process holds the profile's lock file open. False for every browser but Firefox, for a
// profile that is not in the list, and when the file cannot be opened for another reason. Logs nothing about
// the lock itself.
bool profileIsLocked(const std::string& browserType, const std::string& profileName);

}  // namespace kx
