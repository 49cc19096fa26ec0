// What a response of the extension says, and how a parsed response fills it in. Responses leave out what they
// do not know, and a member of the wrong type counts as an empty one of the right type.
#pragma once

#include "json/elements.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

struct PerformanceEntry {
  std::string name;
  std::string value;
};

struct Response {
  std::string errorText;
  int errorNumber = 0;
  std::vector<std::string> extracts;
  std::vector<PerformanceEntry> performance;
  std::uint32_t waitForProcessId = 0;
  std::string profilerData;
};

// One member of a response and how it is read. Trouble in an optional member abandons that member alone.
struct ResponseField {
  const char* name;
  bool isOptional;
  void (*read)(json::UnknownElement& member, Response& response);
};

std::span<const ResponseField> responseFields();

// Reads the fields into the response in their order; extracts and performance entries are appended. Throws
// json::Exception when a field that is not optional does; what was read before it stays.
void readResponse(json::Object& object, std::span<const ResponseField> fields, Response& response);

// A JSON number as an integer field: truncated toward zero, saturated at the ends of the field's range.
int toInt32(double number);
std::uint32_t toUint32(double number);
