// From a play's macro and variables to the text of its request.
#include "benches.h"
#include "browser/requests.h"

#include <benchmark/benchmark.h>
#include <string>

namespace kx {

namespace {

void writePlay(benchmark::State& state) {
  MacroVariables variables;
  for (int i = 0; i < state.range(0); ++i) {
    variables.emplace("variable_" + std::to_string(i), "a value of some length");
  }
  const std::string source(10000, 'm');
  std::size_t bytes = 0;
  while (state.KeepRunning()) {
    bytes += requestText(playRequest(source, variables, false)).size();
  }
  if (bytes == 0) {
    state.SkipWithError("nothing was written");
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
}

}  // namespace

void registerWriting() {
  benchmark::RegisterBenchmark("writing/play", writePlay)->Arg(0)->Arg(1000)->Arg(100000);
}

}  // namespace kx
