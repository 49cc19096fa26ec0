#include "win32/other_system.h"

#include "win32/windows_text.h"

#include <windows.h>

namespace kxbrowser {
namespace {

using UnixFileName = char*(CDECL*)(const wchar_t*);

// Exported by Wine's kernel32 only.
UnixFileName unixFileName() {
  const HMODULE kernel = GetModuleHandleW(L"kernel32.dll");
  return reinterpret_cast<UnixFileName>(                                            // NOLINT
      reinterpret_cast<void*>(GetProcAddress(kernel, "wine_get_unix_file_name")));  // NOLINT
}

}  // namespace

bool isOnOtherSystem() {
  return unixFileName() != nullptr;
}

std::string pathThere(const std::string& path) {
  const UnixFileName translate = unixFileName();
  if (translate == nullptr || path.empty()) {
    return path;
  }
  char* there = translate(kxsim::toWide(path).c_str());
  if (there == nullptr) {
    return path;
  }
  std::string result(there);
  HeapFree(GetProcessHeap(), 0, there);
  return result;
}

}  // namespace kxbrowser
