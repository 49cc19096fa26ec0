// The log: one entry per call in a plain text file and one line for the debugger. Environment variables, read
// afresh on every call, say whether information is logged and where the file lies: KORVEX_LOG ("on" or
// "true"), KORVEX_LOGPATH, and HOMEDRIVE and HOMEPATH for the default path. There is no state between calls
// and no lock; any thread may log. Entries that are written at the same moment may mix, and one of two
// processes may overwrite the other's. Logging never throws, and the calling thread's last error survives
// every call.
#pragma once

#include <string>

namespace kx {

// clang, which checks the sources, does not know the name of the C library's own rules.
#if defined(__MINGW32__) && !defined(__clang__)
#define KX_PRINTF_FORMAT __attribute__((format(gnu_printf, 1, 2)))
#elif defined(__GNUC__)
#define KX_PRINTF_FORMAT __attribute__((format(printf, 1, 2)))
#else
#define KX_PRINTF_FORMAT
#endif

// NOLINTBEGIN(clang-diagnostic-reserved-identifier, readability-identifier-naming, cert-dcl50-cpp): the debugger line
// carries these names, and people who read logs search the source for them.

// Information: written only when logging is switched on.
KX_PRINTF_FORMAT void __loginf(const char* format, ...) noexcept;

// An error: always goes to the debugger, and to the file whenever one is named, even when logging is off.
KX_PRINTF_FORMAT void __logerr(const char* format, ...) noexcept;

// NOLINTEND(clang-diagnostic-reserved-identifier, readability-identifier-naming, cert-dcl50-cpp)

// The path of the log file at this moment, possibly empty.
std::string logFilePath();

}  // namespace kx
