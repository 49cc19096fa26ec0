#include "readers/readers.h"

#include <json/json.h>
#include <memory>
#include <stdexcept>

void readWithJsonCpp(const std::string& json, ResponseFields& fields) {
  const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  Json::Value document;
  if (!reader->parse(json.data(), json.data() + json.size(), &document, nullptr)) {
    throw std::runtime_error("JsonCpp refuses the text");
  }
  fields.status = document["status"].asString();
  fields.errorCode = document["errorCode"].asInt();
  for (const Json::Value& item : document["extractData"]) {
    fields.extracts.push_back(item.asString());
  }
  for (const Json::Value& item : document["lastPerformance"]) {
    fields.performance.emplace_back(item["name"].asString(), item["value"].asString());
  }
  if (document.isMember("profilerData")) {
    fields.profilerData = document["profilerData"].asString();
  }
}
