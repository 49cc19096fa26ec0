// What the heaps of this process have handed out and not taken back.
#pragma once

#include <windows.h>
#include <array>

// Calls visit(address, bytes) for every such block. Allocates nothing itself, and visit must not either: the
// heaps are locked meanwhile.
template <typename Visit>
void forEachHeapBlock(Visit visit) {
  std::array<HANDLE, 64> heaps{};
  const DWORD count = ::GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data());
  for (DWORD i = 0; i < count; ++i) {
    PROCESS_HEAP_ENTRY entry{};
    ::HeapLock(heaps[i]);
    while (::HeapWalk(heaps[i], &entry) != FALSE) {
      if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) {
        visit(entry.lpData, entry.cbData);
      }
    }
    ::HeapUnlock(heaps[i]);
  }
}
