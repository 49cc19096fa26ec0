// The first byte says where a response is cut in two; the rest is the response. However it is cut, the
// instance ends in the same state; and what the checker lets through, the reader can cut into tokens.
#include "browser/response_checker.h"

#include "browser/browser_instance.h"
#include "fuzz/property.h"
#include "json/reader.h"

#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>

namespace {

class ReceivingInstance : public BrowserInstance {
 public:
  ReceivingInstance() : BrowserInstance(kFirefox) {}
  bool connect(int) override { return false; }
  bool sendCommand(const json::Object&, int) override { return false; }
};

// How far the checker gets, fed byte by byte.
struct Verdict {
  std::size_t accepted = 0;
  bool complete = false;

  bool operator==(const Verdict&) const = default;
};

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

Verdict fedAtOnce(std::string_view text) {
  ResponseChecker checker;
  const std::size_t accepted = checker.feedUntilComplete(text);
  return {accepted, checker.isComplete()};
}

// Feeds the pieces until one completes the response or is refused. What lies behind a complete response is
// the next one's, and a host reads no further before it has handled the first.
struct Outcome {
  bool refused = false;
  bool incomplete = true;
  int errorNumber = 0;
  std::string errorText;
  std::string extracts;
  std::string profilerData;
  std::uint32_t waitForProcessId = 0;

  bool operator==(const Outcome&) const = default;
};

Outcome received(std::string_view first, std::string_view second) {
  ReceivingInstance instance;
  Outcome outcome;
  for (const std::string_view piece : {first, second}) {
    if (!outcome.refused && instance.isResponseIncomplete()) {
      outcome.refused = !instance.processResponseBytes(piece.data(), piece.size());
    }
  }
  outcome.incomplete = instance.isResponseIncomplete();
  if (!outcome.incomplete) {
    instance.handleResponse();
  }
  outcome.errorNumber = instance.errorNumber();
  outcome.errorText = instance.errorText();
  outcome.extracts = instance.extract(0);
  outcome.profilerData = instance.profilerData();
  outcome.waitForProcessId = instance.waitForProcessId();
  return outcome;
}

void checkThatTheReaderFollows(const std::string& text) {
  std::istringstream stream(text);
  json::UnknownElement element;
  try {
    json::Reader::Read(element, stream);
  } catch (const json::Reader::ParseException& e) {
    // The only rule that the checker cannot know: it remembers no names.
    FUZZ_PROPERTY(std::string_view(e.what()).starts_with("Duplicate object member token: "),
                  "the reader refuses a checked text only for a name given twice");
  } catch (const json::Reader::ScanException&) {
    FUZZ_PROPERTY(false, "a checked text consists of tokens");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) {
    return 0;
  }
  const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);

  const Verdict verdict = fedByteByByte(text);
  FUZZ_PROPERTY(verdict == fedAtOnce(text), "feeding at once and byte by byte agree");
  if (verdict.complete) {
    checkThatTheReaderFollows(std::string(text.substr(0, verdict.accepted)));
  }

  const std::size_t cut = text.empty() ? 0 : data[0] % (text.size() + 1);
  const Outcome outcome = received(text, {});
  FUZZ_PROPERTY(outcome == received(text.substr(0, cut), text.substr(cut)), "the cut changes nothing");
  FUZZ_PROPERTY(outcome.incomplete == !verdict.complete, "the instance and the checker agree");
  FUZZ_PROPERTY(outcome.refused == (!verdict.complete && verdict.accepted < text.size()), "refusals agree");
  return 0;
}
