#include "cli/bounds.h"

#include "api/connect_attempts.h"
#include "common/timeouts.h"

namespace kx::cli {
namespace {

constexpr std::int64_t kThousand = 1000;

std::int64_t attemptsOf(bool isRunner, int timeout) {
  if (!isRunner) {
    return std::int64_t{1} + connectAttempts(timeout);
  }
  // As connectToRunner() counts them.
  return timeout == 0 ? 1 : std::int64_t{timeout} + 2;
}

}  // namespace

StartBounds startBounds(bool isRunner, int timeoutSeconds) {
  const int timeout = timeoutFromHost(timeoutSeconds);
  StartBounds bounds;
  bounds.attempts = attemptsOf(isRunner, timeout);
  const std::int64_t pauses = (bounds.attempts - 1) * kConnectPauseMilliseconds;
  bounds.nobodyServes = pauses / kThousand;
  if (transportWaitMilliseconds(timeout) == kWaitForever) {
    return bounds;
  }
  const std::int64_t wait = transportWaitMilliseconds(timeout);
  bounds.noConnectionBack = (isRunner ? bounds.attempts * wait + pauses : wait) / kThousand;
  // Each attempt: the lock, the name line, the connection. Then the request and its answer.
  std::int64_t slowest = bounds.attempts * (kStartLockWaitMilliseconds + 2 * wait) + pauses + 2 * wait;
  if (!isRunner) {
    slowest += shutdownWaitMilliseconds(0);
  }
  bounds.slowest = slowest / kThousand;
  return bounds;
}

}  // namespace kx::cli
