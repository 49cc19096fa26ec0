// Serves the extension's well-known pipe and hands the lines in which hosts name their own pipes on to the
// bridge. The launcher does this because a host may be gone before its client was even waited for: its line
// can still be read then, but Node closes such an end unread.
#pragma once

#include <string>

namespace kxbrowser {

// Begins as soon as the bridge serves `bridgePipe`, in threads of its own that end with the process. `name`
// is the well-known pipe.
void serveWellKnownPipe(const std::string& name, const std::string& bridgePipe);

}  // namespace kxbrowser
