// Whatever macro the simulator plays, with whatever variables, its reply is a response that the grammar lets
// through and that our parser and another library read alike.
#include "fuzz/property.h"
#include "fuzz/support/input.h"
#include "fuzz/support/other_reader.h"
#include "fuzz/support/response_grammar.h"
#include "macro.h"

#include <algorithm>
#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>

namespace {

// "fill" makes extracts of up to 256 MB; here they stay below 10 kB.
bool hasLongNumber(std::string_view text) {
  std::size_t digits = 0;
  for (const char c : text) {
    digits = c >= '0' && c <= '9' ? digits + 1 : 0;
    if (digits > 4) {
      return true;
    }
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  const unsigned flags = input.takeByte();
  kxsim::Request request;
  request.type = "play";
  request.useProfiler = flags % 2 != 0;
  request.source = input.takeText();
  while (!input.isEmpty()) {
    std::string name = input.takeText();
    request.variables.emplace_back(std::move(name), input.takeText());
  }
  const std::string_view all(reinterpret_cast<const char*>(data), size);
  if (hasLongNumber(all)) {
    return 0;
  }

  long long pauses = 0;
  kxsim::MacroSettings settings;
  settings.lenient = flags / 2 % 2 != 0;
  settings.pause = [&pauses](long long milliseconds) {
    FUZZ_PROPERTY(milliseconds >= 0, "no pause is negative");
    ++pauses;
  };
  kxsim::Reply reply;
  kxsim::playMacro(request, settings, reply);

  FUZZ_PROPERTY(pauses <= std::count(request.source.begin(), request.source.end(), '\n') + 1,
                "a line pauses once at most");
  const std::string text = reply.text();
  FUZZ_PROPERTY((verdictByGrammar(text) == Verdict{text.size(), true}), "a reply is one whole response");
  const OtherReading other = readByOther(text);
  FUZZ_PROPERTY(other.value || other.mayBeRefused, "another library reads every reply of proper texts");
  if (other.value) {
    FUZZ_PROPERTY(other.value->at("errorCode").is_number_integer(), "a reply has an error code");
    FUZZ_PROPERTY(readByOurs(text) == *other.value, "both read the same reply");
  }
  return 0;
}
