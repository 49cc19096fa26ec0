// Finding the end of a response and keeping its bytes, in pieces as a pipe gives them: whole pieces against
// one table step and one push_back per byte.
#include "bench_texts.h"
#include "benches.h"
#include "browser/response_checker.h"

#include <benchmark/benchmark.h>
#include <string>
#include <string_view>
#include <vector>

namespace kx {

namespace {

constexpr std::size_t kPieceBytes = 4096;

// Takes a piece; what has been accepted of it is kept.
using Take = bool (*)(ResponseChecker& checker, std::string_view piece, std::string& received);

bool takeByByte(ResponseChecker& checker, std::string_view piece, std::string& received) {
  for (const char byte : piece) {
    if (!checker.feed(static_cast<unsigned char>(byte))) {
      return false;
    }
    received.push_back(byte);
    if (checker.isComplete()) {
      break;
    }
  }
  return true;
}

bool takeAtOnce(ResponseChecker& checker, std::string_view piece, std::string& received) {
  const std::size_t accepted = checker.feedUntilComplete(piece);
  received.append(piece.substr(0, accepted));
  return accepted == piece.size();
}

void frame(benchmark::State& state, Shape shape, Take take) {
  const std::vector<ResponseText>& texts = textsOf(shape);
  std::string received;
  while (state.KeepRunning()) {
    for (const ResponseText& text : texts) {
      received.clear();
      ResponseChecker checker;
      bool isAccepted = true;
      for (std::size_t sent = 0; isAccepted && sent < text.json.size(); sent += kPieceBytes) {
        isAccepted = take(checker, std::string_view(text.json).substr(sent, kPieceBytes), received);
      }
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
    benchmark::RegisterBenchmark((name + "byte_by_byte").c_str(), frame, shape, takeByByte);
    benchmark::RegisterBenchmark((name + "ours").c_str(), frame, shape, takeAtOnce);
  }
}

}  // namespace kx
