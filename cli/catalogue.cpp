#include "cli/catalogue.h"

#include "cli/embedded.h"
#include "cli/json.h"
#include "cli/text.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <map>
#include <stdexcept>

namespace kx::cli {
namespace {

ErrorKind kindOf(const std::string& word) {
  static const std::map<std::string, ErrorKind> kinds = {{"connection", ErrorKind::Connection},
                                                         {"macro", ErrorKind::Macro},
                                                         {"use", ErrorKind::Use},
                                                         {"note", ErrorKind::Note}};
  return kinds.at(word);
}

NumberRule numberRuleOf(const Json& value) {
  using Kind = NumberRule::Kind;
  if (value.is_null()) {
    return {Kind::Any, {}};
  }
  if (value.is_string()) {
    static const std::map<std::string, Kind> kinds = {{"windows", Kind::Windows},
                                                      {"extension", Kind::Extension}};
    return {kinds.at(value.get<std::string>()), {}};
  }
  return {Kind::Listed, value.is_array() ? value.get<std::vector<int>>() : std::vector{value.get<int>()}};
}

ErrorRow rowOf(const Json& value) {
  ErrorRow row;
  row.id = value.at("id");
  row.kind = kindOf(value.at("kind"));
  row.exports = value.at("export").get<std::vector<std::string>>();
  if (!value.at("result").is_null()) {
    row.result = value.at("result").get<int>();
  }
  row.number = numberRuleOf(value.at("number"));
  if (!value.at("text").is_null()) {
    row.text = value.at("text").get<std::string>();
  }
  row.log = value.at("log").get<std::vector<std::string>>();
  row.cause = value.at("cause");
  row.remedy = value.at("remedy");
  row.page = value.at("page");
  return row;
}

// Rows that say nothing about number and text are those of the log, of calls that were refused and of results
// with a meaning of their own.
bool isAbout(const NumberRule& rule, int number) {
  constexpr int kSuccess = 1;
  switch (rule.kind) {
    case NumberRule::Kind::Any:
      return false;
    case NumberRule::Kind::Listed:
      return std::find(rule.listed.begin(), rule.listed.end(), number) != rule.listed.end();
    case NumberRule::Kind::Windows:
      return number < 0;
    case NumberRule::Kind::Extension:
      return number != 0 && number != kSuccess;
  }
  return false;
}

bool isAbout(const ErrorRow& row, const CallResult& call) {
  const auto& names = row.exports;
  if (std::find(names.begin(), names.end(), call.exportName) == names.end()) {
    return false;
  }
  if (row.result && *row.result != call.result) {
    return false;
  }
  if (row.number.kind == NumberRule::Kind::Any && !row.text) {
    // Only the result tells; general failure tells too little.
    constexpr int kGeneralFailure = -1;
    return row.result && *row.result != 0 && *row.result != kGeneralFailure;
  }
  return isAbout(row.number, call.number) && row.text && fits(*row.text, call.text);
}

}  // namespace

Catalogue::Catalogue(std::string_view json) {
  const Json document = Json::parse(json);
  for (const Json& value : document.at("errors")) {
    rows_.push_back(rowOf(value));
  }
}

const Catalogue& Catalogue::builtIn() {
  static const Catalogue catalogue(kErrorsJson);
  return catalogue;
}

const ErrorRow& Catalogue::row(std::string_view id) const {
  const auto row =
      std::find_if(rows_.begin(), rows_.end(), [&](const ErrorRow& one) { return one.id == id; });
  if (row == rows_.end()) {
    throw std::out_of_range("no row " + std::string(id));
  }
  return *row;
}

const ErrorRow* Catalogue::find(const CallResult& call) const {
  const auto row =
      std::find_if(rows_.begin(), rows_.end(), [&](const ErrorRow& one) { return isAbout(one, call); });
  return row != rows_.end() ? &*row : nullptr;
}

const ErrorRow* Catalogue::findLogEntry(std::string_view message) const {
  const auto row = std::find_if(rows_.begin(), rows_.end(), [&](const ErrorRow& one) {
    return std::any_of(one.log.begin(), one.log.end(),
                       [&](const std::string& pattern) { return fits(pattern, message); });
  });
  return row != rows_.end() ? &*row : nullptr;
}

}  // namespace kx::cli
