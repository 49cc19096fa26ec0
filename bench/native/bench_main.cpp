// The native benchmarks: what the portable core costs per byte, beside the plain way and beside general JSON
// libraries, on the same generated texts. Names are TOPIC/SHAPE/WHO; the options are those of Google
// Benchmark.
#include "benches.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <exception>

int main(int count, char** arguments) {
  try {
    benchmark::Initialize(&count, arguments);
    if (benchmark::ReportUnrecognizedArguments(count, arguments)) {
      return 1;
    }
    kx::registerFraming();
    kx::registerLibraries();
    kx::registerOptions();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
  } catch (const std::exception& e) {
    std::fprintf(stderr, "kx_bench_core: %s\n", e.what());
    return 1;
  }
  return 0;
}
