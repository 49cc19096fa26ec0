#include "process/pipe_names.h"

#include "browser/browser_type.h"
#include "common/md5.h"
#include "common/strings.h"

#include <array>
#include <cstdio>

namespace kx {

namespace {

constexpr char kPipePrefix[] = "\\\\.\\pipe\\";
constexpr char kFullPathStart[] = "\\\\.";
constexpr char kDefaultProfile[] = "default";

// What an instance calls its profile when it was given a full pipe path. All of them share one start lock
// through this name, also with older versions of the library, so its spelling stays.
constexpr char kUnknownProfile[] = "unknonw";

// Formatted into a buffer of this size: a longer name is cut.
constexpr std::size_t kCommunicationNameBuffer = 256;

std::string serverPipePath(const std::string& browserType, const std::string& name,
                           const std::string& userName) {
  return kPipePrefix + ("kx-" + browserType + "-" + name + "." + userName);
}

}  // namespace

ServerPipe explicitServerPipe(const std::string& browserType, const std::string& givenName,
                              const std::string& userName) {
  if (givenName.starts_with(kFullPathStart)) {
    return {givenName, kUnknownProfile};
  }
  return {serverPipePath(browserType, givenName, userName), givenName.empty() ? kDefaultProfile : givenName};
}

ServerPipe defaultServerPipe(const std::string& browserType, const std::string& userName,
                             const FirefoxProfileList& profiles) {
  if (browserType == kFirefox) {
    const std::string profile = startProfileName(profiles).value_or(kDefaultProfile);
    return {serverPipePath(kFirefox, profile, userName), profile};
  }
  if (browserType == kChrome) {
    return {serverPipePath(kChrome, kDefaultProfile, userName), kDefaultProfile};
  }
  return {};
}

std::string runnerPipeName(const std::string& browserType, const std::string& profilePath) {
  return kPipePrefix + ("kx-" + browserType + "-" + md5Hex(stripTrailingBackslash(profilePath)) + ".runner");
}

std::string firefoxRunnerPipeName(const std::string& profileName) {
  return kPipePrefix + (profileName + ".runner");
}

std::string communicationPipeName(const std::string& browserType, const std::string& profileName,
                                  std::uint32_t threadId, std::uint32_t processId) {
  std::array<char, kCommunicationNameBuffer> name{};
  std::snprintf(name.data(), name.size(), "kx-%s-cli-%s.%d.%d", browserType.c_str(), profileName.c_str(),
                static_cast<int>(threadId), static_cast<int>(processId));
  return kPipePrefix + std::string(name.data());
}

std::string startLockName(const std::string& browserType, const std::string& profileName,
                          const std::string& userName) {
  return "kx-" + browserType + "-" + profileName + "." + userName + ".lock";
}

}  // namespace kx
