// The library's entry point: the registry of contexts lives from load to unload.
#include "api/memory_reserve.h"
#include "api/win32/context_registry.h"

#include <windows.h>
#include <exception>

#ifdef __GLIBCXX__
// The run-time's own; no header declares it.
namespace __gnu_cxx {  // NOLINT(clang-diagnostic-reserved-identifier)
void __freeres();      // NOLINT(clang-diagnostic-reserved-identifier,readability-identifier-naming)
}
#endif

namespace {

// Memory that the linked run-time keeps for exceptions when there is no other. It would stay after every
// unload.
void freeMemoryOfTheRunTime() {
#ifdef __GLIBCXX__
  __gnu_cxx::__freeres();
#endif
}

}  // namespace

// Windows calls it by this name.
extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved);

// The run-time that is linked in frees what it keeps for a thread when it hears of the thread's end, so those
// calls stay switched on.
BOOL WINAPI DllMain(HINSTANCE /*module*/, DWORD reason, LPVOID reserved) {
  try {
    switch (reason) {
      case DLL_PROCESS_ATTACH:
        kx::keepMemoryReserve();
        kx::openContextRegistry();
        break;
      case DLL_PROCESS_DETACH:
        kx::closeContextRegistry(reserved != nullptr);
        if (reserved == nullptr) {
          kx::dropMemoryReserve();
          freeMemoryOfTheRunTime();
        }
        break;
      default:
        break;
    }
    return TRUE;
  } catch (const std::exception&) {
    return FALSE;
  }
}
