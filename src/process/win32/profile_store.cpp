#include "process/win32/profile_store.h"

#include "browser/browser_type.h"
#include "common/platform.h"
#include "common/win32/unique_handle.h"
#include "common/win32/utf16.h"
#include "common/win32/windows_calls.h"
#include "log/log.h"
#include "process/default_paths.h"

#include <windows.h>
#include <cstdio>
#include <memory>
#include <optional>

namespace kx {

namespace {

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

std::string applicationDataFolder() {
  return platform::environmentVariable("APPDATA").value_or("");
}

}  // namespace

FirefoxProfileList readFirefoxProfiles() {
  const std::string path = firefoxProfilesPath(applicationDataFolder());
  const std::unique_ptr<std::FILE, FileCloser> file(platform::openFile(path, "rt"));
  if (!file) {
    __logerr("Can not open %s file", path.c_str());
    return {};
  }
  FirefoxProfilesParser parser;
  for (int byte = std::fgetc(file.get()); byte != EOF; byte = std::fgetc(file.get())) {
    parser.feed(static_cast<char>(byte));
  }
  return parser.profiles();
}

bool profileIsLocked(const std::string& browserType, const std::string& profileName) {
  if (browserType != kFirefox) {
    return false;
  }
  const std::optional<std::string> path =
      parentLockPath(readFirefoxProfiles(), profileName, applicationDataFolder());
  if (!path) {
    return false;
  }
  const UniqueHandle file(windowsCalls().createFile(utf16FromUtf8(*path).c_str(), GENERIC_READ,
                                                    FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                                    FILE_ATTRIBUTE_NORMAL, nullptr));
  return !file && ::GetLastError() == ERROR_SHARING_VIOLATION;
}

}  // namespace kx
