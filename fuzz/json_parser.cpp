// Any bytes either can be read or raise one of the parser's two exceptions, with a place inside the
// text. Of a text that the grammar lets through, our parser and another library's read the same values, or
// one of them refuses for a known reason.
#include "fuzz/property.h"
#include "fuzz/support/other_reader.h"
#include "fuzz/support/response_grammar.h"
#include "json/parser.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kx {

namespace {

void checkPlace(const json::Reader::Location& place, std::string_view text) {
  FUZZ_PROPERTY(place.m_nDocOffset >= 0 && place.m_nLine >= 0 && place.m_nLineOffset >= 0,
                "no place is negative");
  const auto offset = static_cast<std::size_t>(place.m_nDocOffset);
  FUZZ_PROPERTY(offset <= text.size(), "a place lies in the text");
  const auto lines = std::count(text.begin(), text.begin() + place.m_nDocOffset, '\n');
  FUZZ_PROPERTY(place.m_nLine == lines, "the line is the number of line feeds before the place");
  const std::size_t feed = text.substr(0, offset).rfind('\n');
  const std::size_t lineStart = feed == std::string_view::npos ? 0 : feed + 1;
  FUZZ_PROPERTY(static_cast<std::size_t>(place.m_nLineOffset) == offset - lineStart,
                "the line offset counts from the line's start");
}

// What our parser reads in the text; nothing when it refuses.
template <typename Read>
auto readOrCheckPlace(const std::string& text, Read readText) -> std::optional<decltype(readText(text))> {
  try {
    return readText(text);
  } catch (const json::Reader::ScanException& e) {
    checkPlace(e.m_locError, text);
  } catch (const json::Reader::ParseException& e) {
    checkPlace(e.m_locTokenBegin, text);
    checkPlace(e.m_locTokenEnd, text);
    FUZZ_PROPERTY(e.m_locTokenBegin.m_nDocOffset <= e.m_locTokenEnd.m_nDocOffset,
                  "a token begins before it ends");
  }
  return std::nullopt;
}

// As responses are read: an object, whose members are skipped.
bool skipObject(const std::string& text) {
  json::Parser parser(text);
  parser.readObject([&](std::string_view /*name*/) { parser.skip(); });
  parser.readEnd();
  return true;
}

void compareWithOther(std::string_view text) {
  const std::optional<OtherJson> ours = readOrCheckPlace(std::string(text), readByOurs);
  const OtherReading other = readByOther(text);
  if (!other.value) {
    FUZZ_PROPERTY(other.mayBeRefused, "the other library refuses for a known reason");
    return;
  }
  FUZZ_PROPERTY(ours.has_value() != other.namesOneTwice, "ours refuses exactly where a name is given twice");
  FUZZ_PROPERTY(!ours || *ours == *other.value, "both read the same values");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);

  const std::optional<OtherJson> element = readOrCheckPlace(text, readByOurs);
  const bool readsObject = readOrCheckPlace(text, skipObject).has_value();
  FUZZ_PROPERTY(readsObject == (element && element->is_object()),
                "an object can be skipped exactly where it can be read");

  if (const Verdict verdict = verdictByGrammar(text); verdict.complete) {
    compareWithOther(std::string_view(text).substr(0, verdict.accepted));
  }
  return 0;
}

}  // namespace kx
