// Taking extracts out of an instance: one long one, short ones one by one, all joined.
#include "bench_texts.h"
#include "benches.h"
#include "memory_browser.h"

#include <benchmark/benchmark.h>
#include <cstdint>
#include <string>
#include <vector>

namespace kx {

namespace {

// Extracts first to last, by index; 0 is all of them joined.
void readExtracts(benchmark::State& state, Shape shape, bool isJoined) {
  const ResponseText& text = textsOf(shape).front();
  MemoryBrowser browser;
  browser.answerWith(text.json);
  if (!browser.play("macro", 0) || !tells(browser, text.fields)) {
    state.SkipWithError("the fields are not what the text says");
    return;
  }
  const int first = isJoined ? 0 : 1;
  const int last = isJoined ? 0 : static_cast<int>(text.fields.extracts.size());
  std::vector<char> buffer(browser.extract(0).size());
  std::size_t bytes = 0;
  while (state.KeepRunning()) {
    for (int index = first; index <= last; ++index) {
      const JoinedText extract = browser.extract(index);
      extract.copyTo(buffer.data());
      benchmark::ClobberMemory();
      bytes += extract.size();
    }
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
}

}  // namespace

void registerReadBack() {
  benchmark::RegisterBenchmark("extracts/one_extract/single", readExtracts, Shape::OneExtract, false);
  benchmark::RegisterBenchmark("extracts/short_items/single", readExtracts, Shape::ShortItems, false);
  benchmark::RegisterBenchmark("extracts/short_items/joined", readExtracts, Shape::ShortItems, true);
}

}  // namespace kx
