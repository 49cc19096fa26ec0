// The two ways of connecting again and again until the extension answers: kx_Init starts the browser in
// between, kxr_Init leaves that to the host. What needs Windows comes in as a function, so that the
// rules can be tested without waiting.
#pragma once

#include "browser/browser_instance.h"

#include <functional>

namespace kx {

// Sleeps between two attempts.
using Pause = std::function<void()>;
// Starts the browser; false leaves the reason in the instance.
using Launch = std::function<bool()>;

// How many further attempts kx_Init makes after its first.
int connectAttempts(int timeoutSeconds);

struct ConnectOutcome {
  bool isConnected = false;
  bool launched = false;
  // What kx_Init returns when the connection failed.
  int failureResult = 0;
};

ConnectOutcome connectOrLaunch(BrowserInstance& instance, int timeoutSeconds, const Launch& launch,
                               const Pause& pause);

enum class RunnerConnect { Connected, Failed, TimedOut };

// Counts attempts, not seconds: with time-out n there are up to n + 1 further attempts. With time-out 0 there
// is none, and the instance tells the reason.
RunnerConnect connectToRunner(BrowserInstance& instance, int timeoutSeconds, const Pause& pause);

}  // namespace kx
