// What a new handle of this process would be called. Windows hands out the lowest free value, so a value that
// grows is a handle that was not closed. Nobody else may open or close handles between two looks: the
// run-time's mutexes and condition variables do, when a thread first waits for one.
#pragma once

#include <windows.h>
#include <cstdint>

inline std::uintptr_t nextHandleValue() {
  const HANDLE event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  ::CloseHandle(event);
  return reinterpret_cast<std::uintptr_t>(event);
}
