// A plug-in of a host. Windows detaches libraries in the opposite order of their loading: this one, loaded
// before KXTCP64.dll, is detached after it, and calls it even then. It writes down what it was told.
#include "host/partner.h"
#include "support/win32/dll.h"

#include <windows.h>
#include <array>
#include <cstdio>

namespace {

const KxExports* exports = nullptr;

void writeDown(const char* text, int length) {
  std::array<wchar_t, 1000> path{};
  ::GetEnvironmentVariableW(kPlugInRecord, path.data(), static_cast<DWORD>(path.size()));
  const HANDLE file =
      ::CreateFileW(path.data(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  DWORD written = 0;
  ::WriteFile(file, text, static_cast<DWORD>(length), &written, nullptr);
  ::CloseHandle(file);
}

void callTheDetachedLibrary() {
  const int number = exports->kx_GetLastErrorNumber(0);
  const int exited = exports->kx_Exit(0, 1);
  const int process = exports->kx_GetBrowserProcessId(0);
  exports->kx_ContextDestroy(0);
  const int created = exports->kx_ContextCreate();
  std::array<char, 100> line{};
  writeDown(line.data(),
            std::snprintf(line.data(), line.size(), "%d %d %d %d", number, exited, process, created));
}

}  // namespace

// The host hands over what it has loaded.
extern "C" __declspec(dllexport) void useLibrary(const KxExports* library);
void useLibrary(const KxExports* library) {
  exports = library;
}

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved);
BOOL WINAPI DllMain(HINSTANCE /*module*/, DWORD reason, LPVOID /*reserved*/) {
  if (reason == DLL_PROCESS_DETACH && exports != nullptr) {
    callTheDetachedLibrary();
  }
  return TRUE;
}
