// Other JSON libraries, each reading a response into the same fields as ours: by events or by a document.
// Each gets the whole text at once, and so has no end of text to find.
#pragma once

#include "texts/response_texts.h"

#include <string>

struct OtherReader {
  const char* name;
  // Throws std::runtime_error when the text is no JSON. The fields were cleared before.
  void (*read)(const std::string& json, ResponseFields& fields);
};

void readWithRapidJsonEvents(const std::string& json, ResponseFields& fields);
void readWithRapidJsonDocument(const std::string& json, ResponseFields& fields);
void readWithNlohmann(const std::string& json, ResponseFields& fields);
void readWithJsonCpp(const std::string& json, ResponseFields& fields);
void readWithBoost(const std::string& json, ResponseFields& fields);

inline constexpr OtherReader kOtherReaders[] = {
    {"rapidjson_sax", readWithRapidJsonEvents},
    {"rapidjson_document", readWithRapidJsonDocument},
    {"nlohmann", readWithNlohmann},
    {"jsoncpp", readWithJsonCpp},
    {"boost_json", readWithBoost},
};
