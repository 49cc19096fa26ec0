#include "api/connect_attempts.h"

#include "log/log.h"

#include <algorithm>

namespace kx {

namespace {

constexpr int kAttemptsWithoutTimeout = 10;

}  // namespace

int connectAttempts(int timeoutSeconds) {
  return timeoutSeconds == 0 ? kAttemptsWithoutTimeout : std::max(timeoutSeconds / 2, 1);
}

ConnectOutcome connectOrLaunch(BrowserInstance& instance, int timeoutSeconds, const Launch& launch,
                               const Pause& pause) {
  ConnectOutcome outcome;
  const int attempts = connectAttempts(timeoutSeconds);
  outcome.isConnected = instance.connect(timeoutSeconds);
  for (int attempt = 0; !outcome.isConnected; ++attempt) {
    if (attempt == attempts) {
      outcome.failureResult = kErrorGeneral;
      return outcome;
    }
    if (instance.errorNumber() == kErrorProfileInUse) {
      // A running browser holds the profile and may serve its pipe soon; another one could not start beside
      // it. An instance with a full pipe path never says so.
      __loginf("Client: connect failed but lock present");
    } else if (instance.errorNumber() == kErrorTimeout) {
      outcome.failureResult = instance.errorNumber();
      return outcome;
    } else if (!outcome.launched) {
      outcome.launched = launch();
      if (!outcome.launched) {
        outcome.failureResult = instance.errorNumber();
        return outcome;
      }
    }
    pause();
    outcome.isConnected = instance.connect(timeoutSeconds);
  }
  return outcome;
}

RunnerConnect connectToRunner(BrowserInstance& instance, int timeoutSeconds, const Pause& pause) {
  bool isConnected = instance.connect(timeoutSeconds);
  for (int attempt = 0; !isConnected; ++attempt) {
    if (timeoutSeconds == 0) {
      return RunnerConnect::Failed;
    }
    if (attempt > timeoutSeconds) {
      return RunnerConnect::TimedOut;
    }
    pause();
    isConnected = instance.connect(timeoutSeconds);
  }
  return RunnerConnect::Connected;
}

}  // namespace kx
