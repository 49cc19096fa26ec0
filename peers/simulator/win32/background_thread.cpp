#include "win32/background_thread.h"

#include "win32/unique_handle.h"

#include <windows.h>
#include <memory>
#include <system_error>
#include <utility>

namespace kxsim {
namespace {

DWORD WINAPI runAction(void* action) {
  const std::unique_ptr<std::function<void()>> owned(static_cast<std::function<void()>*>(action));
  (*owned)();
  return 0;
}

}  // namespace

void runInBackground(std::function<void()> action) {
  auto owned = std::make_unique<std::function<void()>>(std::move(action));
  const UniqueHandle thread(CreateThread(nullptr, 0, &runAction, owned.get(), 0, nullptr));
  if (!thread) {
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), "CreateThread");
  }
  static_cast<void>(owned.release());
}

}  // namespace kxsim
