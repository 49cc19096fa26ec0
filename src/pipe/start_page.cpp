#include "pipe/start_page.h"

#include "common/last_error.h"
#include "common/platform.h"
#include "log/log.h"

#include <cstdint>
#include <cstdio>

namespace kx {

namespace {

constexpr char kFolderVariable[] = "TEMP";
constexpr char kPageText[] = "<html><body></body></html>";
constexpr std::uint32_t kEnvironmentVariableNotFound = 203;

std::FILE* openPage(const std::string& path) {
  // Without TEMP the path would lead to the root of the current drive.
  if (!platform::environmentVariable(kFolderVariable)) {
    platform::setLastErrorNumber(kEnvironmentVariableNotFound);
    return nullptr;
  }
  return platform::openFile(path, "w");
}

bool writePage(const std::string& path) {
  std::FILE* file = openPage(path);
  if (file == nullptr) {
    __logerr("Could not open temp file %s, error %d", path.c_str(), lastErrorForLog());
    return false;
  }
  std::fputs(kPageText, file);
  std::fclose(file);
  return true;
}

}  // namespace

std::string startPagePath(const std::string& stem) {
  return platform::environmentVariable(kFolderVariable).value_or("") + "\\" + stem + ".html";
}

std::string startPageUrl(const std::string& stem, const std::string& pipe, const char* hostPage) {
  const bool isGenerated = hostPage == nullptr || *hostPage == '\0';
  const std::string path = isGenerated ? startPagePath(stem) : hostPage;
  if (isGenerated && !writePage(path)) {
    return {};
  }
  return "file://" + path + "?pipe=" + pipe;
}

}  // namespace kx
