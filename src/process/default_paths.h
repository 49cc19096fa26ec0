// Where Firefox and Chrome keep what the library looks for. Pure functions of the environment's values, which
// the callers read.
#pragma once

#include <string>

namespace kx {

// Firefox's folder below the user's roaming application data.
std::string firefoxDataFolder(const std::string& applicationData);

// The file that lists Firefox's profiles.
std::string firefoxProfilesPath(const std::string& applicationData);

// Where Firefox is looked for. No other folder is tried.
std::string defaultFirefoxPath();

// Where Chrome installs itself for a user, which depends on the major version of Windows; empty for versions
// before 5.
std::string defaultChromePath(unsigned long windowsMajorVersion, const std::string& homeDirectory,
                              const std::string& localApplicationData);

}  // namespace kx
