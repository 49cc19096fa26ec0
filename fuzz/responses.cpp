// The first two bytes say how a response is cut into pieces; the rest is the response and what may lie behind
// it. However it is cut, the instance ends in the same state, and that is what another JSON library reads in
// the response.
#include "browser/browser_instance.h"
#include "fuzz/property.h"
#include "fuzz/support/input.h"
#include "fuzz/support/other_reader.h"
#include "fuzz/support/response_grammar.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kx {

namespace {

class ReceivingInstance : public BrowserInstance {
 public:
  ReceivingInstance() : BrowserInstance(kFirefox) {}
  bool connect(int) override { return false; }
  bool sendCommand(const json::Object&, int) override { return false; }
};

struct Outcome {
  bool refused = false;
  bool incomplete = true;
  int errorNumber = 0;
  std::string errorText;
  std::vector<std::string> extracts;
  std::vector<std::pair<std::string, std::string>> performance;
  std::uint32_t waitForProcessId = 0;
  std::string profilerData;

  bool operator==(const Outcome&) const = default;
};

void readFields(const BrowserInstance& instance, int mostItems, Outcome& outcome) {
  outcome.errorNumber = instance.errorNumber();
  outcome.errorText = instance.errorText();
  outcome.waitForProcessId = instance.waitForProcessId();
  outcome.profilerData = instance.profilerData();
  // Behind the last extract comes the empty text, as for an extract that is empty itself.
  for (int index = 1; index <= mostItems; ++index) {
    outcome.extracts.push_back(instance.extract(index).toString());
  }
  while (!outcome.extracts.empty() && outcome.extracts.back().empty()) {
    outcome.extracts.pop_back();
  }
  int index = 1;
  for (const PerformanceEntry* entry = nullptr; (entry = instance.performanceEntry(index)) != nullptr;
       ++index) {
    outcome.performance.emplace_back(entry->name, entry->value);
  }
}

// Feeds the pieces until one completes the response or is refused.
Outcome received(ReceivingInstance& instance, const std::vector<std::string_view>& pieces, int mostItems) {
  Outcome outcome;
  for (const std::string_view piece : pieces) {
    if (!outcome.refused && instance.isResponseIncomplete()) {
      outcome.refused = !instance.processResponseBytes(piece.data(), piece.size());
    }
  }
  outcome.incomplete = instance.isResponseIncomplete();
  if (!outcome.incomplete) {
    instance.handleResponse();
  }
  readFields(instance, mostItems, outcome);
  return outcome;
}

std::string textIn(const OtherJson& object, const char* name) {
  const auto found = object.find(name);
  return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

template <typename Integer>
Integer numberIn(const OtherJson& object, const char* name) {
  const auto found = object.find(name);
  const double number = found != object.end() && found->is_number() ? std::trunc(found->get<double>()) : 0;
  const double lowest = static_cast<double>(std::numeric_limits<Integer>::min());
  const double highest = static_cast<double>(std::numeric_limits<Integer>::max());
  return static_cast<Integer>(std::fmin(std::fmax(number, lowest), highest));
}

std::vector<OtherJson> itemsIn(const OtherJson& object, const char* name) {
  const auto found = object.find(name);
  return found != object.end() && found->is_array() ? found->get<std::vector<OtherJson>>()
                                                    : std::vector<OtherJson>();
}

Outcome expectedOf(const OtherReading& reading) {
  Outcome outcome;
  outcome.incomplete = false;
  const OtherJson& response = *reading.value;
  if (!response.is_object() || reading.namesOneTwice) {
    return outcome;  // the parser refuses it, and nothing changes
  }
  outcome.errorText = textIn(response, "status");
  outcome.errorNumber = numberIn<int>(response, "errorCode");
  outcome.waitForProcessId = numberIn<std::uint32_t>(response, "waitForProcessId");
  outcome.profilerData = textIn(response, "profilerData");
  for (const OtherJson& item : itemsIn(response, "extractData")) {
    outcome.extracts.push_back(item.is_string() ? item.get<std::string>() : std::string());
  }
  while (!outcome.extracts.empty() && outcome.extracts.back().empty()) {
    outcome.extracts.pop_back();
  }
  for (const OtherJson& item : itemsIn(response, "lastPerformance")) {
    outcome.performance.emplace_back(item.is_object() ? textIn(item, "name") : std::string(),
                                     item.is_object() ? textIn(item, "value") : std::string());
  }
  return outcome;
}

// What lay behind the end of the response comes before the next one: blanks do no harm, all else makes it
// unreadable, and then it changes nothing.
void checkTheNextResponse(ReceivingInstance& instance, std::string_view behind, const Outcome& before) {
  constexpr std::string_view kNext = R"({"status":"the next one","errorCode":77})";
  const Outcome after = received(instance, {kNext}, 0);
  FUZZ_PROPERTY(!after.incomplete && !after.refused, "the next response is received");
  if (behind.find_first_not_of(" \t\r\n") == std::string_view::npos) {
    FUZZ_PROPERTY(after.errorNumber == 77 && after.errorText == "the next one", "the next response counts");
  } else if (behind.find_first_not_of(" \t\r\n\v\f") != std::string_view::npos) {
    FUZZ_PROPERTY(after.errorNumber == before.errorNumber && after.errorText == before.errorText,
                  "a next response behind rubbish changes nothing");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  const unsigned seed = input.takeByte() * 256 + input.takeByte();
  const std::string_view text = input.rest();
  const int mostItems = static_cast<int>(std::count(text.begin(), text.end(), ',')) + 1;

  ReceivingInstance atOnce;
  const Outcome outcome = received(atOnce, {text}, mostItems);
  ReceivingInstance piecewise;
  FUZZ_PROPERTY(outcome == received(piecewise, piecesOf(text, seed), mostItems), "the cuts change nothing");

  const Verdict verdict = verdictByGrammar(text);
  FUZZ_PROPERTY(outcome.incomplete == !verdict.complete, "a response is complete when the grammar says so");
  FUZZ_PROPERTY(outcome.refused == (!verdict.complete && verdict.accepted < text.size()),
                "a response is refused when the grammar says so");
  if (!verdict.complete) {
    Outcome nothing;
    nothing.refused = outcome.refused;
    FUZZ_PROPERTY(outcome == nothing, "what is no response changes no field");
    return 0;
  }
  if (const OtherReading reading = readByOther(text.substr(0, verdict.accepted)); reading.value) {
    FUZZ_PROPERTY(outcome == expectedOf(reading), "the fields are what another library reads");
  }
  checkTheNextResponse(atOnce, text.substr(verdict.accepted), outcome);
  return 0;
}

}  // namespace kx
