// Finding the end of a response and keeping its bytes, in pieces as a pipe gives them: the library's checker
// against one table step and one push_back per byte.
#include "bench_texts.h"
#include "benches.h"
#include "browser/response_checker.h"
#include "byte_framer.h"

#include <benchmark/benchmark.h>
#include <string>
#include <string_view>
#include <vector>

namespace kx {

namespace {

constexpr std::size_t kPieceBytes = 4096;

template <typename Take>
bool inPieces(const std::string& text, Take take) {
  for (std::size_t sent = 0; sent < text.size(); sent += kPieceBytes) {
    if (!take(std::string_view(text).substr(sent, kPieceBytes))) {
      return false;
    }
  }
  return true;
}

void frameByByte(benchmark::State& state, Shape shape) {
  const std::vector<ResponseText>& texts = textsOf(shape);
  ByteFramer framer;
  while (state.KeepRunning()) {
    for (const ResponseText& text : texts) {
      framer.restart();
      const bool isAccepted = inPieces(text.json, [&](std::string_view piece) { return framer.take(piece); });
      if (!isAccepted || !framer.isComplete() || framer.received().size() != text.json.size()) {
        state.SkipWithError("the text was refused");
        return;
      }
    }
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * bytesOf(texts));
}

void frameWithLibrary(benchmark::State& state, Shape shape) {
  const std::vector<ResponseText>& texts = textsOf(shape);
  std::string received;
  while (state.KeepRunning()) {
    for (const ResponseText& text : texts) {
      received.clear();
      ResponseChecker checker;
      const bool isAccepted = inPieces(text.json, [&](std::string_view piece) {
        const std::size_t accepted = checker.feedUntilComplete(piece);
        received.append(piece.substr(0, accepted));
        return accepted == piece.size();
      });
      if (!isAccepted || !checker.isComplete() || received.size() != text.json.size()) {
        state.SkipWithError("the text was refused");
        return;
      }
    }
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * bytesOf(texts));
}

}  // namespace

void registerFraming() {
  for (const Shape shape : kLongShapes) {
    const std::string name = std::string("framing/") + nameOf(shape) + "/";
    benchmark::RegisterBenchmark((name + "byte_by_byte").c_str(), frameByByte, shape);
    benchmark::RegisterBenchmark((name + "ours").c_str(), frameWithLibrary, shape);
  }
}

}  // namespace kx
