// Finds the browser's program and starts it. Only the new process's id is kept, in the instance: later steps
// reach the process through it. Used by the thread that uses the instance.
#pragma once

#include "browser/browser_instance.h"

#include <string>
#include <vector>

namespace kx {

// Where the instance's browser is looked for when the host names no program; empty when there is no such
// place.
std::string defaultBrowserPath(const BrowserInstance& instance);

// Starts the program with the arguments. A null path stands for the default one; an empty one is used as it
// is, and fails. False leaves the reason in the instance: a Windows error number and a text.
bool launchBrowser(BrowserInstance& instance, const char* path, const std::vector<std::string>& arguments);

}  // namespace kx
