// What responses of the extension say, and how it is read from their text. Responses leave out what they do
// not know, and a member of the wrong type counts as an empty one of the right type.
//
// Extracts, performance entries and profiler data are not copied out of the text they came in: they are views
// of it, and the text is kept as long as they are.
#pragma once

#include "browser/extracts.h"
#include "json/parser.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kx {

struct PerformanceEntry {
  std::string_view name;
  std::string_view value;
};

// The bytes of a response as they were received, and the values of those strings that hold escapes. Moving it
// leaves both where they are.
struct ReceivedText {
  std::vector<char> bytes;
  json::Scanner::Values values;
  // Whether an extract or a performance entry is a view of it, which stays until the next play.
  bool hasListItems = false;
};

struct Response {
  std::string errorText;
  int errorNumber = 0;
  Extracts extracts;
  std::vector<PerformanceEntry> performance;
  std::uint32_t waitForProcessId = 0;
  std::string_view profilerData;
};

// One member of a response: how it is read, and how what was read is merged into the response that gathers
// what all of them say. An error in an optional member drops only that member.
struct ResponseField {
  std::string_view name;
  bool isOptional;
  void (*read)(json::Parser& parser, Response& received);
  void (*merge)(Response& received, Response& gathered);
};

std::span<const ResponseField> responseFields();

// Reads a response, whose views are then of this text. Throws what the parser throws.
Response readResponse(ReceivedText& text);

// Merges the fields in their order; extracts and performance entries are appended. Throws json::Exception
// when a field that is not optional does; what was merged before it stays.
void mergeFields(Response& received, std::span<const ResponseField> fields, Response& gathered);

// A JSON number as an integer field: truncated toward zero, saturated at the ends of the field's range.
int toInt32(double number);
std::uint32_t toUint32(double number);

}  // namespace kx
