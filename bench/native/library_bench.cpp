// From the bytes of a response to its fields: ours, with finding its end, against general libraries that get
// the whole text.
#include "bench_texts.h"
#include "benches.h"
#include "memory_browser.h"
#include "readers/readers.h"

#include <benchmark/benchmark.h>
#include <string>

namespace kx {

namespace {

void readWithOurs(benchmark::State& state, Shape shape) {
  MemoryBrowser browser;
  for (const ResponseText& text : textsOf(shape)) {
    browser.answerWith(text.json);
    if (!browser.play("macro", 0) || !tells(browser, text.fields)) {
      state.SkipWithError("the fields are not what the text says");
      return;
    }
  }
  while (state.KeepRunning()) {
    for (const ResponseText& text : textsOf(shape)) {
      browser.answerWith(text.json);
      if (!browser.play("macro", 0)) {
        state.SkipWithError("the play has failed");
        return;
      }
    }
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * bytesOf(textsOf(shape)));
}

void readWithOther(benchmark::State& state, Shape shape, const OtherReader& reader) {
  ResponseFields fields;
  for (const ResponseText& text : textsOf(shape)) {
    fields.clear();
    reader.read(text.json, fields);
    if (fields != text.fields) {
      state.SkipWithError("the fields are not what the text says");
      return;
    }
  }
  while (state.KeepRunning()) {
    for (const ResponseText& text : textsOf(shape)) {
      fields.clear();
      reader.read(text.json, fields);
    }
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * bytesOf(textsOf(shape)));
}

}  // namespace

void registerLibraries() {
  for (const Shape shape : kLongShapes) {
    const std::string name = std::string("reading/") + nameOf(shape) + "/";
    benchmark::RegisterBenchmark((name + "ours").c_str(), readWithOurs, shape);
    for (const OtherReader& reader : kOtherReaders) {
      benchmark::RegisterBenchmark((name + reader.name).c_str(), readWithOther, shape, reader);
    }
  }
}

}  // namespace kx
