#include "fuzz/support/other_reader.h"

#include "json/parser.h"

#include <regex>
#include <set>
#include <vector>

namespace {

// A point without a digit behind it, half a surrogate pair, a number that may be beyond a double's range.
bool hasWhatOnlyOursReads(std::string_view text) {
  static const std::regex pattern(R"(\.(?![0-9])|\\u[dD][89a-fA-F]|[eE]\+?0*[0-9]{3}|[0-9]{300})");
  return std::regex_search(text.begin(), text.end(), pattern);
}

bool isUtf8(std::string_view bytes) {
  try {
    OtherJson(bytes).dump();
    return true;
  } catch (const OtherJson::type_error&) {
    return false;
  }
}

OtherJson nextElement(kx::json::Parser& parser) {
  switch (parser.next()) {
    case kx::json::ElementType::ObjectElement: {
      OtherJson object = OtherJson::object();
      parser.readObject(
          [&](std::string_view name) { object.emplace(std::string(name), nextElement(parser)); });
      return object;
    }
    case kx::json::ElementType::ArrayElement: {
      OtherJson array = OtherJson::array();
      parser.readArray([&] { array.push_back(nextElement(parser)); });
      return array;
    }
    case kx::json::ElementType::StringElement:
      return std::string(parser.readString());
    case kx::json::ElementType::NumberElement:
      return parser.readNumber();
    case kx::json::ElementType::BooleanElement:
      return parser.readBoolean();
    case kx::json::ElementType::NullElement:
      break;
  }
  parser.readNull();
  return nullptr;
}

}  // namespace

OtherReading readByOther(std::string_view text) {
  OtherReading reading;
  reading.mayBeRefused = hasWhatOnlyOursReads(text) || !isUtf8(text);
  std::vector<std::set<std::string>> names;
  const auto look = [&](int, OtherJson::parse_event_t event, OtherJson& parsed) {
    if (event == OtherJson::parse_event_t::object_start) {
      names.emplace_back();
    } else if (event == OtherJson::parse_event_t::object_end) {
      names.pop_back();
    } else if (event == OtherJson::parse_event_t::key) {
      reading.namesOneTwice = !names.back().insert(parsed.get<std::string>()).second || reading.namesOneTwice;
    }
    return true;
  };
  OtherJson value = OtherJson::parse(text, look, false);
  if (!value.is_discarded()) {
    reading.value = std::move(value);
  }
  return reading;
}

OtherJson readByOurs(std::string_view text) {
  kx::json::Parser parser(text);
  OtherJson value = nextElement(parser);
  parser.readEnd();
  return value;
}
