// Serves the well-known pipe for the life of the process and starts a thread for every host that connects.
#pragma once

#include "win32/simulator.h"

namespace kxsim {

// Returns once no further connection is to be served; the connections that there are go on.
void serveWellKnownPipe(Simulator& simulator);

}  // namespace kxsim
