// How much memory an answer needs, at most and afterwards, in sizes of the answer. Each figure comes from a
// process of its own, whose memory before the first play is taken off.
#include "win32/bench.h"
#include "win32/windows_error.h"

// psapi.h leans on windows.h.
#include <windows.h>
#include <psapi.h>
#include <stdexcept>
#include <string>

namespace {

constexpr std::size_t kMegabyte = std::size_t{1} << 20;
constexpr DWORD kChildMilliseconds = 120000;

struct Memory {
  double privateBytes = 0;
  double workingSet = 0;
  double peak = 0;
};

// The peak of private bytes is what the system gives as the peak of the working set, because Wine keeps none
// of private bytes; here, where nothing is swapped, the two grow alike.
Memory memoryInUse() {
  PROCESS_MEMORY_COUNTERS counters{};
  if (::GetProcessMemoryInfo(::GetCurrentProcess(), &counters, sizeof counters) == FALSE) {
    failWith("the system does not tell how much memory is in use");
  }
  return {static_cast<double>(counters.PagefileUsage), static_cast<double>(counters.WorkingSetSize),
          static_cast<double>(counters.PeakWorkingSetSize)};
}

struct MemoryRow {
  const char* name;
  Shape shape;
  int plays;
  bool isHeld;  // afterwards, rather than at most
};

constexpr MemoryRow kRows[] = {
    {"memory_one_string", Shape::OneString, 1, false},
    {"memory_second_one_string", Shape::OneString, 2, false},
    {"memory_short_items", Shape::ShortItems, 1, false},
    {"memory_held_one_string", Shape::OneString, 1, true},
    {"memory_held_short_items", Shape::ShortItems, 1, true},
};

void runChild(Bench& bench, const std::string& row) {
  const HANDLE process =
      startedProgram("kx_bench_host.exe --results " + bench.resultFile() + " --memory " + row + " " +
                     bench.peer().profile() + (bench.isQuick() ? " --quick" : ""));
  DWORD exitCode = 1;
  const DWORD result = ::WaitForSingleObject(process, kChildMilliseconds);
  ::GetExitCodeProcess(process, &exitCode);
  ::CloseHandle(process);
  require(result == WAIT_OBJECT_0 && exitCode == 0, "the process for " + row + " has failed");
}

}  // namespace

std::vector<Row> memoryRows() {
  return {{"memory", [](Bench& bench) {
             for (const MemoryRow& row : kRows) {
               runChild(bench, row.name);
             }
           }}};
}

double measureMemory(const std::string& name, const std::string& profile, bool isQuick) {
  for (const MemoryRow& row : kRows) {
    if (row.name != name) {
      continue;
    }
    const std::size_t size = isQuick ? kMegabyte : 16 * kMegabyte;
    const KxLibrary library;
    const LibraryContext context(library, profile);
    context.play(wish(Shape::Small, 0, 0));
    const Memory before = memoryInUse();
    for (int i = 0; i < row.plays; ++i) {
      context.play(wish(row.shape, size, kSeeds[0]));
    }
    context.play(wish(Shape::Small, 0, 0));
    const Memory after = memoryInUse();
    const double bytes =
        row.isHeld ? after.privateBytes - before.privateBytes : after.peak - before.workingSet;
    return bytes / static_cast<double>(size);
  }
  throw std::runtime_error("there is no memory row " + name);
}
