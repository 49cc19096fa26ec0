// KXTCP64.dll, loaded from this program's own folder, through its public header. Loaded once and kept: the
// library keeps threads' states that do not come back when it is unloaded.
#pragma once

#include "cli/library.h"

#include <memory>
#include <string>

namespace kx::cli {

// Throws a Problem when the file is not there, cannot be loaded, or lacks a function.
std::unique_ptr<Library> loadLibrary();

// The whole path of the DLL, beside this program.
std::string libraryPath();

// The file version of a program or DLL, as "1.2.3"; empty when it has none.
std::string fileVersion(const std::string& path);

}  // namespace kx::cli
