// KXTCP64.dll as a host meets it: loaded by its name, its functions found by theirs. Nothing of the library
// is linked; the public header lends the signatures and nothing else. A test owns the object and calls
// `dll.kx_Play(...)`; any thread may use it.
#pragma once

#include "kxtcp64.h"

#include <windows.h>
#include <string>

// The exports, each under its own name, so that a test reads like the host's source.
struct KxExports {
  decltype(&::kx_ContextCreate) kx_ContextCreate = nullptr;
  decltype(&::kx_ContextDestroy) kx_ContextDestroy = nullptr;
  decltype(&::kx_GetLastErrorNumber) kx_GetLastErrorNumber = nullptr;
  decltype(&::kx_GetLastErrorText) kx_GetLastErrorText = nullptr;
  decltype(&::kx_Init) kx_Init = nullptr;
  decltype(&::kx_SetVar) kx_SetVar = nullptr;
  decltype(&::kx_Play) kx_Play = nullptr;
  decltype(&::kx_Display) kx_Display = nullptr;
  decltype(&::kx_TakeBrowserScreenshot) kx_TakeBrowserScreenshot = nullptr;
  decltype(&::kx_GetLastExtract) kx_GetLastExtract = nullptr;
  decltype(&::kx_GetPerformance) kx_GetPerformance = nullptr;
  decltype(&::kx_GetLastPerformance) kx_GetLastPerformance = nullptr;
  decltype(&::kx_GetBrowserProcessId) kx_GetBrowserProcessId = nullptr;
  decltype(&::kx_Exit) kx_Exit = nullptr;
  decltype(&::kxr_GetCommandLine) kxr_GetCommandLine = nullptr;
  decltype(&::kxr_Init) kxr_Init = nullptr;
  decltype(&::kxr_Exit) kxr_Exit = nullptr;
};

class KxLibrary : public KxExports {
 public:
  // Loads the library that the environment variable KX_DLL names, otherwise the one in the program's own
  // folder. Throws std::runtime_error when it is not there or lacks an export.
  KxLibrary();
  ~KxLibrary();
  KxLibrary(const KxLibrary&) = delete;
  KxLibrary& operator=(const KxLibrary&) = delete;

  // Frees the library; the exports are null afterwards. A library that others have loaded as well stays.
  void unload();

  HMODULE module() const { return module_; }

  // What the library says of a context, read the way hosts read it: sizes first, then the text.
  std::string lastErrorText(int context) const;
  std::string extract(int context, int index) const;
  std::string profilerData(int context) const;

 private:
  HMODULE module_ = nullptr;
};
