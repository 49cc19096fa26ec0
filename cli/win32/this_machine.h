// The machine that this program runs on.
#pragma once

#include "cli/machine.h"

namespace kx::cli {

// From here on this process logs nothing: what explains shall leave nothing behind.
Machine thisMachine();

}  // namespace kx::cli
