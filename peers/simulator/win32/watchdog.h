// Makes sure that no process is left behind by a test that broke off: a thread that ends the process after a
// time without any event, or when the process it belongs to has ended.
#pragma once

#include "win32/simulator.h"

#include <optional>

namespace kxsim {

void startWatchdog(Simulator& simulator, std::optional<unsigned long> parentProcessId);

}  // namespace kxsim
