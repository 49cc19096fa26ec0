// The time-out rules. Hosts give whole seconds as a signed number; Windows waits take milliseconds, with one
// value that means "for ever". Every conversion between the two is here, so that a rule can be tested without
// waiting.
#pragma once

#include <cstdint>

namespace kx {

inline constexpr std::uint32_t kWaitForever = 0xFFFFFFFFU;
inline constexpr int kDefaultTimeoutSeconds = 600;
inline constexpr std::uint32_t kConnectPauseMilliseconds = 2000;
inline constexpr std::uint32_t kStartLockWaitMilliseconds = 600000;
inline constexpr std::uint32_t kBusyPipeWaitMilliseconds = 5000;

// What an export makes of the host's time-out: a negative one counts as ten minutes, 0 keeps its meaning.
int timeoutFromHost(int hostTimeoutSeconds);

// The wait of one pipe operation: 0 waits for ever, a negative value ten minutes. A product that does not fit
// saturates just below "for ever".
std::uint32_t transportWaitMilliseconds(int timeoutSeconds);

// The wait for a browser process to end: ten seconds for 0 or less. Never for ever.
std::uint32_t shutdownWaitMilliseconds(int timeoutSeconds);

}  // namespace kx
