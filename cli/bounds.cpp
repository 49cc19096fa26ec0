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

// Of `count` waits and one more: their milliseconds need not fit the type, so whole seconds are counted
// apart.
std::int64_t secondsOf(std::int64_t count, std::int64_t millisecondsEach, std::int64_t millisecondsMore) {
  return count * (millisecondsEach / kThousand) +
         (count * (millisecondsEach % kThousand) + millisecondsMore) / kThousand;
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
  bounds.noConnectionBack = isRunner ? secondsOf(bounds.attempts, wait, pauses) : wait / kThousand;
  // Each attempt: the lock, the name line, the connection. Then the request and its answer.
  bounds.slowest = secondsOf(bounds.attempts, kStartLockWaitMilliseconds + 2 * wait,
                             pauses + 2 * wait + (isRunner ? 0 : shutdownWaitMilliseconds(0)));
  return bounds;
}

}  // namespace kx::cli
