// What a process holds at one moment, for comparing it before and after many cycles: what grows by a little
// with each cycle is not given back. One thread measures, while no other thread of the process allocates.
#pragma once

#include <windows.h>
#include <cstdint>
#include <string>

struct ProcessState {
  std::uintptr_t nextHandle = 0;
  int threads = 0;
  // What the heaps of the process have handed out and not taken back.
  std::size_t heapBlocks = 0;
  std::size_t heapBytes = 0;
  // What the system has given to this process alone. It comes in pages, and whole areas.
  std::size_t privateBytes = 0;

  static ProcessState now();
};

// Threads of this process, by the system's own list.
int threadCount();

// What has grown between two moments, with numbers; empty when nothing has. Private memory may grow by a few
// areas of the heap, whatever the number of cycles.
std::string growth(const ProcessState& before, const ProcessState& after);
