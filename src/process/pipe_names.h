// The names of all pipes: the one that the extension serves, the runner family's, and the one that the
// library itself serves. Pure functions; the extension works out the same names on its side.
#pragma once

#include "process/firefox_profiles.h"

#include <cstdint>
#include <string>

namespace kx {

// A server pipe's full path and the profile name that goes with it.
struct ServerPipe {
  std::string pipePath;
  std::string profileName;
};

// A name that the caller gave: a full pipe path stays as it is, any other is completed with browser type
// and user.
ServerPipe explicitServerPipe(const std::string& browserType, const std::string& givenName,
                              const std::string& userName);

// The pipe of a browser that was started without a name: for Firefox that of the profile marked as default.
// Empty for an unknown browser type. The profiles are looked at for Firefox only.
ServerPipe defaultServerPipe(const std::string& browserType, const std::string& userName,
                             const FirefoxProfileList& profiles);

// The runner pipe of a profile path, named after its digest. One trailing backslash of the path does not
// matter.
std::string runnerPipeName(const std::string& browserType, const std::string& profilePath);

// The runner family's pipe for a Firefox profile, named after the profile itself. kx_Init uses the digest
// even for Firefox; extensions are configured for the one or the other, so the two stay apart.
std::string firefoxRunnerPipeName(const std::string& profileName);

// The pipe that an instance serves. Names are cut at 255 characters behind the pipe prefix.
std::string communicationPipeName(const std::string& browserType, const std::string& profileName,
                                  std::uint32_t threadId, std::uint32_t processId);

// The name of the mutex that keeps the starts of one browser, profile and user apart.
std::string startLockName(const std::string& browserType, const std::string& profileName,
                          const std::string& userName);

}  // namespace kx
