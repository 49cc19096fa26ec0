// What the portable code needs from the system it runs on, as a handful of functions. The library implements
// them with Windows calls in common/win32/platform.cpp; the native test build has its own implementation
// beside the tests. Every function may be called from any thread and none of them throws, except for lack of
// memory.
#pragma once

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

namespace kx::platform {

std::uint32_t currentProcessId();
std::uint32_t currentThreadId();

// The calling thread's last error. Helpers that run between a failing call and its log entry keep it: see
// common/last_error.h.
std::uint32_t lastErrorNumber();
void setLastErrorNumber(std::uint32_t number);

// Sends one line in UTF-8, without a line end, to whatever debugger watches the process. Windows takes its
// bytes for the system's code page.
void writeDebuggerLine(const char* line);

// The value of an environment variable of the process at this moment, as UTF-8; nothing when it is absent. An
// empty value is a value. Keeps the last error.
std::optional<std::string> environmentVariable(const char* name);

// fopen() for a path in UTF-8. Null on failure, with the reason in lastErrorNumber(). The caller closes the
// file.
std::FILE* openFile(const std::string& path, const char* mode);

}  // namespace kx::platform
