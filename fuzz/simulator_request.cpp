// The simulator cuts any bytes into the same requests, however they arrive, and loses none of them. A request
// is well-formed to it exactly when the JSON library says so.
#include "fuzz/property.h"
#include "fuzz/support/input.h"
#include "fuzz/support/other_reader.h"
#include "request.h"
#include "request_scanner.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

struct Scan {
  std::vector<std::pair<std::string, bool>> requests;
  std::string pending;
  bool maybeEnded = false;

  bool operator==(const Scan&) const = default;
};

Scan scanned(const std::vector<std::string_view>& pieces) {
  kxsim::RequestScanner scanner;
  Scan scan;
  for (const std::string_view piece : pieces) {
    scanner.feed(piece);
    while (auto request = scanner.next()) {
      scan.requests.emplace_back(std::move(request->bytes), request->torn);
    }
  }
  scan.pending = scanner.pending();
  scan.maybeEnded = scanner.maybeEnded();
  return scan;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  const unsigned seed = input.takeByte();
  const std::string_view bytes = input.rest();

  const Scan scan = scanned({bytes});

  FUZZ_PROPERTY(scan == scanned(piecesOf(bytes, seed)), "the cuts change nothing");
  std::string together;
  for (const auto& [request, torn] : scan.requests) {
    together += request;
    const OtherJson json = OtherJson::parse(request, nullptr, false);
    FUZZ_PROPERTY(kxsim::readRequest(request).wellFormed == json.is_object(),
                  "well-formed is what the library reads");
  }
  FUZZ_PROPERTY(together + scan.pending == bytes, "no byte is lost");
  kxsim::readRequest(scan.pending);
  return 0;
}
