// KXTCP64.dll as a host meets it: loaded by its name, its functions found by theirs. Nothing of the library
// is linked; the public header lends the signatures and nothing else. A test owns the object and calls
// `dll.kx_Play(...)`; any thread may use it.
#pragma once

#include "kxtcp64.h"

#include <windows.h>
#include <string>

// The exports, each under its own name, so that a test reads like the host's source.
struct KxExports {
  // NOLINTNEXTLINE(bugprone-macro-parentheses): a member cannot be declared between parentheses
#define KX_FUNCTION(name) decltype(&::name) name = nullptr;
#include "bindings/functions.inc"
#undef KX_FUNCTION
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
