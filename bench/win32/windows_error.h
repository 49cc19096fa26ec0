// The end of a benchmark whose ground has given way: a Windows call that cannot fail here has failed.
#pragma once

#include <windows.h>
#include <stdexcept>
#include <string>

[[noreturn]] inline void failWith(const std::string& what) {
  throw std::runtime_error(what + ", error " + std::to_string(::GetLastError()));
}

// Every program of the benchmarks runs on the same processor, the first one that it may use: what is compared
// then never depends on where it ran.
inline void pinToOneProcessor() {
  DWORD_PTR allowed = 0;
  DWORD_PTR ofSystem = 0;
  if (::GetProcessAffinityMask(::GetCurrentProcess(), &allowed, &ofSystem) == FALSE ||
      ::SetProcessAffinityMask(::GetCurrentProcess(), allowed & (~allowed + 1)) == FALSE) {
    failWith("cannot stay on one processor");
  }
}
