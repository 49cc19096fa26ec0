#include "readers/readers.h"

#include <boost/json.hpp>
#include <string_view>

namespace {

std::string textOf(const boost::json::value& value) {
  const boost::json::string& text = value.as_string();
  return {text.data(), text.size()};
}

}  // namespace

void readWithBoost(const std::string& json, ResponseFields& fields) {
  // The memory that its users take for a document that is thrown away at once.
  const boost::json::value document =
      boost::json::parse(json, boost::json::make_shared_resource<boost::json::monotonic_resource>());
  const boost::json::object& object = document.as_object();
  fields.status = textOf(object.at("status"));
  fields.errorCode = object.at("errorCode").to_number<int>();
  if (const auto* member = object.if_contains("extractData")) {
    for (const boost::json::value& item : member->as_array()) {
      fields.extracts.push_back(textOf(item));
    }
  }
  if (const auto* member = object.if_contains("lastPerformance")) {
    for (const boost::json::value& item : member->as_array()) {
      fields.performance.emplace_back(textOf(item.as_object().at("name")),
                                      textOf(item.as_object().at("value")));
    }
  }
  if (const auto* member = object.if_contains("profilerData")) {
    fields.profilerData = textOf(*member);
  }
}
