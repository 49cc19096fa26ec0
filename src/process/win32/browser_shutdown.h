// Ends a browser through its extension: the exit request, whose answer names the process that will end, and
// the wait for that process, which is killed when it does not end in time. Two process ids are kept apart on
// purpose: a browser that was attached to has no id of ours, so a failed request leaves it running.
#pragma once

#include "browser/browser_instance.h"

#include <cstdint>

namespace kx {

// Sends the exit request. True when the browser answered; the id of the process that will end, or 0 when the
// answer names none, then goes to the given place, which may be null.
bool terminate(BrowserInstance& instance, int timeoutSeconds, std::uint32_t* processId = nullptr);

// Ends the process of the browser that the instance started, if it did, without asking it. Needs no memory.
void killLaunchedBrowser(const BrowserInstance& instance);

// Sends the exit request and waits for the process that the answer names. False when that process had to be
// killed or could not be waited for, or when the request failed: then the browser that the instance started
// is killed. The reason is in the instance. The wait for the process is ten seconds for a time-out of 0 or
// less, the request waits as every request does.
bool terminateAndWait(BrowserInstance& instance, int timeoutSeconds);

}  // namespace kx
