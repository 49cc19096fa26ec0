// Any bytes either become an element or raise one of the reader's two exceptions, with a place inside the
// text. Of a text that the grammar lets through, our reader and another library's read the same values, or
// one of them refuses for a known reason.
#include "fuzz/property.h"
#include "fuzz/support/other_reader.h"
#include "fuzz/support/response_grammar.h"
#include "json/reader.h"

#include <algorithm>
#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>
#include <variant>

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

// Whether the text could be read, and into what kind of element.
template <typename Element>
bool reads(Element& element, const std::string& text) {
  std::istringstream stream(text);
  try {
    json::Reader::Read(element, stream);
    return true;
  } catch (const json::Reader::ScanException& e) {
    checkPlace(e.m_locError, text);
  } catch (const json::Reader::ParseException& e) {
    checkPlace(e.m_locTokenBegin, text);
    checkPlace(e.m_locTokenEnd, text);
    FUZZ_PROPERTY(e.m_locTokenBegin.m_nDocOffset <= e.m_locTokenEnd.m_nDocOffset,
                  "a token begins before it ends");
  }
  return false;
}

void compareWithOther(std::string_view text) {
  json::UnknownElement element;
  const bool readsOurs = reads(element, std::string(text));
  const OtherReading other = readByOther(text);
  if (!other.value) {
    FUZZ_PROPERTY(other.isNoUtf8 || other.hasHugeNumber, "the other library refuses for a known reason");
    return;
  }
  FUZZ_PROPERTY(readsOurs != other.namesOneTwice, "ours refuses exactly where a name is given twice");
  FUZZ_PROPERTY(!readsOurs || isSame(element, *other.value), "both read the same values");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);

  json::UnknownElement element;
  json::Object object;
  const bool readsAny = reads(element, text);
  const bool readsObject = reads(object, text);

  const bool isObject = readsAny && std::holds_alternative<json::Object>(element.Held());
  FUZZ_PROPERTY(readsObject == isObject, "an object is read exactly where any element would be an object");
  FUZZ_PROPERTY(!readsAny || isObject || object.Empty(), "a refused text leaves the object unchanged");

  if (const Verdict verdict = verdictByGrammar(text); verdict.complete) {
    compareWithOther(std::string_view(text).substr(0, verdict.accepted));
  }
  return 0;
}
