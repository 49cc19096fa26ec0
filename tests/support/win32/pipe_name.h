// Names that no other test, and no other test process, uses at the same time.
#pragma once

#include <windows.h>
#include <atomic>
#include <string>

// A text for the names of pipes, mutexes, events and profiles.
inline std::string uniqueName(const std::string& purpose = "name") {
  static std::atomic<int> count{0};
  return "kxtest-" + purpose + "-" + std::to_string(::GetCurrentProcessId()) + "-" + std::to_string(++count);
}

inline std::string uniquePipeName() {
  return "\\\\.\\pipe\\" + uniqueName("pipe");
}
