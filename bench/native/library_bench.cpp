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

// read gives whether the fields are what the text says, which is looked at once, before the time counts.
template <typename Read>
void readTexts(benchmark::State& state, Shape shape, Read read) {
  for (const ResponseText& text : textsOf(shape)) {
    if (!read(text, true)) {
      state.SkipWithError("the fields are not what the text says");
      return;
    }
  }
  while (state.KeepRunning()) {
    for (const ResponseText& text : textsOf(shape)) {
      if (!read(text, false)) {
        state.SkipWithError("the text was not read");
        return;
      }
    }
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * bytesOf(textsOf(shape)));
}

void readWithOurs(benchmark::State& state, Shape shape) {
  MemoryBrowser browser;
  readTexts(state, shape, [&browser](const ResponseText& text, bool isCompared) {
    browser.answerWith(text.json);
    return browser.play("macro", 0) && (!isCompared || tells(browser, text.fields));
  });
}

void readWithOther(benchmark::State& state, Shape shape, const OtherReader& reader) {
  ResponseFields fields;
  readTexts(state, shape, [&](const ResponseText& text, bool isCompared) {
    fields.clear();
    reader.read(text.json, fields);
    return !isCompared || fields == text.fields;
  });
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
