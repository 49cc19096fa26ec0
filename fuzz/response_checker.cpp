// The checker stops at the same byte as the grammar does, however the text is cut into pieces.
#include "browser/response_checker.h"

#include "fuzz/property.h"
#include "fuzz/support/input.h"
#include "fuzz/support/response_grammar.h"

#include <cstdint>
#include <string_view>
#include <vector>

namespace kx {

namespace {

// Texts up to this length are also cut in two at each of their bytes.
constexpr std::size_t kCutEverywhere = 64;

Verdict fedByteByByte(std::string_view text) {
  ResponseChecker checker;
  Verdict verdict;
  while (verdict.accepted < text.size() && !verdict.complete &&
         checker.feed(static_cast<unsigned char>(text[verdict.accepted]))) {
    ++verdict.accepted;
    verdict.complete = checker.isComplete();
  }
  return verdict;
}

Verdict fedInPieces(const std::vector<std::string_view>& pieces) {
  ResponseChecker checker;
  Verdict verdict;
  for (const std::string_view piece : pieces) {
    const std::size_t accepted = checker.feedUntilComplete(piece);
    verdict.accepted += accepted;
    verdict.complete = checker.isComplete();
    if (verdict.complete || accepted < piece.size()) {
      break;
    }
  }
  return verdict;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  const unsigned seed = input.takeByte();
  const std::string_view text = input.rest();

  const Verdict expected = verdictByGrammar(text);

  FUZZ_PROPERTY(fedByteByByte(text) == expected, "byte by byte, the checker agrees with the grammar");
  FUZZ_PROPERTY(fedInPieces({text}) == expected, "at once, the checker agrees with the grammar");
  FUZZ_PROPERTY(fedInPieces(piecesOf(text, seed)) == expected,
                "in pieces, the checker agrees with the grammar");
  for (std::size_t cut = 0; text.size() <= kCutEverywhere && cut <= text.size(); ++cut) {
    FUZZ_PROPERTY(fedInPieces({text.substr(0, cut), text.substr(cut)}) == expected,
                  "no cut changes the verdict");
  }
  return 0;
}

}  // namespace kx
