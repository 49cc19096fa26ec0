// Tells whether this Windows is played by Wine on another system, whose programs the real browsers then are,
// and how a file is called there. On Windows itself every path stays as it is.
#pragma once

#include <string>

namespace kxbrowser {

bool isOnOtherSystem();

// The path as a program of that system has to be given it.
std::string pathThere(const std::string& path);

}  // namespace kxbrowser
