#include "common/timeouts.h"

namespace kx {

namespace {

constexpr std::uint32_t kLongestBoundedWait = kWaitForever - 1;
constexpr std::uint32_t kNegativeTransportWait = 600000;
constexpr std::uint32_t kDefaultShutdownWait = 10000;

std::uint32_t saturatedMilliseconds(int positiveSeconds) {
  const std::uint64_t milliseconds = static_cast<std::uint64_t>(positiveSeconds) * 1000U;
  return milliseconds < kLongestBoundedWait ? static_cast<std::uint32_t>(milliseconds) : kLongestBoundedWait;
}

}  // namespace

int timeoutFromHost(int hostTimeoutSeconds) {
  return hostTimeoutSeconds < 0 ? kDefaultTimeoutSeconds : hostTimeoutSeconds;
}

std::uint32_t transportWaitMilliseconds(int timeoutSeconds) {
  if (timeoutSeconds == 0) {
    return kWaitForever;
  }
  return timeoutSeconds < 0 ? kNegativeTransportWait : saturatedMilliseconds(timeoutSeconds);
}

std::uint32_t shutdownWaitMilliseconds(int timeoutSeconds) {
  return timeoutSeconds > 0 ? saturatedMilliseconds(timeoutSeconds) : kDefaultShutdownWait;
}

}  // namespace kx
