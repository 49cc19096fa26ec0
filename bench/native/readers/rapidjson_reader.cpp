#include "readers/readers.h"

#include <rapidjson/document.h>
#include <rapidjson/reader.h>
#include <stdexcept>
#include <string_view>

namespace {

// Where the events are in the response.
enum class Place { Outside, Top, Extracts, PerformanceList, PerformanceEntry };

class Handler : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, Handler> {
 public:
  explicit Handler(ResponseFields& fields) : fields_(fields) {}

  bool StartObject() {
    if (depth_ == 0) {
      place_ = Place::Top;
    } else if (depth_ == 2 && place_ == Place::PerformanceList) {
      place_ = Place::PerformanceEntry;
      fields_.performance.emplace_back();
    }
    ++depth_;
    return true;
  }

  bool EndObject(rapidjson::SizeType) {
    --depth_;
    if (depth_ == 2 && place_ == Place::PerformanceEntry) {
      place_ = Place::PerformanceList;
    }
    return true;
  }

  bool StartArray() {
    if (depth_ == 1 && key_ == "extractData") {
      place_ = Place::Extracts;
    } else if (depth_ == 1 && key_ == "lastPerformance") {
      place_ = Place::PerformanceList;
    }
    ++depth_;
    return true;
  }

  bool EndArray(rapidjson::SizeType) {
    --depth_;
    if (depth_ == 1) {
      place_ = Place::Top;
    }
    return true;
  }

  bool Key(const char* text, rapidjson::SizeType length, bool) {
    if (depth_ == 1) {
      key_.assign(text, length);
    } else if (depth_ == 3 && place_ == Place::PerformanceEntry) {
      isName_ = std::string_view(text, length) == "name";
    }
    return true;
  }

  bool String(const char* text, rapidjson::SizeType length, bool) {
    if (depth_ == 1) {
      if (key_ == "status") {
        fields_.status.assign(text, length);
      } else if (key_ == "profilerData") {
        fields_.profilerData.assign(text, length);
      }
    } else if (depth_ == 2 && place_ == Place::Extracts) {
      fields_.extracts.emplace_back(text, length);
    } else if (depth_ == 3 && place_ == Place::PerformanceEntry) {
      auto& entry = fields_.performance.back();
      (isName_ ? entry.first : entry.second).assign(text, length);
    }
    return true;
  }

  bool Int(int number) { return Double(number); }
  bool Uint(unsigned number) { return Double(number); }
  bool Int64(std::int64_t number) { return Double(static_cast<double>(number)); }
  bool Uint64(std::uint64_t number) { return Double(static_cast<double>(number)); }
  bool Double(double number) {
    if (depth_ == 1 && key_ == "errorCode") {
      fields_.errorCode = static_cast<int>(number);
    } else if (depth_ == 1 && key_ == "waitForProcessId") {
      fields_.waitForProcessId = static_cast<std::uint32_t>(number);
    }
    return true;
  }

 private:
  ResponseFields& fields_;
  int depth_ = 0;
  Place place_ = Place::Outside;
  bool isName_ = false;
  std::string key_;
};

std::string textOf(const rapidjson::Value& value) {
  return {value.GetString(), value.GetStringLength()};
}

}  // namespace

void readWithRapidJsonEvents(const std::string& json, ResponseFields& fields) {
  Handler handler(fields);
  rapidjson::Reader reader;
  rapidjson::StringStream stream(json.c_str());
  if (!reader.Parse<rapidjson::kParseFullPrecisionFlag>(stream, handler)) {
    throw std::runtime_error("RapidJSON refuses the text");
  }
}

void readWithRapidJsonDocument(const std::string& json, ResponseFields& fields) {
  rapidjson::Document document;
  document.Parse<rapidjson::kParseFullPrecisionFlag>(json.c_str(), json.size());
  if (document.HasParseError()) {
    throw std::runtime_error("RapidJSON refuses the text");
  }
  fields.status = textOf(document["status"]);
  fields.errorCode = document["errorCode"].GetInt();
  if (document.HasMember("extractData")) {
    for (const auto& item : document["extractData"].GetArray()) {
      fields.extracts.push_back(textOf(item));
    }
  }
  if (document.HasMember("lastPerformance")) {
    for (const auto& item : document["lastPerformance"].GetArray()) {
      fields.performance.emplace_back(textOf(item["name"]), textOf(item["value"]));
    }
  }
  if (document.HasMember("profilerData")) {
    fields.profilerData = textOf(document["profilerData"]);
  }
}
