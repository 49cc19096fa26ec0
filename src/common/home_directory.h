// Where the log lies unless it is told otherwise, and where old versions of Windows keep Chrome.
#pragma once

#include <string>

namespace kx {

// The user's home directory as HOMEDRIVE and HOMEPATH give it; empty when HOMEPATH is absent.
std::string homeDirectory();

}  // namespace kx
