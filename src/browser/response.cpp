#include "browser/response.h"

#include <array>
#include <cmath>
#include <limits>

namespace {

template <typename Integer>
Integer truncated(double number) {
  constexpr Integer kLowest = std::numeric_limits<Integer>::min();
  constexpr Integer kHighest = std::numeric_limits<Integer>::max();
  if (std::isnan(number)) {
    return 0;
  }
  if (number <= static_cast<double>(kLowest)) {
    return kLowest;
  }
  if (number >= static_cast<double>(kHighest)) {
    return kHighest;
  }
  return static_cast<Integer>(number);
}

const std::string& textOf(json::UnknownElement& element) {
  const json::String& text = static_cast<json::String&>(element);
  return text.Value();
}

double numberOf(json::UnknownElement& element) {
  const json::Number& number = static_cast<json::Number&>(element);
  return number.Value();
}

void readExtracts(json::UnknownElement& member, Response& response) {
  json::Array& items = member;
  for (auto item = items.Begin(); item != items.End(); ++item) {
    response.extracts.push_back(textOf(*item));
  }
}

void readPerformance(json::UnknownElement& member, Response& response) {
  json::Array& items = member;
  for (auto item = items.Begin(); item != items.End(); ++item) {
    json::Object& entry = *item;
    response.performance.push_back({textOf(entry["name"]), textOf(entry["value"])});
  }
}

constexpr std::array<ResponseField, 6> kFields = {{
    {"status", false, [](json::UnknownElement& member, Response& r) { r.errorText = textOf(member); }},
    {"errorCode", false,
     [](json::UnknownElement& member, Response& r) { r.errorNumber = toInt32(numberOf(member)); }},
    {"extractData", true, readExtracts},
    {"lastPerformance", true, readPerformance},
    {"waitForProcessId", true,
     [](json::UnknownElement& member, Response& r) { r.waitForProcessId = toUint32(numberOf(member)); }},
    {"profilerData", true,
     [](json::UnknownElement& member, Response& r) { r.profilerData = textOf(member); }},
}};

}  // namespace

std::span<const ResponseField> responseFields() {
  return kFields;
}

void readResponse(json::Object& object, std::span<const ResponseField> fields, Response& response) {
  for (const ResponseField& field : fields) {
    try {
      field.read(object[field.name], response);
    } catch (const json::Exception&) {
      if (!field.isOptional) {
        throw;
      }
    }
  }
}

int toInt32(double number) {
  return truncated<std::int32_t>(number);
}

std::uint32_t toUint32(double number) {
  return truncated<std::uint32_t>(number);
}
