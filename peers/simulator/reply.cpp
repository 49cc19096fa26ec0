#include "reply.h"

#include "escapes.h"

#include <algorithm>

namespace kxsim {
namespace {

using Members = std::vector<std::pair<std::string, std::string>>;

void putMember(Members& members, const std::string& name, const std::string& json) {
  const auto found =
      std::find_if(members.begin(), members.end(), [&](const auto& member) { return member.first == name; });
  if (found != members.end()) {
    found->second = json;
  } else {
    members.emplace_back(name, json);
  }
}

std::string arrayText(const std::vector<std::string>& items) {
  std::string text = "[";
  for (const std::string& item : items) {
    text += text.size() > 1 ? "," : "";
    text += item;
  }
  return text + "]";
}

}  // namespace

std::string quotedJson(std::string_view text) {
  std::string json = "\"";
  for (const char c : text) {
    const auto value = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      json += '\\';
      json += c;
    } else if (c == '\n') {
      json += "\\n";
    } else if (c == '\r') {
      json += "\\r";
    } else if (c == '\t') {
      json += "\\t";
    } else if (value < 0x20) {
      json += "\\u00";
      json += kHexDigits[value / 16];
      json += kHexDigits[value % 16];
    } else {
      json += c;
    }
  }
  return json + '"';
}

std::string generatedText(std::size_t bytes) {
  static constexpr std::string_view kAlphabet = "abcdefghijklmnopqrstuvwxyz";
  std::string text(bytes, ' ');
  for (std::size_t i = 0; i < bytes; ++i) {
    text[i] = kAlphabet[i % kAlphabet.size()];
  }
  return text;
}

void Reply::setResult(long long errorCode, std::string status) {
  errorCode_ = errorCode;
  status_ = std::move(status);
}

void Reply::addPerformance(std::string name, std::string value) {
  performance_.emplace_back(std::move(name), std::move(value));
}

void Reply::addProfilerLine(std::string_view line) {
  if (!profilerData_) {
    profilerData_.emplace();
  }
  profilerData_->append(line).append("\n");
}

void Reply::setMember(const std::string& name, const std::string& json) {
  putMember(members_, name, json);
}

void Reply::growTo(std::size_t bytes) {
  addExtract("");
  const std::size_t length = text().size();
  if (bytes >= length) {
    extracts_.back() = generatedText(bytes - length);
  } else {
    extracts_.pop_back();
  }
}

std::string Reply::text() const {
  Members members = {{"status", quotedJson(status_)}, {"errorCode", std::to_string(errorCode_)}};
  if (!extracts_.empty()) {
    std::vector<std::string> items;
    std::transform(extracts_.begin(), extracts_.end(), std::back_inserter(items), quotedJson);
    members.emplace_back("extractData", arrayText(items));
  }
  if (!performance_.empty()) {
    std::vector<std::string> items;
    for (const auto& [name, value] : performance_) {
      items.push_back("{\"name\":" + quotedJson(name) + ",\"value\":" + quotedJson(value) + "}");
    }
    members.emplace_back("lastPerformance", arrayText(items));
  }
  if (profilerData_) {
    members.emplace_back("profilerData", quotedJson(*profilerData_));
  }
  for (const auto& [name, json] : members_) {
    putMember(members, name, json);
  }

  std::string text = "{";
  for (const auto& [name, json] : members) {
    if (std::find(dropped_.begin(), dropped_.end(), name) == dropped_.end()) {
      text += text.size() > 1 ? "," : "";
      text += quotedJson(name) + ":" + json;
    }
  }
  return text + "}";
}

}  // namespace kxsim
