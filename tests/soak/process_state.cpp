#include "soak/process_state.h"

#include "support/debug_mode.h"
#include "support/win32/heap_blocks.h"
#include "support/win32/next_handle.h"

// These two need the types of windows.h.
#include <psapi.h>
#include <tlhelp32.h>

namespace {

// The heap takes areas from the system and splits them up; how they fall differs from run to run.
constexpr std::size_t kHeapAreas = 512 * 1024;

// The test program and the library.
constexpr std::size_t kModules = 2;

// Blocks that are probably the heaps' own: under Wine 10 there were up to 4 more, of about 4 KB, after 500
// conversations, and 1 more after the next 500. What each conversation leaves behind comes in hundreds.
constexpr std::size_t kBlocksOfTheHeaps = 8;
constexpr std::size_t kBytesOfAHeapsBlock = 4096;

std::size_t privateMemory() {
  PROCESS_MEMORY_COUNTERS_EX counters{};
  counters.cb = sizeof(counters);
  ::GetProcessMemoryInfo(::GetCurrentProcess(), reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&counters),
                         sizeof(counters));
  return counters.PrivateUsage;
}

std::string difference(const char* what, std::uint64_t before, std::uint64_t after) {
  return std::string(what) + ": " + std::to_string(before) + " before, " + std::to_string(after) + " after\n";
}

}  // namespace

int threadCount() {
  int count = 0;
  const HANDLE snapshot = ::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  THREADENTRY32 entry{};
  entry.dwSize = sizeof(entry);
  for (BOOL more = ::Thread32First(snapshot, &entry); more != FALSE;
       more = ::Thread32Next(snapshot, &entry)) {
    count += entry.th32OwnerProcessID == ::GetCurrentProcessId() ? 1 : 0;
  }
  ::CloseHandle(snapshot);
  return count;
}

ProcessState ProcessState::now() {
  ProcessState state;
  state.nextHandle = nextHandleValue();
  state.threads = threadCount();
  forEachHeapBlock([&](const void*, DWORD bytes) {
    ++state.heapBlocks;
    state.heapBytes += bytes;
  });
  state.privateBytes = privateMemory();
  return state;
}

std::string growth(const ProcessState& before, const ProcessState& after) {
  std::string text;
  if (after.nextHandle > before.nextHandle) {
    text += difference("value of a new handle", before.nextHandle, after.nextHandle);
  }
  if (after.threads != before.threads) {
    text += difference("threads", static_cast<std::uint64_t>(before.threads),
                       static_cast<std::uint64_t>(after.threads));
  }
  if (after.heapBlocks > before.heapBlocks + kBlocksOfTheHeaps + kModules * kBlocksOfSharedLocks) {
    text += difference("blocks of the heaps", before.heapBlocks, after.heapBlocks);
  }
  if (after.heapBytes > before.heapBytes + kBlocksOfTheHeaps * kBytesOfAHeapsBlock +
                            kModules * kBlocksOfSharedLocks * kBytesOfSharedLock) {
    text += difference("bytes of the heaps", before.heapBytes, after.heapBytes);
  }
  if (after.privateBytes > before.privateBytes + kHeapAreas) {
    text += difference("private bytes", before.privateBytes, after.privateBytes);
  }
  return text;
}
