// Handles of this process: whether one is open, and what a new one would be called. Windows hands out the
// lowest free values, so one that grows is a handle that was not closed. Nobody else may open or close
// handles between two looks: the run-time's mutexes and condition variables do, when a thread first waits for
// one.
#pragma once

#include <windows.h>
#include <array>
#include <cstdint>

// The value of the sixteenth handle from here: a handle that was left open while others beside it were
// closed may lie behind the gaps that they leave.
inline std::uintptr_t nextHandleValue() {
  std::array<HANDLE, 16> events{};
  for (HANDLE& event : events) {
    event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  }
  const auto value = reinterpret_cast<std::uintptr_t>(events.back());
  for (const HANDLE event : events) {
    ::CloseHandle(event);
  }
  return value;
}

inline bool isOpen(HANDLE handle) {
  DWORD flags = 0;
  return ::GetHandleInformation(handle, &flags) != FALSE;
}
