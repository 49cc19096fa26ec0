#include "readers/readers.h"

#include <nlohmann/json.hpp>

void readWithNlohmann(const std::string& json, ResponseFields& fields) {
  const nlohmann::json document = nlohmann::json::parse(json);
  fields.status = document.at("status").get_ref<const std::string&>();
  fields.errorCode = document.at("errorCode").get<int>();
  if (const auto member = document.find("extractData"); member != document.end()) {
    for (const nlohmann::json& item : *member) {
      fields.extracts.push_back(item.get_ref<const std::string&>());
    }
  }
  if (const auto member = document.find("lastPerformance"); member != document.end()) {
    for (const nlohmann::json& item : *member) {
      fields.performance.emplace_back(item.at("name").get_ref<const std::string&>(),
                                      item.at("value").get_ref<const std::string&>());
    }
  }
  if (const auto member = document.find("profilerData"); member != document.end()) {
    fields.profilerData = member->get_ref<const std::string&>();
  }
}
