// The machine that this program runs on.
#pragma once

#include "cli/machine.h"
#include "cli/surroundings.h"

namespace kx::cli {

// From here on this process logs nothing: what explains shall leave nothing behind.
Machine thisMachine();

// "Windows 10.0.19045", and Wine where there is one.
std::string systemText();

// Where the library logs. When the environment names no log, one for this process alone is switched on.
ReportLog logForReport();

}  // namespace kx::cli
