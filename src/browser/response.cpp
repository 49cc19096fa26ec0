#include "browser/response.h"

#include <array>
#include <cmath>
#include <limits>
#include <utility>

namespace kx {

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

std::string_view readText(json::Parser& parser) {
  if (parser.next() == json::ElementType::StringElement) {
    return parser.readString();
  }
  parser.skip();
  return {};
}

double readNumber(json::Parser& parser) {
  if (parser.next() == json::ElementType::NumberElement) {
    return parser.readNumber();
  }
  parser.skip();
  return 0;
}

template <typename OnItem>
void readList(json::Parser& parser, OnItem onItem) {
  if (parser.next() == json::ElementType::ArrayElement) {
    parser.readArray(onItem);
  } else {
    parser.skip();
  }
}

void readExtracts(json::Parser& parser, Response& received) {
  readList(parser, [&] { received.extracts.add(readText(parser)); });
}

PerformanceEntry readPerformanceEntry(json::Parser& parser) {
  PerformanceEntry entry;
  if (parser.next() != json::ElementType::ObjectElement) {
    parser.skip();
    return entry;
  }
  parser.readObject([&](std::string_view name) {
    if (name == "name") {
      entry.name = readText(parser);
    } else if (name == "value") {
      entry.value = readText(parser);
    } else {
      parser.skip();
    }
  });
  return entry;
}

void readPerformance(json::Parser& parser, Response& received) {
  readList(parser, [&] { received.performance.push_back(readPerformanceEntry(parser)); });
}

void mergePerformance(Response& received, Response& gathered) {
  if (gathered.performance.empty()) {
    gathered.performance = std::move(received.performance);
  } else {
    gathered.performance.insert(gathered.performance.end(), received.performance.begin(),
                                received.performance.end());
  }
}

constexpr std::array<ResponseField, 6> kFields = {{
    {"status", false, [](json::Parser& parser, Response& r) { r.errorText = readText(parser); },
     [](Response& r, Response& gathered) { gathered.errorText = std::move(r.errorText); }},
    {"errorCode", false,
     [](json::Parser& parser, Response& r) { r.errorNumber = toInt32(readNumber(parser)); },
     [](Response& r, Response& gathered) { gathered.errorNumber = r.errorNumber; }},
    {"extractData", true, readExtracts,
     [](Response& r, Response& gathered) { gathered.extracts.append(std::move(r.extracts)); }},
    {"lastPerformance", true, readPerformance, mergePerformance},
    {"waitForProcessId", true,
     [](json::Parser& parser, Response& r) { r.waitForProcessId = toUint32(readNumber(parser)); },
     [](Response& r, Response& gathered) { gathered.waitForProcessId = r.waitForProcessId; }},
    {"profilerData", true, [](json::Parser& parser, Response& r) { r.profilerData = readText(parser); },
     [](Response& r, Response& gathered) { gathered.profilerData = r.profilerData; }},
}};

void readMember(std::string_view name, json::Parser& parser, Response& received) {
  for (const ResponseField& field : kFields) {
    if (field.name == name) {
      field.read(parser, received);
      return;
    }
  }
  parser.skip();
}

}  // namespace

std::span<const ResponseField> responseFields() {
  return kFields;
}

Response readResponse(ReceivedText& text) {
  Response received;
  json::Parser parser({text.bytes.data(), text.bytes.size()});
  parser.readObject([&](std::string_view name) { readMember(name, parser, received); });
  parser.readEnd();
  text.values = parser.releaseValues();
  text.hasListItems = !received.extracts.empty() || !received.performance.empty();
  return received;
}

void mergeFields(Response& received, std::span<const ResponseField> fields, Response& gathered) {
  for (const ResponseField& field : fields) {
    try {
      field.merge(received, gathered);
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

}  // namespace kx
