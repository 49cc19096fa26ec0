#include "win32/profile_hold.h"

#include "win32/windows_text.h"

#include <windows.h>

namespace kxbrowser {

bool ProfileHold::takeName(const std::string& mutexName) {
  mutex_ = kxsim::UniqueHandle(CreateMutexW(nullptr, FALSE, kxsim::toWide(mutexName).c_str()));
  return mutex_ && GetLastError() != ERROR_ALREADY_EXISTS;
}

bool ProfileHold::takeFirefoxFolder(const std::string& folder) {
  const std::wstring path = kxsim::toWide(folder + "\\parent.lock");
  // Nothing is shared, so whoever opens the file meets a sharing violation. It stays behind when it is let
  // go.
  lockFile_ = kxsim::UniqueHandle(CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                              OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  return lockFile_ || GetLastError() != ERROR_SHARING_VIOLATION;
}

}  // namespace kxbrowser
