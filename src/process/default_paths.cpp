#include "process/default_paths.h"

namespace kx {

std::string firefoxDataFolder(const std::string& applicationData) {
  return applicationData + "\\Mozilla\\Firefox";
}

std::string firefoxProfilesPath(const std::string& applicationData) {
  return firefoxDataFolder(applicationData) + "\\profiles.ini";
}

std::string defaultFirefoxPath() {
  return "c:\\Program Files\\Mozilla Firefox\\firefox.exe";
}

std::string defaultChromePath(unsigned long windowsMajorVersion, const std::string& homeDirectory,
                              const std::string& localApplicationData) {
  constexpr unsigned long kWindowsXp = 5;
  if (windowsMajorVersion < kWindowsXp) {
    return {};
  }
  const std::string base = windowsMajorVersion == kWindowsXp
                               ? homeDirectory + "\\Local Settings\\Application Data"
                               : localApplicationData;
  return base + "\\Google\\Chrome\\Application\\chrome.exe";
}

}  // namespace kx
